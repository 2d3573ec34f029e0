// From times to columns.
#include "GuideTable.h"

#include "Terminal.h"
#include "WDateTime.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <string_view>
#include <vector>

namespace W::host {

namespace {

constexpr int kLeastWidth = 40;
constexpr int kMostNameWidth = 18;
constexpr int kTimeWidth = 6;  // "20:15 "
constexpr std::size_t kLinesPerChannel = 2;
constexpr std::string_view kEdge = "│";
constexpr std::string_view kBold = "\x1b[1m";
constexpr std::string_view kDim = "\x1b[2m";
constexpr std::string_view kReverse = "\x1b[7m";
constexpr std::string_view kPlain = "\x1b[0m";

std::string localTime(std::int64_t time, int offset, const char* format)
{
    const auto shown = static_cast<std::time_t>(time + offset);
    return fmt::format(fmt::runtime(fmt::format("{{:{}}}", format)), fmt::gmtime(shown));
}

struct Slot {
    std::int64_t begin;
    std::int64_t end;
    const WVLContent* programme;
};

/// Programmes by channel, in order, cut to the window.
std::map<std::string_view, std::vector<Slot>> slotsByChannel(const std::list<WVLContent>& programmes,
                                                             const GuideWindow& window)
{
    std::map<std::string_view, std::vector<Slot>> channels;
    for (const WVLContent& programme : programmes) {
        const std::int64_t begin = programme.getStartTime().toTime_t();
        const std::int64_t end = begin + std::int64_t{60} * std::max(0, programme.getDuration());
        if (begin < window.end && end > window.begin)
            channels[programme.getChannel().getSource()].push_back({begin, end, &programme});
    }
    for (auto& [source, slots] : channels) {
        std::stable_sort(slots.begin(), slots.end(), [](const Slot& a, const Slot& b) { return a.begin < b.begin; });
        for (std::size_t i = 0; i + 1 < slots.size(); ++i)
            slots[i].end = std::min(slots[i].end, slots[i + 1].begin);
    }
    return channels;
}

class Layout {
public:
    Layout(const std::list<WVLChannel>& channels, const GuideWindow& window, const GuideStyle& style)
        : m_window(window), m_style(style)
    {
        int widest = 8;
        for (const WVLChannel& channel : channels)
            widest = std::max(widest, displayWidth(nameOf(channel)));
        const int width = std::max(style.width, kLeastWidth);
        m_iNameWidth = std::min({widest, kMostNameWidth, width / 4});
        m_iGridWidth = width - m_iNameWidth - 1;
    }

    std::string heading() const
    {
        const int minutes = m_window.offsetSeconds / 60;
        return styled(kBold, fmt::format("{}, {} to {} (UTC{}{:02}:{:02})", shown(m_window.begin, "%A %d %B %Y"),
                                         shown(m_window.begin, "%H:%M"), shown(m_window.end, "%H:%M"),
                                         minutes < 0 ? '-' : '+', std::abs(minutes) / 60, std::abs(minutes) % 60)) +
               "\n";
    }

    /// The line of times above the grid.
    std::string scale() const
    {
        std::string line(static_cast<std::size_t>(m_iNameWidth + 1), ' ');
        int column = 0;
        constexpr std::int64_t kHalfHour = 1800;
        // Wide enough apart for the times to be read.
        std::int64_t step = kHalfHour;
        while (columnOf(m_window.begin + step) < kTimeWidth && step < m_window.end - m_window.begin)
            step *= 2;
        for (std::int64_t time = m_window.begin; time < m_window.end; time += step) {
            const int at = columnOf(time);
            if (at < column || at + kTimeWidth > m_iGridWidth)
                continue;
            line.append(static_cast<std::size_t>(at - column), ' ');
            line += shown(time, "%H:%M") + " ";
            column = at + kTimeWidth;
        }
        return styled(kDim, line) + "\n";
    }

    std::string row(const WVLChannel& channel, const std::vector<Slot>& slots) const
    {
        std::vector<std::string> lines{styled(kBold, fitted(nameOf(channel), m_iNameWidth)) + " "};
        while (lines.size() < kLinesPerChannel)
            lines.emplace_back(static_cast<std::size_t>(m_iNameWidth + 1), ' ');
        int column = 0;
        for (const Slot& slot : slots) {
            const int begin = std::max(columnOf(slot.begin), column);
            const int end = columnOf(slot.end);
            // Too short for a cell of its own.
            if (end - begin < 2)
                continue;
            append(lines, cell({}, begin - column), {});
            const bool running = m_window.now >= slot.begin && m_window.now < slot.end;
            const std::string title = (running ? ">" : "") + slot.programme->getTitle();
            append(lines, cell(title, end - begin), running ? kReverse : std::string_view());
            column = end;
        }
        append(lines, cell({}, m_iGridWidth - column), {});
        std::string text;
        for (std::string& line : lines) {
            line.erase(line.find_last_not_of(' ') + 1);
            text += line + "\n";
        }
        return text;
    }

private:
    static std::string nameOf(const WVLChannel& channel)
    {
        const std::string& name = channel.getName().empty() ? channel.getSource() : channel.getName();
        return channel.getNumber().empty() ? name : channel.getNumber() + " " + name;
    }

    std::string shown(std::int64_t time, const char* format) const
    {
        return localTime(time, m_window.offsetSeconds, format);
    }

    std::string styled(std::string_view style, const std::string& text) const
    {
        return m_style.colours && !style.empty() ? fmt::format("{}{}{}", style, text, kPlain) : text;
    }

    int columnOf(std::int64_t time) const
    {
        const std::int64_t inside = std::clamp(time, m_window.begin, m_window.end) - m_window.begin;
        return static_cast<int>(inside * m_iGridWidth / (m_window.end - m_window.begin));
    }

    /// The lines of a cell: an edge, and what fits of the text.
    static std::vector<std::string> cell(std::string_view text, int width)
    {
        std::vector<std::string> lines = wrapped(text, width - 1, kLinesPerChannel);
        lines.resize(width > 0 ? kLinesPerChannel : 0,
                     std::string(static_cast<std::size_t>(std::max(0, width - 1)), ' '));
        return lines;
    }

    void append(std::vector<std::string>& lines, const std::vector<std::string>& cellLines,
                std::string_view style) const
    {
        for (std::size_t i = 0; i < cellLines.size(); ++i)
            lines[i] += std::string(kEdge) + styled(style, cellLines[i]);
    }

    const GuideWindow& m_window;
    const GuideStyle& m_style;
    int m_iNameWidth = 0;
    int m_iGridWidth = 0;
};

}  // namespace

std::string guideTable(const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
                       const GuideWindow& window, const GuideStyle& style)
{
    const Layout layout(channels, window, style);
    const auto slots = slotsByChannel(programmes, window);
    std::string table = layout.heading() + layout.scale();
    for (const WVLChannel& channel : channels) {
        const auto found = slots.find(channel.getSource());
        table += layout.row(channel, found == slots.end() ? std::vector<Slot>() : found->second);
    }
    return table;
}

}  // namespace W::host
