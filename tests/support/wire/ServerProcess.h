// A server in a process of its own.
#pragma once

#include "RawServer.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>

namespace W::test {

/// What it keeps is not counted among what the test itself does.
class ServerProcess {
public:
    /// Before any thread starts.
    explicit ServerProcess(host::RawServer::Script script)
    {
        int ends[2] = {-1, -1};
        if (::pipe(ends) != 0)
            throw std::runtime_error("no pipe");
        m_iProcess = ::fork();
        if (m_iProcess == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const host::RawServer server(std::move(script));
            const int port = server.port();
            if (::write(ends[1], &port, sizeof port) == sizeof port) {
                for (;;)
                    ::pause();
            }
            ::_exit(1);
        }
        int port = 0;
        if (::read(ends[0], &port, sizeof port) != sizeof port)
            throw std::runtime_error("the server does not start");
        ::close(ends[0]);
        ::close(ends[1]);
        m_sUrl = "http://127.0.0.1:" + std::to_string(port);
    }
    ~ServerProcess()
    {
        ::kill(m_iProcess, SIGKILL);
        ::waitpid(m_iProcess, nullptr, 0);
    }
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    const std::string& url() const { return m_sUrl; }

private:
    int m_iProcess = -1;
    std::string m_sUrl;
};

}  // namespace W::test
