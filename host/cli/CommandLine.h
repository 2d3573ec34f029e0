// The command line of corvane: which command runs, with which options. Read next: Guide.h, Download.h, Doctor.h,
// RpcCommand.h.
#pragma once

namespace W::host {

/// Parses the arguments and runs the command. Errors go to standard error.
/// @return the exit code: 0, 1 after a failure, 2 after wrong usage; 128 and the signal after an interruption
/// @throws std::bad_alloc
int runCommandLine(int argc, char** argv);

}  // namespace W::host
