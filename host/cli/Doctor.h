// `corvane doctor`: one check after the other, from the configuration to the line-up, and what to do about the first
// that fails.
#pragma once

#include "Runtime.h"

namespace W::host {

/// Prints one line per check on standard output.
/// @return 0 when all is well, else 1
int runDoctor(const CommonOptions& options);

}  // namespace W::host
