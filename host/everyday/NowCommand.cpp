// `corvane now` and `corvane channels`.
#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "EverydayGroups.h"
#include "ProgrammeCells.h"

namespace W::host {

namespace {

constexpr std::int64_t kMinute = 60;

struct NowAndNext {
    const WVLContent* now = nullptr;
    const WVLContent* next = nullptr;
};

std::int64_t beginOf(const WVLContent& programme)
{
    return programme.getStartTime().toTime_t();
}

std::int64_t endOf(const WVLContent& programme)
{
    return beginOf(programme) + kMinute * std::max(0, programme.getDuration());
}

/// The current and next programmes by source. Of overlapping programmes, the one that began last is the current one.
std::map<std::string, NowAndNext> nowAndNext(const std::list<WVLContent>& programmes, std::int64_t now)
{
    std::map<std::string, NowAndNext> channels;
    for (const WVLContent& programme : programmes) {
        if (!programme.getStartTime().hasInstant()) {
            continue;
        }
        NowAndNext& entry = channels[programme.getChannel().getSource()];
        const std::int64_t begin = beginOf(programme);
        if (begin <= now && endOf(programme) > now && (!entry.now || begin > beginOf(*entry.now))) {
            entry.now = &programme;
        } else if (begin > now && (!entry.next || begin < beginOf(*entry.next))) {
            entry.next = &programme;
        }
    }
    return channels;
}

/// The programmes of the next hours, and of a whole day for channels whose next programme comes later.
std::list<WVLContent> fetchUpcoming(ServiceSession& session, const std::vector<std::string>& sources, std::int64_t now)
{
    constexpr int kHours = 4;
    constexpr int kDayHours = 24;
    std::list<WVLContent> programmes = session.fetchSchedule(sources, now, kHours);
    const auto found = nowAndNext(programmes, now);
    std::set<std::string> lacking;
    for (const std::string& source : sources) {
        const auto entry = found.find(source);
        if (entry == found.end() || !entry->second.next) {
            lacking.insert(source);
        }
    }
    if (!lacking.empty()) {
        programmes.remove_if(
            [&](const WVLContent& programme) { return lacking.count(programme.getChannel().getSource()) != 0; });
        programmes.splice(programmes.end(), session.fetchSchedule({lacking.begin(), lacking.end()}, now, kDayHours));
    }
    return programmes;
}

int percentOf(const WVLContent& programme, std::int64_t now)
{
    constexpr int kWhole = 100;
    const std::int64_t length = endOf(programme) - beginOf(programme);
    return length > 0 ? static_cast<int>((now - beginOf(programme)) * kWhole / length) : 0;
}

std::string progressBar(int percent)
{
    constexpr int kCells = 8;
    constexpr int kWhole = 100;
    const int full = (percent * kCells + kWhole / 2) / kWhole;
    std::string bar;
    for (int cell = 0; cell < kCells; ++cell) {
        bar += cell < full ? "█" : "░";
    }
    return bar;
}

/// The cells of one programme: ID, start and minutes for scripts, and the title.
void addProgramme(std::vector<TableCell>& cells, const WVLContent* programme, const ShownTimes& times, bool isNext)
{
    if (!programme) {
        cells.insert(cells.end(), {"", "", "", ""});
        return;
    }
    const Json record = toJson(*programme);
    const TableCell begin = times.cell(beginOf(*programme));
    const std::string title = shownTitle(record);
    cells.insert(cells.end(), {{"", programme->getID()},
                               {"", begin.plain},
                               {"", std::to_string(programme->getDuration())},
                               {isNext ? begin.shown + " " + title : title, title}});
}

}  // namespace

Report showNow(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    const std::list<WVLChannel> channels = chosenChannels(service.channels(), arguments.channels);
    const std::int64_t now = service.now();
    const std::list<WVLContent> programmes = fetchUpcoming(service.session(), sourcesOf(channels), now);
    auto found = nowAndNext(programmes, now);
    const ShownTimes times(now, service.zone(output.zone));

    const TableColumn forScripts;
    TableColumn bar{"", TableColumn::kRigid, 1, 3};
    bar.forPeopleOnly = true;
    Table table;
    table.columns = {{"No", TableColumn::kRigid, 1, 2, true},
                     {"Channel", 6, 2},
                     forScripts,
                     forScripts,
                     forScripts,
                     forScripts,
                     {"Now", 8, 3},
                     bar,
                     {"Until", TableColumn::kRigid, 1, 4},
                     forScripts,
                     forScripts,
                     forScripts,
                     {"Next", 8, 3, 1}};
    Report report;
    report.json = {{"now", toJson(WDateTime::fromTime_t(now))}, {"channels", Json::array()}};
    for (const WVLChannel& channel : channels) {
        const NowAndNext& entry = found[channel.getSource()];
        report.json["channels"].push_back({{"channel", toJson(channel)},
                                           {"now", entry.now ? toJson(*entry.now) : Json()},
                                           {"next", entry.next ? toJson(*entry.next) : Json()}});
        std::vector<TableCell> cells{channel.getNumber(), channel.getName(), {"", channel.getSource()}};
        addProgramme(cells, entry.now, times, false);
        const int percent = entry.now ? percentOf(*entry.now, now) : 0;
        cells.emplace_back(entry.now ? progressBar(percent) : "");
        cells.push_back(entry.now ? TableCell(times.clock(endOf(*entry.now)), std::to_string(percent)) : TableCell());
        addProgramme(cells, entry.next, times, true);
        table.rows.push_back(std::move(cells));
    }
    report.sections.push_back({"", "", std::move(table), "", ""});
    return report;
}

Report showChannels(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    const std::list<WVLChannel> channels = chosenChannels(service.channels(), arguments.channels);
    Table table;
    table.columns = {{"No", TableColumn::kRigid, 1, 0, true}, {"Name", 8, 2}, {"Source"}};
    for (const WVLChannel& channel : channels) {
        table.rows.push_back({channel.getNumber(), channel.getName(), channel.getSource()});
    }
    Report report;
    report.json = {{"channels", toJson(channels)}};
    report.sections.push_back({"", "", std::move(table), "", ""});
    return report;
}

}  // namespace W::host
