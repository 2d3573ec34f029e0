// `corvane rpc`: one JSON-RPC message per line, from a stream.
#pragma once

#include <chrono>
#include <iosfwd>

#include "RpcConversation.h"

namespace W::host {

/// Carries out line after line until the stream ends, then waits for the outstanding requests. A line longer than
/// kMostRpcMessage is skipped and answered with an error; memory use is bounded.
/// @param patience  how long to wait at the end
void serveLines(RpcConversation& conversation, std::istream& lines, std::chrono::milliseconds patience);

}  // namespace W::host
