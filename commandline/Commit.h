// The commit that a program was built from.
#pragma once

namespace corvane {

/// The abbreviated hash, with "-dirty" if files had been changed; empty if the sources were not in a repository.
const char* commit();

}  // namespace corvane
