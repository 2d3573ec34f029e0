// The forms of `--date`.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace W::host {

/// Reads a local time: `today`, `tomorrow` or `2026-11-21` (that day's evening, from 20:00), `20:00` (today), or day
/// and time together, as in `2026-11-21 20:00`, `2026-11-21T20:00` or `tomorrow 06:30`.
/// @param now  local time, in seconds since 1970-01-01T00:00:00 of the same clock
/// @return local time on the same clock; nothing if the string is none of these
std::optional<std::int64_t> readGuideDate(std::string_view string, std::int64_t now);

}  // namespace W::host
