// The server of the benchmarks, in a separate process, so that its cost is not counted as its clients'.
#pragma once

#include <string>

#include "ServerProcess.h"

namespace W::bench {

/// Pins its process to the last processor and this process to the first one: the cost of waking a thread depends on
/// where it runs, and the scheduler chooses differently in every run. Answers every request with the same schedule of
/// 10 KB on persistent connections; a request whose path begins with "/stall" is read and never answered.
class LoopbackServer {
public:
    /// Forks, so it must be constructed before the process has threads.
    /// @throws std::runtime_error if the server does not start
    LoopbackServer();

    /// The server's address, without a slash at the end.
    const std::string& url() const { return m_server.url(); }

    /// The server of this program.
    static LoopbackServer& instance();

private:
    test::ServerProcess m_server;
};

}  // namespace W::bench
