// `corvane download`: fetches one file through the plug-in. Either the whole file is there afterwards under its name,
// or a failure is reported and the directory is as it was. Read next: ServiceCall.h for the call.
#pragma once

#include "DownloadProgress.h"
#include "Runtime.h"

#include <chrono>
#include <string>

namespace W::host {

struct DownloadOptions {
    std::string url;        ///< http or https
    std::string directory;  ///< exists
    std::string name;       ///< in it; empty for what follows the last "/" of the URL
};

/// Fetches, and prints the path of the file. A bar on standard error shows how far it is, where that is a terminal.
/// SIGINT, SIGTERM and SIGHUP cancel it.
/// @return 0, or 128 and the signal
/// @throws ServiceProblem
int runDownload(const CommonOptions& options, const DownloadOptions& download);

/// The name that the file gets.
/// @throws ServiceProblem when it would lead out of the directory, or is none
std::string downloadName(const DownloadOptions& download);

/// How far a download is, in one line of exactly `width` columns: bar, bytes, rate and time left, as far as they are
/// known and there is room.
std::string progressLine(const DownloadProgress& progress, std::chrono::milliseconds elapsed, int width);

}  // namespace W::host
