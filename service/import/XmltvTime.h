// The time texts of XMLTV listings: "YYYYMMDDhhmmss" or an initial part of it, then perhaps a zone.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"

namespace corvaned {

/// Reads one time text. Digits that are left out count as the first moment of the year, month, day, hour or minute
/// given. The zone is an offset ("+0100", "+01:00", "+01"), "Z" or a name in common use ("BST"); none means UTC.
///
/// @param problem  receives the reason, fit for the end of a message line, where nothing is returned; else untouched
std::optional<Instant> parseXmltvTime(std::string_view text, std::string& problem);

}  // namespace corvaned
