// The servers, in the order in which a request meets their faults: name, connection, TLS, HTTP.
#include "FaultServer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <string>
#include <utility>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ExchangeHook.h"
#include "FaultInjector.h"
#include "GoodReplies.h"
#include "HttpServer.h"
#include "Loopback.h"
#include "Operations.h"

namespace W::test {

namespace {

using host::RawServer;
using Connection = RawServer::RawConnection;

std::string lineOf(const std::string& request)
{
    return request.substr(0, request.find("\r\n"));
}

std::string urlOf(const std::string& scheme, const std::string& name, int port)
{
    return scheme + "://" + name + ":" + std::to_string(port);
}

constexpr char kAddress[] = "127.0.0.1";

RawServer::Script servingWell(const GoodService& service)
{
    return [&service](Connection& connection) {
        while (const auto request = connection.readRequest()) {
            connection.send(service.replyTo(*request));
        }
    };
}

class BadName final : public FaultServer {
public:
    BadName(const GoodService& service, LookUp answer) : m_server(servingWell(service)) { setLookUp(m_name, answer); }

    std::string baseUrl() const override { return urlOf("http", m_name, m_server.port()); }
    std::size_t served() override { return failedLookUps(m_name); }
    void heal() override { setLookUp(m_name, LookUp::Loopback); }

private:
    /// libcurl caches a name once it is found, so each name is used once.
    static std::string freshName()
    {
        static std::atomic<int> s_count{0};
        return "host-" + std::to_string(++s_count) + ".test";
    }

    const std::string m_name = freshName();
    RawServer m_server;
};

/// A port without a server until it is healed.
class UnservedPort : public FaultServer {
public:
    explicit UnservedPort(const GoodService& service) : m_service(service), m_socket(host::bindLoopback()) {}
    ~UnservedPort() override
    {
        if (!m_server) {
            ::close(m_socket);
        }
    }

    std::string baseUrl() const override { return urlOf("http", kAddress, port()); }
    void heal() override { m_server.emplace(servingWell(m_service), m_socket); }

protected:
    int socket() const { return m_socket; }
    int port() const { return host::portOf(m_socket); }

private:
    const GoodService& m_service;
    const int m_socket;  ///< owned by the server once there is one
    std::optional<RawServer> m_server;
};

class ClosedPort final : public UnservedPort {
public:
    explicit ClosedPort(const GoodService& service) : UnservedPort(service), m_before(attemptsToConnect(port())) {}

