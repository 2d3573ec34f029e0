#include "GuideDate.h"

#include <string>

#include "WDateTime.h"

namespace W::host {

namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::string_view kEvening = "20:00";
constexpr std::string_view kEpochDay = "1970-01-01";

/// @param day   as in 2026-11-21
/// @param time  as in 20:00
std::optional<std::int64_t> readLocal(std::string_view day, std::string_view time)
{
    const std::string complete = std::string(day) + "T" + std::string(time) + ":00";
    const WDateTime local = WDateTime::fromString(complete, WDateTime::FORMAT_LOCAL, WDateTime::TIMEZONE_LOCAL);
    if (!local.hasInstant()) {
        return std::nullopt;
    }
    return local.toTime_t();
}

/// Midnight of a day.
std::optional<std::int64_t> readDay(std::string_view string, std::int64_t now)
{
    const std::int64_t today = now - now % kDay;
    if (string == "today") {
        return today;
    }
    if (string == "tomorrow") {
        return today + kDay;
    }
    return readLocal(string, "00:00");
}

}  // namespace

std::optional<std::int64_t> readGuideDate(std::string_view string, std::int64_t now)
{
    const std::size_t between = string.find_first_of(" T");
    std::string_view day = string.substr(0, between);
    std::string_view time = between == std::string_view::npos ? kEvening : string.substr(between + 1);
    if (between == std::string_view::npos && string.find(':') != std::string_view::npos) {
        day = "today";
        time = string;
    }
    const auto midnight = readDay(day, now);
    const auto sinceMidnight = readLocal(kEpochDay, time);
    if (!midnight || !sinceMidnight) {
        return std::nullopt;
    }
    return *midnight + *sinceMidnight;
}

}  // namespace W::host
