// `corvane guide` and `corvane today`: the guide as a table, from the service or from schedule files.
// Read next: GuideTable.h for the layout.
#pragma once

#include <string>
#include <vector>

#include "DisplayZone.h"
#include "Runtime.h"
#include "WVLService.h"

namespace W::host {

enum class ColorChoice {
    Auto,  ///< on a terminal that has colours, unless NO_COLOR is set
    Always,
    Never
};

struct GuideOptions {
    std::string date;                   ///< see readGuideDate(); empty for now
    std::vector<std::string> channels;  ///< sources, numbers, names or their beginnings; empty for all
    int hours = 3;
    std::string zone;  ///< name in the zone database; empty for TZ, or else the service's
    ColorChoice color = ColorChoice::Auto;
    int width = 0;  ///< columns; 0 for the terminal's
};

/// The service's zone by its name, so that each instant gets the offset that holds then. A name that is not in the zone
/// database, or does not agree with the offset that the service states for now, leaves that offset.
DisplayZone serviceZone(const WVLLocaltime& localtime);

/// Prints the guide.
/// @return the exit code
/// @throws std::runtime_error with one line for the user, ServiceProblem also with a hint
int runGuide(const CommonOptions& options, const GuideOptions& guide);

/// Prints the guide of today's schedule files. Without a date it begins now, or with the first programme if there is
/// nothing on now.
/// @param file  as a download left it, shown in this machine's zone without asking the service; empty to download
/// today's
///              files from the service
/// @return, throws  as runGuide(); 128 and the signal after an interruption
int runToday(const CommonOptions& options, const GuideOptions& guide, const std::string& file);

}  // namespace W::host
