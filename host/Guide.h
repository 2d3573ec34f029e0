// `corvane guide`: what is on, fetched through the plug-in and shown as a table.
#pragma once

#include "Runtime.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace W::host {

struct GuideOptions {
    std::string date;                   ///< `2026-11-21` or `2026-11-21T06:00`; empty for now
    std::vector<std::string> channels;  ///< sources, numbers or names; empty for all
    int hours = 3;
};

/// The local time that a date stands for, as seconds since 1970-01-01T00:00:00 of the viewer's clock. A day alone means
/// its evening, from 20:00.
std::optional<std::int64_t> readGuideDate(std::string_view text);

/// Prints the guide.
/// @return the exit code
/// @throws std::runtime_error with one line for the user, ServiceProblem also with a hint
int runGuide(const CommonOptions& options, const GuideOptions& guide);

}  // namespace W::host
