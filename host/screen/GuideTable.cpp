#include "GuideTable.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <string_view>
#include <vector>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "Terminal.h"
#include "WDateTime.h"

namespace W::host {

namespace {

constexpr int kMostNameWidth = 18;
constexpr int kLeastNameWidth = 3;
constexpr int kLeastGridWidth = 8;
constexpr int kLeastCell = 4;  ///< an edge and three columns for a title
constexpr int kLeastMark = 3;  ///< an edge and two columns, as for "+2"
constexpr int kTimeWidth = 6;  ///< "20:15 "
constexpr std::int64_t kHalfHour = 1800;
constexpr std::int64_t kDay = 86400;
constexpr std::size_t kLinesPerChannel = 2;
constexpr std::string_view kEdge = "│";

std::string formatLocal(std::int64_t local, const char* format)
{
    const auto shown = static_cast<std::time_t>(local);
    return fmt::format(fmt::runtime(fmt::format("{{:{}}}", format)), fmt::gmtime(shown));
}

std::string formatOffset(int offset)
{
    const int minutes = offset / 60;
    return fmt::format("UTC{}{:02}:{:02}", minutes < 0 ? '-' : '+', std::abs(minutes) / 60, std::abs(minutes) % 60);
}

struct GuideSlot {
    std::int64_t begin;
    std::int64_t end;
    const WVLContent* programme;
};

/// Programmes by channel, in order, cut to the window.
std::map<std::string_view, std::vector<GuideSlot>> slotsByChannel(const std::list<WVLContent>& programmes,
                                                                  const GuideWindow& window)
{
    std::map<std::string_view, std::vector<GuideSlot>> channels;
    for (const WVLContent& programme : programmes) {
        const std::int64_t begin = programme.getStartTime().toTime_t();
        const std::int64_t end = begin + std::int64_t{60} * std::max(0, programme.getDuration());
        if (begin < window.end && end > window.begin) {
            channels[programme.getChannel().getSource()].push_back({begin, end, &programme});
        }
    }
    for (auto& [source, slots] : channels) {
        std::stable_sort(slots.begin(), slots.end(),
                         [](const GuideSlot& a, const GuideSlot& b) { return a.begin < b.begin; });
        for (std::size_t i = 0; i + 1 < slots.size(); ++i) {
            slots[i].end = std::min(slots[i].end, slots[i + 1].begin);
        }
    }
    return channels;
}

/// One cell of a row: a programme, or several that are too short for their own cells.
struct GuideCell {
    int begin;
    int end;
    int count;
    bool running;
    std::string_view title;  ///< of the first programme

    bool isShared() const { return end - begin < kLeastCell || count > 1; }
};

class GuideLayout {
public:
    GuideLayout(const std::list<WVLChannel>& channels, const GuideWindow& window, const GuideStyle& style)
        : m_window(window), m_style(style)
    {
        int widest = 8;
        for (const WVLChannel& channel : channels) {
            widest = std::max(widest, displayWidth(nameOf(channel)));
        }
        m_width = std::max(style.width, kLeastNameWidth + 1 + kLeastGridWidth);
        m_nameWidth = std::max(kLeastNameWidth, std::min({widest, kMostNameWidth, m_width / 4}));
        m_gridWidth = m_width - m_nameWidth - 1;
    }

    /// Day, times and offset, as far as there is room.
    std::string heading() const
    {
        const std::int64_t begin = m_window.zone.localOf(m_window.begin);
        const int offset = m_window.zone.offsetAt(m_window.begin);
        const int offsetAtEnd = m_window.zone.offsetAt(m_window.end - 1);
        const std::string times = fmt::format("{} to {}", formatLocal(begin, "%H:%M"), shownEnd(begin));
        const std::string zone = offset == offsetAtEnd
                                     ? formatOffset(offset)
                                     : fmt::format("{}, then {}", formatOffset(offset), formatOffset(offsetAtEnd));
        const std::string forms[] = {
            fmt::format("{}, {} ({})", formatLocal(begin, "%A %d %B %Y"), times, zone),
            fmt::format("{}, {}", formatLocal(begin, "%a %d %b %Y"), times),
            fmt::format("{}, {}", formatLocal(begin, "%d %b"), times),
        };
        for (const std::string& form : forms) {
            if (displayWidth(form) <= m_width) {
                return styled(kBold, form) + "\n";
            }
        }
        return styled(kBold, trimmed(fitted(forms[2], m_width))) + "\n";
    }

    /// The line of times above the rows.
    std::string scale() const
    {
        std::string line(static_cast<std::size_t>(m_nameWidth + 1), ' ');
        int column = 0;
        // Steps that are wide enough for the times.
        std::int64_t step = kHalfHour;
        while (columnOf(m_window.begin + step) < kTimeWidth && step < m_window.end - m_window.begin) {
            step *= 2;
        }
        for (std::int64_t time = m_window.begin; time < m_window.end; time += step) {
            const int at = columnOf(time);
            if (at < column || at + kTimeWidth > m_gridWidth) {
                continue;
            }
            line.append(static_cast<std::size_t>(at - column), ' ');
            line += formatLocal(m_window.zone.localOf(time), "%H:%M") + " ";
            column = at + kTimeWidth;
        }
        return styled(kDim, line) + "\n";
    }

