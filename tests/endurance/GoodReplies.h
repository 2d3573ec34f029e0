// A full reply for every operation: the first successful one of its file in tests/end_to_end/exchange/exchanges.
#pragma once

#include <string>

namespace W::test {

/// Body of a good reply to an operation by its key, 3 to 51; empty for the download.
/// @throws std::runtime_error if the operation's file cannot be read
const std::string& goodReply(unsigned int key);

}  // namespace W::test
