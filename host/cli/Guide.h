// `corvane guide` and `corvane today`: the guide as a table, from the service or from schedule files.
// Read next: GuideTable.h for the layout.
#pragma once

#include <string>
#include <vector>

#include "DisplayZone.h"
#include "Report.h"
#include "Runtime.h"

namespace W::host {

struct GuideOptions {
    std::string date;                   ///< see readGuideDate(); empty for now
    std::vector<std::string> channels;  ///< numbers, sources, names or their beginnings; empty for all
    int hours = 3;
    bool favourites = false;  ///< only favourite channels
    std::string genre;        ///< name of a genre or group of genres; empty for all
};

/// Prints the guide.
/// @return the exit code
/// @throws std::runtime_error with one line for the user, ServiceProblem also with a hint
int runGuide(const CommonOptions& options, const GuideOptions& guide, const OutputOptions& output);

/// Prints the guide of today's schedule files. Without a date it begins now, or with the first programme if there is
/// nothing on now.
/// @param file  a schedule file as it was downloaded, shown in this machine's zone without asking the service; empty to
///              download today's files from the service
/// @return, throws  as runGuide(); 128 and the signal after an interruption
int runToday(const CommonOptions& options, const GuideOptions& guide, const OutputOptions& output,
             const std::string& file);

}  // namespace W::host
