// A server in a process of its own, so that what it costs is not counted as its clients'.
#pragma once

#include <sys/types.h>

#include <string>

namespace W::bench {

/// Puts itself on the last processor and this process on the first one: where threads wake each other up decides what
/// that costs, and the scheduler decides otherwise in every run. Answers every request with the same schedule of 10 KB
/// on connections that stay open; a path that begins with "/stall" is read and never answered.
class LoopbackServer {
public:
    /// Forks: before the process has threads.
    /// @throws std::system_error
    LoopbackServer();
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    /// Without a slash at its end.
    const std::string& url() const { return m_sUrl; }

    /// The one that runs in this program.
    static LoopbackServer& instance();

private:
    pid_t m_process = -1;
    std::string m_sUrl;
};

}  // namespace W::bench
