// `corvane guide`: what is on, fetched through the plug-in and shown as a table. `corvane today`: the same of a file on
// the device, without a network. Read next: GuideTable.h for the layout.
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

/// Prints the guide of a schedule file, in this machine's time zone. Without a date it begins now, or with the file's
/// first programme where the file has nothing for now. Asks no service.
/// @param file  as a download of today's schedule left it
/// @return, throws  as runGuide()
int runToday(const CommonOptions& options, const GuideOptions& guide, const std::string& file);

}  // namespace W::host
