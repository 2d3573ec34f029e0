// A RawServer in a separate process, so that its threads, memory and time are not counted as the test's.
#pragma once

#include <csignal>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "RawServer.h"

namespace W::test {

/// Forks; killed by the destructor or when the test ends.
class ServerProcess {
public:
    /// Call it before the test starts any thread.
    /// @param prepare  called first in the new process, for example to choose its processor
    /// @throws std::runtime_error if the server does not start
    explicit ServerProcess(
        host::RawServer::Script script, const std::function<void()>& prepare = [] {})
    {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0) {
            throw std::runtime_error("cannot open a pipe");
        }
        m_process = ::fork();
        if (m_process == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            prepare();
            const host::RawServer server(std::move(script));
            const int port = server.port();
            if (::write(ends[1], &port, sizeof port) == sizeof port) {
                for (;;) {
                    ::pause();
                }
            }
            ::_exit(1);
        }
        int port = 0;
        ::close(ends[1]);
        const bool announced = ::read(ends[0], &port, sizeof port) == sizeof port;
        ::close(ends[0]);
        if (!announced) {
            throw std::runtime_error("the server process did not start");
        }
        m_url = "http://127.0.0.1:" + std::to_string(port);
    }
    ~ServerProcess()
    {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    const std::string& url() const { return m_url; }

private:
    int m_process = -1;
    std::string m_url;
};

}  // namespace W::test
