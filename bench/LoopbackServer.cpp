#include "LoopbackServer.h"

#include "RawServer.h"
#include "ScheduleText.h"

#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <system_error>
#include <thread>

namespace W::bench {

namespace {

/// Does nothing where it is not allowed: the figures are less steady then.
void stayOn(unsigned processor)
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    sched_setaffinity(0, sizeof one, &one);
}

[[noreturn]] void serve(int announceTo)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string body = schedule(10000, 3);
    const host::RawServer server([&body](host::RawServer::Connection& connection) {
        while (const auto request = connection.readRequest()) {
            if (request->rfind("GET /stall", 0) == 0)
                connection.waitForEnd();
            else if (request->find("/localtime?") != std::string::npos)
                connection.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
            else
                connection.answer(body);
        }
    });
    const int port = server.port();
    if (write(announceTo, &port, sizeof port) != sizeof port)
        _exit(1);
    while (true)
        pause();
}

}  // namespace

LoopbackServer::LoopbackServer()
{
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    m_process = fork();
    if (m_process < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    const unsigned processors = std::thread::hardware_concurrency();
    if (m_process == 0) {
        stayOn(processors - 1);
        serve(ends[1]);
    }
    stayOn(0);
    close(ends[1]);
    int port = 0;
    const bool announced = read(ends[0], &port, sizeof port) == sizeof port;
    close(ends[0]);
    if (!announced)
        throw std::system_error(ECHILD, std::generic_category(), "the loopback server did not start");
    m_sUrl = "http://127.0.0.1:" + std::to_string(port);
}

LoopbackServer::~LoopbackServer()
{
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
}

LoopbackServer& LoopbackServer::instance()
{
    static LoopbackServer s_server;
    return s_server;
}

}  // namespace W::bench
