// Conversions between instants and strings. Named zones come from a library that does not change the process's TZ.
#include "Clock.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include <date/tz.h>
#include <fmt/format.h>

#include "OperatorError.h"

namespace corvaned {
namespace {

std::tm utcFields(Instant instant)
{
    const std::time_t time = instant;
    std::tm fields{};
    gmtime_r(&time, &fields);
    return fields;
}

std::string isoString(Instant instant)
{
    const std::tm fields = utcFields(instant);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
                       fields.tm_hour, fields.tm_min, fields.tm_sec);
}

// "+09:00" or "-05:30" in seconds; nothing if the string has another format.
std::optional<int> parseOffset(std::string_view text)
{
    constexpr std::string_view kForm = "s##:##";
    if (text.size() != kForm.size() || (text[0] != '+' && text[0] != '-') || text[3] != ':') {
        return std::nullopt;
    }
    for (const std::size_t place : {1U, 2U, 4U, 5U}) {
        if (text[place] < '0' || text[place] > '9') {
            return std::nullopt;
        }
    }
    const int hours = (text[1] - '0') * 10 + (text[2] - '0');
    const int minutes = (text[4] - '0') * 10 + (text[5] - '0');
    if (hours > 14 || minutes > 59) {
        return std::nullopt;
    }
    return (text[0] == '-' ? -1 : 1) * (hours * 60 + minutes) * 60;
}

std::string machineZoneName()
{
    if (const char* variable = std::getenv("TZ"); variable != nullptr && *variable != '\0') {
        return variable[0] == ':' ? variable + 1 : variable;
    }
    std::error_code failed;
    const std::string link = std::filesystem::read_symlink("/etc/localtime", failed).string();
    constexpr std::string_view kFolder = "zoneinfo/";
    const std::size_t at = link.find(kFolder);
    return failed || at == std::string::npos ? "UTC" : link.substr(at + kFolder.size());
}

}  // namespace

Instant systemNow()
{
    return std::time(nullptr);
}

std::optional<Instant> instantOf(int year, int month, int day, int hour, int minute, int second)
{
    constexpr int kLastYear = 9999;
    if (std::min({year, month, day, hour, minute, second}) < 0 || year > kLastYear) {
        return std::nullopt;
    }
    const date::year_month_day date{date::year(year), date::month(static_cast<unsigned>(month)),
                                    date::day(static_cast<unsigned>(day))};
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) {
        return std::nullopt;
    }
    const std::chrono::seconds midnight = date::sys_days(date).time_since_epoch();
    return midnight.count() + ((Instant{hour} * 60 + minute) * 60 + second);
}

std::string formatUtc(Instant instant)
{
    return isoString(instant) + "Z";
}

std::optional<Instant> parseUtc(std::string_view text)
{
    constexpr std::string_view kForm = "####-##-##T##:##:##Z";
    if (text.size() != kForm.size()) {
        return std::nullopt;
    }
    std::array<int, 6> fields{};
    std::size_t field = 0;
    for (std::size_t place = 0; place < kForm.size(); ++place) {
        if (kForm[place] != '#') {
            if (text[place] != kForm[place]) {
                return std::nullopt;
            }
            ++field;
        } else if (text[place] < '0' || text[place] > '9') {
            return std::nullopt;
        } else {
            fields[field] = fields[field] * 10 + (text[place] - '0');
        }
    }
    return instantOf(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
}

Zone Zone::ofMachine()
{
    tzset();
    return Zone(machineZoneName(), std::nullopt, nullptr);
}

Zone Zone::named(const std::string& name)
{
    if (const std::optional<int> offset = parseOffset(name)) {
        return Zone(name, offset, nullptr);
    }
    try {
        return Zone(name, std::nullopt, date::locate_zone(name));
    } catch (const std::runtime_error&) {
        throw OperatorError(
            fmt::format("zone '{}' is not known; give a name from /usr/share/zoneinfo, such as Asia/Seoul, or an "
                        "offset, such as +09:00",
                        name));
    }
}

int Zone::offsetAt(Instant instant) const
{
    if (m_offset) {
        return *m_offset;
    }
    if (m_rules != nullptr) {
        const date::sys_seconds time{std::chrono::seconds(instant)};
        return static_cast<int>(m_rules->get_info(time).offset.count());
    }
    const std::time_t time = instant;
    std::tm fields{};
    localtime_r(&time, &fields);
    return static_cast<int>(fields.tm_gmtoff);
}

std::string Zone::formatLocal(Instant instant) const
{
    return isoString(instant + offsetAt(instant));
}

std::string Zone::formatOffset(Instant instant) const
{
    const int offset = offsetAt(instant);
    const int minutes = std::abs(offset) / 60;
    return fmt::format("{}{:02}:{:02}", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

Instant Zone::midnight(Instant instant) const
{
    const Instant local = instant + offsetAt(instant);
    const Instant intoDay = ((local % kDay) + kDay) % kDay;
    const Instant begin = instant - intoDay;
    // The clock may have changed since midnight: such a day has 23 or 25 hours.
    return begin + offsetAt(instant) - offsetAt(begin);
}

}  // namespace corvaned
