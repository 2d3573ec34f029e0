#include "ProgrammeCells.h"

#include <cstdlib>
#include <ctime>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "WDateTime.h"

namespace W::host {

namespace {

constexpr std::int64_t kDay = 86400;

std::string formatted(std::int64_t local, const char* format)
{
    const auto time = static_cast<std::time_t>(local);
    return fmt::format(fmt::runtime(fmt::format("{{:{}}}", format)), fmt::gmtime(time));
}

}  // namespace

std::string stringOf(const Json& record, const char* key)
{
    const auto found = record.find(key);
    return found != record.end() && found->is_string() ? found->get<std::string>() : std::string();
}

const Json& listOf(const Json& container)
{
    return container.at("data");
}

std::optional<std::int64_t> instantOf(const Json& time)
{
    const std::string utc = stringOf(time, "utc");
    if (utc.empty()) {
        return std::nullopt;
    }
    const WDateTime read = WDateTime::fromString(utc, WDateTime::FORMAT_DATETIME, WDateTime::TIMEZONE_UTC);
    return read.hasInstant() ? std::optional<std::int64_t>(read.toTime_t()) : std::nullopt;
}

TableCell ShownTimes::cell(std::optional<std::int64_t> instant) const
{
    if (!instant) {
        return {};
    }
    const std::int64_t local = m_zone.localOf(*instant);
    const std::int64_t today = m_zone.localOf(m_now);
    const std::int64_t days = local / kDay - today / kDay;
    constexpr std::int64_t kWeek = 7;
    const char* const format = days == 0                                          ? "%H:%M"
                               : days > 0 && days < kWeek                         ? "%a %H:%M"
                               : formatted(local, "%Y") == formatted(today, "%Y") ? "%d %b %H:%M"
                                                                                  : "%d %b %Y %H:%M";
    const int offset = m_zone.offsetAt(*instant);
    const int minutes = std::abs(offset) / 60;
    return {formatted(local, format), fmt::format("{}{}{:02}:{:02}", formatted(local, "%Y-%m-%dT%H:%M:%S"),
                                                  offset < 0 ? '-' : '+', minutes / 60, minutes % 60)};
}

std::string ShownTimes::clock(std::int64_t instant) const
{
    return formatted(m_zone.localOf(instant), "%H:%M");
}

std::string shownTitle(const Json& programme)
{
    std::string title = stringOf(programme, "Title");
    const std::string episode = stringOf(programme, "EpisodeTitle");
    if (title.empty()) {
        title = "(no title)";
    }
    return episode.empty() || episode == title ? title : fmt::format("{} – {}", title, episode);
}

ChannelNames::ChannelNames(const std::list<WVLChannel>& channels)
{
    for (const WVLChannel& channel : channels) {
        m_names[channel.getSource()] = {channel.getNumber(), channel.getName()};
    }
}

std::string ChannelNames::of(const std::string& source) const
{
    const std::string channelName = name(source);
    const std::string channelNumber = number(source);
    const std::string& shown = channelName.empty() ? source : channelName;
    return channelNumber.empty() ? shown : channelNumber + " " + shown;
}

std::string ChannelNames::number(const std::string& source) const
{
    const auto found = m_names.find(source);
    return found == m_names.end() ? std::string() : found->second.number;
}

std::string ChannelNames::name(const std::string& source) const
{
    const auto found = m_names.find(source);
    return found == m_names.end() ? std::string() : found->second.name;
}

Table programmeTable(const Json& programmes, const ShownTimes& times, const ChannelNames& names)
{
    const TableColumn forScripts;
    TableColumn id{"ID"};
    id.forPeopleOnly = true;
    Table table;
    table.columns = {forScripts,           {"When", 6, 2},  forScripts, forScripts, forScripts,
                     {"Channel", 6, 2, 1}, {"Title", 8, 3}, forScripts, id};
    for (const Json& record : programmes) {
        const Json channel = record.value("Channel", Json::object());
        std::string source = stringOf(channel, "Source");
        source = source.empty() ? stringOf(record, "Source") : source;
        const std::string minutes = std::to_string(record.value("Duration", 0));
        table.rows.push_back({{"", stringOf(record, "ID")},
                              times.cell(instantOf(record.value("StartTime", Json::object()))),
                              {"", minutes},
                              {"", source},
                              {"", names.number(source)},
                              {names.of(source), names.name(source)},
                              {shownTitle(record), stringOf(record, "Title")},
                              {"", stringOf(record, "EpisodeTitle")},
                              stringOf(record, "ID")});
    }
    return table;
}

}  // namespace W::host
