// `corvane api`: one operation of the plug-in, as with `corvane rpc --session`.
#pragma once

#include <string>
#include <vector>

#include "Report.h"
#include "Runtime.h"

namespace W::host {

/// Opens a session and the clock, carries out the operation and prints the result of its JSON-RPC response.
/// @param words  the operation's parameters: each as a word, or as JSON; or all of them as one JSON array
/// @return 0; 1 if the operation fails; 2 if there is no such operation or the parameters do not fit
/// @throws ServiceProblem if no session can be opened, std::runtime_error with one line for the user
int runApi(const CommonOptions& options, const OutputOptions& output, const std::string& method,
           const std::vector<std::string>& words);

}  // namespace W::host
