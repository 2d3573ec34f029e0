#include "LoopbackServer.h"

#include <thread>

#include <sched.h>

#include "ScheduleBody.h"

namespace W::bench {

namespace {

/// Does nothing if that is not permitted; the figures then vary more.
void stayOn(unsigned processor)
{
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processor, &one);
    sched_setaffinity(0, sizeof one, &one);
}

host::RawServer::Script answeringSchedules()
{
    return [body = schedule(10000, 3)](host::RawServer::RawConnection& connection) {
        while (const auto request = connection.readRequest()) {
            if (request->rfind("GET /stall", 0) == 0) {
                connection.waitForEnd();
            } else if (request->find("/localtime?") != std::string::npos) {
                connection.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
            } else {
                connection.answer(body);
            }
        }
    };
}

}  // namespace

LoopbackServer::LoopbackServer()
    : m_server(answeringSchedules(), [] { stayOn(std::thread::hardware_concurrency() - 1); })
{
    stayOn(0);
}

LoopbackServer& LoopbackServer::instance()
{
    static LoopbackServer s_server;
    return s_server;
}

}  // namespace W::bench
