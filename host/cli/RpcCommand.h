// `corvane rpc`: JSON-RPC 2.0 on standard input and output.
#pragma once

#include "Runtime.h"

namespace W::host {

/// Carries out the lines of standard input; see RpcConversation.h.
/// @param openSession  also read the defaults and the user's file, as other commands do, and open session and clock
/// first
/// @return the exit code
/// @throws ServiceProblem if no session can be opened, std::runtime_error with one line for the user
int runRpc(const CommonOptions& options, bool openSession);

}  // namespace W::host
