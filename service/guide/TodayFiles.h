// The files that channel/today offers: the guide of one day in windows of six hours. Their names say which day, window
// and language they hold, so nothing has to be kept.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Clock.h"

namespace corvaned {

struct TodayFile {
    std::string day;  // "20261121", by the service's wall clock
    int fromHour = 0;
    int toHour = 0;
    std::string lang;  // perhaps empty

    /// "schedule-20261121-0-6-en.json".
    std::string name() const;

    /// Reads a name; nothing where it is not of a file that could be offered.
    static std::optional<TodayFile> parse(std::string_view name);

    /// The instants between which its programmes begin.
    std::pair<Instant, Instant> window(const Zone& zone) const;
};

/// The files of the day that it is at that moment.
/// @param lang  a language tag; anything else counts as none
std::vector<TodayFile> todayFiles(const Zone& zone, Instant now, std::string_view lang);

}  // namespace corvaned
