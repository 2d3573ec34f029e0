// The options of `corvaned serve` for the limits of its HTTP server, one for each.
#pragma once

#include <CLI/CLI.hpp>

#include "ServerLimits.h"

namespace corvaned {

/// Adds the options to a command; they write to the limits, which must outlive it.
void addLimitOptions(CLI::App& command, http::ServerLimits& limits);

/// Makes room for the connections among the descriptors that the system allows, and lowers the limit to what fits.
/// @return whether all that were wanted fit
bool fitToDescriptors(http::ServerLimits& limits);

}  // namespace corvaned
