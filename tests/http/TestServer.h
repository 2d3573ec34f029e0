// The server of http/ with a small application for tests.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <sys/resource.h>

#include "Eventually.h"
#include "HttpServer.h"
#include "RawClient.h"

namespace http::test {

/// More than an undelayed request takes, even on a busy machine.
constexpr std::chrono::seconds kUnaffected{10};

/// Raises the limit of open files as far as the system allows.
inline void allowManyDescriptors()
{
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
}

/// GET /big?n: n bytes. GET /slow: waits until the request is over. Everything else: METHOD PATH BODY.
class TestServer {
public:
    explicit TestServer(const std::function<void(ServerLimits&)>& change = {},
                        const std::optional<TlsFiles>& tls = std::nullopt,
                        const std::function<void(HttpApplication&)>& extend = {})
        : m_server({"127.0.0.1", 0}, tls, limitsOf(change), applicationOf(extend))
    {}

    int port() const { return m_server.port(); }
    HttpServer& server() { return m_server; }
    int requests() const { return m_requests; }
    int abandoned() const { return m_abandoned; }
    std::string log()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_log;
    }

    static std::string get(const std::string& path)
    {
        return fmt::format("GET {} HTTP/1.1\r\nHost: here\r\n\r\n", path);
    }

    /// The time that one request on a new connection takes.
    std::chrono::milliseconds timeOfRequest(const char* from = "127.0.0.1") const
    {
        const auto begin = std::chrono::steady_clock::now();
        const RawClient client(port(), from);
        client.send(get("/quick"));
        const std::string reply = client.receive(1, "/quick");
        const auto took = std::chrono::steady_clock::now() - begin;
        return reply.compare(0, 15, "HTTP/1.1 200 OK") == 0
                   ? std::chrono::duration_cast<std::chrono::milliseconds>(took)
                   : std::chrono::hours(1);
    }

private:
    static ServerLimits limitsOf(const std::function<void(ServerLimits&)>& change)
    {
        ServerLimits limits;
        if (change) {
            change(limits);
        }
        return limits;
    }

    HttpApplication applicationOf(const std::function<void(HttpApplication&)>& extend)
    {
        HttpApplication application;
        application.answer = [this](const Request& request) { return answer(request); };
        application.refuse = [](int status, const std::string& message) {
            Reply reply;
            reply.status = status;
            reply.body = message;
            return reply;
        };
        application.log = [this](const AccessRecord& record) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_log += fmt::format("{} {} {}\n", record.method, record.path, record.status);
        };
        if (extend) {
            extend(application);
        }
        return application;
    }

    Reply answer(const Request& request)
    {
        ++m_requests;
        Reply reply;
        if (request.path == "/big") {
            reply.body.assign(std::stoul(request.query.begin()->first), 'x');
            reply.mayCompress = false;
        } else if (request.path == "/slow") {
            while (!request.isOver()) {
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
            }
            m_abandoned += *request.abandoned ? 1 : 0;
            reply.status = 503;
            reply.body = "over";
        } else {
            reply.body = fmt::format("{} {} {}", request.method, request.path, request.body);
        }
        return reply;
    }

    std::atomic<int> m_requests{0};
    std::atomic<int> m_abandoned{0};
    std::mutex m_lock;
    std::string m_log;
    HttpServer m_server;
};

}  // namespace http::test
