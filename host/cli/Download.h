// `corvane download`: downloads one file through the plug-in. Afterwards either the whole file is there under its name,
// or a failure is reported and the directory is as before. Read next: ServiceCall.h for the call.
#pragma once

#include <chrono>
#include <string>

#include "Runtime.h"

namespace W::host {

struct DownloadOptions {
    std::string url;        ///< http or https
    std::string directory;  ///< must exist
    std::string name;       ///< of the file; empty for the part of the URL after its last "/"
};

/// Downloads, and prints the path of the file. A bar on standard error shows the progress, if that is a terminal.
/// SIGINT, SIGTERM and SIGHUP cancel it.
/// @return 0, or 128 and the signal
/// @throws ServiceProblem
int runDownload(const CommonOptions& options, const DownloadOptions& download);

/// The name of the file.
/// @throws ServiceProblem if it is empty, too long or outside the directory
std::string downloadName(const DownloadOptions& download);

}  // namespace W::host
