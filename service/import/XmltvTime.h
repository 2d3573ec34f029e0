// Times in XMLTV listings: "YYYYMMDDhhmmss" or an initial part of it, optionally followed by a zone.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"

namespace corvaned {

/// Reads one time. Missing digits count as the first moment of the year, month, day, hour or minute
/// given. The zone is an offset ("+0100", "+01:00", "+01"), "Z" or a name in common use ("BST"); none means UTC.
///
/// @param problem  receives the reason, as the end of a message, if nothing is returned; else unchanged
std::optional<Instant> parseXmltvTime(std::string_view text, std::string& problem);

}  // namespace corvaned
