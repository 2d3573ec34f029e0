// `corvane web`: serves the guide as a page (web/) and bridges it to the plug-in, for a browser on this machine.
// WebSite.h answers requests, WebAccess.h decides which requests are admitted, PageConnection.h carries JSON-RPC.
#pragma once

#include <string>

#include "Runtime.h"

namespace W::host {

struct WebOptions {
    std::string listen = "127.0.0.1:8980";
    std::string assets;        ///< folder with the page; empty for the one in the program
    std::string passwordFile;  ///< its first line is the password; empty for a token in the address
    bool open = false;         ///< whether to open the address in a browser
};

/// Serves until SIGINT or SIGTERM. Prints one line on standard output when it is ready. Call it before any thread is
/// started: it blocks both signals.
/// @return the exit code
/// @throws std::runtime_error with one line for the user, ServiceProblem also with a hint
int runWeb(const CommonOptions& options, const WebOptions& web);

}  // namespace W::host
