// The options of `corvaned serve` that set the limits of its HTTP server.
#pragma once

#include <CLI/CLI.hpp>

#include "ServerLimits.h"

namespace corvaned {

/// Adds the options to a command. They write to `limits`, which must outlive the command.
void addLimitOptions(CLI::App& command, http::ServerLimits& limits);

/// Raises the process's limit of descriptors for the connections, and lowers the number of connections if that fails.
/// @return whether all of them fit
bool fitToDescriptors(http::ServerLimits& limits);

}  // namespace corvaned
