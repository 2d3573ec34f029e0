// Reads times in XMLTV listings: "YYYYMMDDhhmmss" or an initial part of it, optionally followed by a zone.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"

namespace corvaned {

/// Reads one time. Missing digits mean the first moment of the given year, month, day, hour or minute. The zone is an
/// offset ("+0100", "+01:00", "+01"), "Z" or a name in common use ("BST"); without one the time is in UTC.
///
/// @param problem  receives the reason, as the end of a message, if nothing is returned; else unchanged
std::optional<Instant> parseXmltvTime(std::string_view string, std::string& problem);

}  // namespace corvaned