    std::size_t served() override
    {
        if (!m_healed) {
            m_served = attemptsToConnect(port()) - m_before;
        }
        return m_served;
    }
    void heal() override
    {
        served();
        m_healed = true;
        UnservedPort::heal();
    }

private:
    const std::size_t m_before;
    std::size_t m_served = 0;
    bool m_healed = false;
};

class FullQueue final : public UnservedPort {
public:
    explicit FullQueue(const GoodService& service) : UnservedPort(service), m_first(::socket(AF_INET, SOCK_STREAM, 0))
    {
        // A queue of length 0 holds one connection.
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port()));
        EXPECT_EQ(::listen(socket(), 0), 0);
        EXPECT_EQ(::connect(m_first, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~FullQueue() override { ::close(m_first); }

    std::size_t served() override { return m_served = std::max(m_served, unansweredAttempts(port())); }

private:
    const int m_first;
    std::size_t m_served = 0;
};

class BlackHole final : public UnservedPort {
public:
    explicit BlackHole(const GoodService& service) : UnservedPort(service) { EXPECT_EQ(::listen(socket(), 512), 0); }

    std::size_t served() override { return m_served; }
    void heal() override
    {
        pollfd waiting{socket(), POLLIN, 0};
        while (::poll(&waiting, 1, 0) == 1) {
            const int connection = ::accept(socket(), nullptr, nullptr);
            std::string unread;
            const auto request = host::takeRequest(unread, [connection](char* to, std::size_t room) {
                return ::recv(connection, to, room, MSG_DONTWAIT);
            });
            m_served += request ? 1 : 0;
            ::close(connection);
        }
        UnservedPort::heal();
    }

private:
    std::size_t m_served = 0;
};

class BadTls final : public FaultServer {
public:
    BadTls(const GoodService& service, const host::TlsIdentity& healthy, TlsHarm harm)
        : m_service(service),
          m_healthy(healthy),
          m_harm(std::move(harm)),
          m_server([this](Connection& connection) { serve(connection); })
    {}

    std::string baseUrl() const override { return urlOf("https", kAddress, m_server.port()); }
    std::size_t served() override { return m_served; }
    void heal() override { m_healed = true; }

private:
    void serve(Connection& connection)
    {
        if (!m_healed) {
            m_served += m_harm(connection) ? 1 : 0;
            return;
        }
        host::TlsConnection tls(m_healthy, connection.socket());
        std::string unread;
        const auto read = [&tls](char* to, std::size_t room) { return tls.read(to, room); };
        if (tls.shakeHands() != 0) {
            return;
        }
        while (const auto request = host::takeRequest(unread, read)) {
            tls.write(m_service.replyTo(*request));
        }
    }

    const GoodService& m_service;
    const host::TlsIdentity& m_healthy;
    const TlsHarm m_harm;
    std::atomic<bool> m_healed{false};
    std::atomic<std::size_t> m_served{0};
    RawServer m_server;
};

/// What BadReply and InjectedReply count.
class Meetings {
public:
    /// Call it with the key of each request that meets the fault.
    void count(unsigned int key)
    {
        EXPECT_EQ(++m_met[key - vorel::kFirstKey], 1) << vorel::operation(key).name << " came again";
    }
    std::atomic<std::size_t> served{0};

private:
    std::array<std::atomic<int>, vorel::kOperationCount> m_met{};
};

/// The service's own server and fault injector.
class InjectedReply final : public FaultServer, private http::ExchangeHook {
public:
    InjectedReply(const GoodService& service, const std::string& fault)
        : m_service(service),
          m_injector({"*=" + fault}),
          m_server({kAddress, 0}, std::nullopt, http::ServerLimits(), application())
    {}

    std::string baseUrl() const override { return urlOf("http", kAddress, m_server.port()); }
    std::size_t served() override { return m_meetings.served; }
    void heal() override { m_healed = true; }

private:
    http::HttpApplication application()
    {
        http::HttpApplication application;
        application.answer = [this](const http::Request& request) { return answer(request); };
        application.refuse = [](int status, const std::string& message) {
            ADD_FAILURE() << "the server refuses a request: " << status << " " << message;
            http::Reply reply;
            reply.status = status;
            return reply;
        };
        application.hooks = {this};
        return application;
    }

    http::Reply answer(const http::Request& request) const
    {
        http::Reply reply;
        reply.body = GoodService::bodyFor(keyOf(request));
        reply.mayCompress = false;
        return reply;
    }

    void alter(const http::Request& request, http::Reply& reply) override
    {
        const unsigned int key = keyOf(request);
        if (!m_healed && vorel::isOperation(key)) {
            m_meetings.count(key);
            m_injector.alter(request, reply);
        }
    }

    void deliver(const http::Request& request, std::string& bytes, http::ReplyDelivery& delivery) override
    {
        if (!m_healed && vorel::isOperation(keyOf(request))) {
            m_injector.deliver(request, bytes, delivery);
            ++m_meetings.served;
        }
    }

    unsigned int keyOf(const http::Request& request) const
    {
        return m_service.keyOf(request.method + " " + request.target + " HTTP/1.1\r\n");
    }

    const GoodService& m_service;
    corvaned::FaultInjector m_injector;
    std::atomic<bool> m_healed{false};
    Meetings m_meetings;
    http::HttpServer m_server;
};

class BadReply final : public FaultServer {
public:
    BadReply(const GoodService& service, After after, ReplyHarm harm)
        : m_service(service),
          m_after(after),
          m_harm(std::move(harm)),
          m_server([this](Connection& connection) { serve(connection); })
    {}

    std::string baseUrl() const override { return urlOf("http", kAddress, m_server.port()); }
    std::size_t served() override { return m_meetings.served; }
    void heal() override { m_healed = true; }

private:
    void serve(Connection& connection)
    {
        while (const auto request = connection.readRequest()) {
            if (m_healed) {
                connection.send(m_service.replyTo(*request));
                continue;
            }
            const unsigned int key = m_service.keyOf(*request);
            if (!vorel::isOperation(key)) {
                return;
            }
            m_meetings.count(key);
            m_meetings.served += m_harm({connection, *request, GoodService::bodyFor(key)}) ? 1 : 0;
            if (m_after == After::Close) {
                return;
            }
        }
    }

    const GoodService& m_service;
    const After m_after;
    const ReplyHarm m_harm;
    std::atomic<bool> m_healed{false};
    Meetings m_meetings;
    RawServer m_server;
};

}  // namespace

void GoodService::learn(const std::string& request, unsigned int key)
{
    EXPECT_TRUE(m_keys.emplace(lineOf(request), key).second) << "two operations send " << lineOf(request);
}

unsigned int GoodService::keyOf(const std::string& request) const
{
    const auto found = m_keys.find(lineOf(request));
    EXPECT_TRUE(found != m_keys.end()) << "no operation sends " << lineOf(request);
    return found == m_keys.end() ? 0 : found->second;
}

const std::string& GoodService::bodyFor(unsigned int key)
{
    static const std::string s_file = "file";
    static const std::string s_none;
    if (!vorel::isOperation(key)) {
        return s_none;
    }
    return vorel::operation(key).verb == vorel::Verb::Download ? s_file : goodReply(key);
}

FaultServerPointer unknownName(const GoodService& service)
{
    return std::make_unique<BadName>(service, LookUp::NotFound);
}

FaultServerPointer hangingName(const GoodService& service)
{
    return std::make_unique<BadName>(service, LookUp::Hangs);
}

FaultServerPointer closedPort(const GoodService& service)
{
    return std::make_unique<ClosedPort>(service);
}

FaultServerPointer fullQueue(const GoodService& service)
{
    return std::make_unique<FullQueue>(service);
}

FaultServerPointer blackHole(const GoodService& service)
{
    return std::make_unique<BlackHole>(service);
}

FaultServerPointer badTls(const GoodService& service, const host::TlsIdentity& healthy, TlsHarm harm)
{
    return std::make_unique<BadTls>(service, healthy, std::move(harm));
}

TlsHarm certificate(const host::TlsIdentity& identity, int alert)
{
    return [&identity, alert](Connection& connection) {
        host::TlsConnection tls(identity, connection.socket());
        char request = 0;
        return tls.shakeHands() == alert && tls.read(&request, 1) <= 0;
    };
}

bool cutHandshake(Connection& connection)
{
    // A handshake record with a ClientHello.
    constexpr unsigned char kHandshake = 22;
    constexpr unsigned char kClientHello = 1;
    const std::string head = connection.readBody(6);
    return head.size() == 6 && head[0] == kHandshake && head[5] == kClientHello;
}

FaultServerPointer injectedReply(const GoodService& service, const std::string& fault)
{
    return std::make_unique<InjectedReply>(service, fault);
}

FaultServerPointer badReply(const GoodService& service, After after, ReplyHarm harm)
{
    return std::make_unique<BadReply>(service, after, std::move(harm));
}

}  // namespace W::test
