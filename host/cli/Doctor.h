// `corvane doctor`: checks everything that a guide needs, from the configuration to the programmes, and says what to do
// about the first failure.
#pragma once

#include "Runtime.h"

namespace W::host {

/// Prints one line per check on standard output.
/// @return 0 if all checks pass, else 1
int runDoctor(const CommonOptions& options);

}  // namespace W::host
