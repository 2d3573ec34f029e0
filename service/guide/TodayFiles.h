// The files that channel/today offers: the guide of one day in windows of six hours. Their names contain the day,
// window and language, so nothing has to be stored. Guide.h describes the guide.
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

    /// Reads a file name; nothing if the service never offers a file of that name.
    static std::optional<TodayFile> parse(std::string_view name);

    /// The time span in which its programmes begin.
    std::pair<Instant, Instant> window(const Zone& zone) const;
};

/// The files of the current day.
/// @param lang  a language tag; anything else counts as no language
std::vector<TodayFile> todayFiles(const Zone& zone, Instant now, std::string_view lang);

}  // namespace corvaned