    std::string row(const WVLChannel& channel, const std::vector<GuideSlot>& slots) const
    {
        std::vector<std::string> lines{styled(kBold, fitted(nameOf(channel), m_nameWidth)) + " "};
        while (lines.size() < kLinesPerChannel) {
            lines.emplace_back(static_cast<std::size_t>(m_nameWidth + 1), ' ');
        }
        int column = 0;
        for (const GuideCell& cell : cellsOf(slots)) {
            append(lines, cellLines({}, cell.begin - column), {});
            const std::string title = cell.count == 1 ? std::string(cell.title) : fmt::format("+{}", cell.count);
            append(lines, cellLines((cell.running ? ">" : "") + title, cell.end - cell.begin),
                   cell.running ? kReverse : std::string_view());
            column = cell.end;
        }
        append(lines, cellLines({}, m_gridWidth - column), {});
        std::string string;
        for (const std::string& line : lines) {
            string += trimmed(line) + "\n";
        }
        return string;
    }

private:
    static std::string trimmed(std::string line)
    {
        line.erase(line.find_last_not_of(' ') + 1);
        return line;
    }

    static std::string nameOf(const WVLChannel& channel)
    {
        const std::string& name = channel.getName().empty() ? channel.getSource() : channel.getName();
        return channel.getNumber().empty() ? name : channel.getNumber() + " " + name;
    }

    /// The end of the window: "24:00" at the end of the first day, with the day if it is a later one.
    std::string shownEnd(std::int64_t localBegin) const
    {
        const std::int64_t end = m_window.zone.localOf(m_window.end);
        const std::int64_t midnight = localBegin - localBegin % kDay + kDay;
        if (end == midnight) {
            return "24:00";
        }
        // An evening that continues after midnight does not need a second day in its heading.
        const bool sameNight = localBegin % kDay >= kDay / 2 && end < midnight + kDay / 2;
        return formatLocal(end, end < midnight || sameNight ? "%H:%M" : "%A %H:%M");
    }

    /// The cells of a row. Each is at least as wide as a mark. A programme without room joins its neighbour, so that
    /// none is lost.
    std::vector<GuideCell> cellsOf(const std::vector<GuideSlot>& slots) const
    {
        std::vector<GuideCell> cells;
        for (const GuideSlot& slot : slots) {
            if (slot.end <= slot.begin) {
                continue;
            }
            const int column = cells.empty() ? 0 : cells.back().end;
            const int begin = std::max(columnOf(slot.begin), column);
            const int end = columnOf(slot.end);
            const bool running = m_window.now >= slot.begin && m_window.now < slot.end;
            const bool isShort = end - begin < kLeastCell;
            const bool hasRoom = begin + kLeastMark <= m_gridWidth;
            const bool joins = isShort && !cells.empty() && (!hasRoom || (cells.back().isShared() && begin <= column));
            if (joins && !hasRoom && cells.back().count == 1 &&
                cells.back().end - cells.back().begin >= kLeastCell + kLeastMark) {
                // At the end of the row, a long programme gives room to the last mark.
                cells.back().end = m_gridWidth - kLeastMark;
                cells.push_back({cells.back().end, m_gridWidth, 1, running, slot.programme->getTitle()});
            } else if (joins) {
                GuideCell& cell = cells.back();
                cell.end = std::max(cell.end, end);
                cell.count += 1;
                cell.running = cell.running || running;
            } else {
                const int first = std::min(begin, m_gridWidth - kLeastMark);
                cells.push_back({first, std::max(end, first + kLeastMark), 1, running, slot.programme->getTitle()});
            }
        }
        return cells;
    }

    std::string styled(std::string_view style, const std::string& string) const
    {
        return m_style.colours && !style.empty() ? fmt::format("{}{}{}", style, string, kPlain) : string;
    }

    int columnOf(std::int64_t time) const
    {
        const std::int64_t inside = std::clamp(time, m_window.begin, m_window.end) - m_window.begin;
        return static_cast<int>(inside * m_gridWidth / (m_window.end - m_window.begin));
    }

    /// The lines of a cell: an edge, and as much of the title as fits.
    static std::vector<std::string> cellLines(std::string_view title, int width)
    {
        std::vector<std::string> lines = wrapped(title, width - 1, kLinesPerChannel);
        lines.resize(width > 0 ? kLinesPerChannel : 0,
                     std::string(static_cast<std::size_t>(std::max(0, width - 1)), ' '));
        return lines;
    }

    void append(std::vector<std::string>& lines, const std::vector<std::string>& cell, std::string_view style) const
    {
        for (std::size_t i = 0; i < cell.size(); ++i) {
            lines[i] += std::string(kEdge) + styled(style, cell[i]);
        }
    }

    const GuideWindow& m_window;
    const GuideStyle& m_style;
    int m_width = 0;
    int m_nameWidth = 0;
    int m_gridWidth = 0;
};

}  // namespace

std::string guideTable(const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
                       const GuideWindow& window, const GuideStyle& style)
{
    const GuideLayout layout(channels, window, style);
    const auto slots = slotsByChannel(programmes, window);
    std::string table = layout.heading() + layout.scale();
    for (const WVLChannel& channel : channels) {
        const auto found = slots.find(channel.getSource());
        table += layout.row(channel, found == slots.end() ? std::vector<GuideSlot>() : found->second);
    }
    return table;
}

std::string shownTime(std::int64_t instant, const DisplayZone& zone)
{
    return formatLocal(zone.localOf(instant), "%A %d %B %Y, %H:%M");
}

}  // namespace W::host
