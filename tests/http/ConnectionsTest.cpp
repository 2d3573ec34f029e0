// Connections as such, over raw sockets: many of them, several requests in one piece, clients that stop half-way.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "Connections.h"
#include "Server.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr std::string_view kAsk = "GET /openapi/service/vorel/conf/localtime HTTP/1.1\r\nHost: here\r\n\r\n";

// A client that says exactly what it is told to.
class RawClient {
public:
    explicit RawClient(int port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{20, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (::connect(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::runtime_error(fmt::format("connect: {}", std::strerror(errno)));
        }
    }
    RawClient(RawClient&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}
    RawClient& operator=(RawClient&&) = delete;
    ~RawClient() { ::close(m_socket); }

    void send(std::string_view text) const
    {
        ASSERT_EQ(::send(m_socket, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
    }
    void endSending() const { ::shutdown(m_socket, SHUT_WR); }

    // Everything up to that many ends of a reply, or up to the end of the connection.
    std::string receive(int replies, std::string_view end = "}}") const
    {
        std::string text;
        for (int seen = 0; seen < replies;) {
            char piece[4096];
            const ssize_t count = ::recv(m_socket, piece, sizeof piece, 0);
            if (count <= 0) {
                return text + (count == 0 ? "(closed)" : "(nothing)");
            }
            text.append(piece, static_cast<std::size_t>(count));
            seen = 0;
            for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, at + end.size())) {
                ++seen;
            }
        }
        return text;
    }

private:
    int m_socket;
};

struct HeldConnections : ::testing::Test {
    test::TestStore db;
    Service service{db.store, {}};
    Server server{service, {"127.0.0.1", 0}, std::nullopt, [](const std::string&) {}};
};

TEST_F(HeldConnections, AThousandAreHeldAndEachIsServed)
{
    constexpr std::size_t kHeld = 1000;
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    ASSERT_GT(files.rlim_cur, 2 * kHeld + 300) << "this machine allows too few open files";
    std::vector<RawClient> held;
    for (std::size_t i = 0; i < kHeld; ++i) {
        held.emplace_back(server.port());
    }
    for (int round = 0; round < 2; ++round) {
        for (const RawClient& client : held) {
            client.send(kAsk);
        }
        for (const RawClient& client : held) {
            ASSERT_THAT(client.receive(1), StartsWith("HTTP/1.1 200 OK\r\n"));
        }
    }
    const auto begin = std::chrono::steady_clock::now();
    const RawClient another(server.port());
    another.send(kAsk);
    EXPECT_THAT(another.receive(1), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2)) << "idle ones are in the way";
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    EXPECT_EQ(held.front().receive(1), "(closed)");
}

TEST_F(HeldConnections, RequestsInOnePieceAreAnsweredInOrder)
{
    const RawClient client(server.port());
    std::string many;
    for (int i = 0; i < 100; ++i) {
        many += fmt::format("GET /unheard/{} HTTP/1.1\r\nHost: here\r\n\r\n", i);
    }
    client.send(many);
    const std::string replies = client.receive(100);
    std::size_t at = 0;
    for (int i = 0; i < 100; ++i) {
        const std::size_t next = replies.find(fmt::format("/unheard/{};", i), at);
        ASSERT_NE(next, std::string::npos) << i;
        at = next;
    }
}

TEST_F(HeldConnections, ARequestMayComeInPieces)
{
    const RawClient client(server.port());
    for (const char c : kAsk) {
        client.send({&c, 1});
    }
    EXPECT_THAT(client.receive(1), HasSubstr("\"timezone\""));
    const std::string body(20000, 'x');
    client.send(fmt::format("PUT /nowhere HTTP/1.1\r\nHost: here\r\nContent-Length: {}\r\n\r\n", body.size()));
    client.send(body);
    EXPECT_THAT(client.receive(1), StartsWith("HTTP/1.1 404 "));
    client.send("PUT /nowhere HTTP/1.1\r\nHost: here\r\nContent-Length: 1\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(client.receive(1, "\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n") << "before the body is sent";
    client.send("x");
    EXPECT_THAT(client.receive(1), StartsWith("HTTP/1.1 404 "));
}

TEST_F(HeldConnections, TheLastReplyIsSentBeforeTheEnd)
{
    const RawClient closing(server.port());
    closing.send("GET /openapi/service/vorel/conf/localtime HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(closing.receive(2), HasSubstr("\"timezone\""));
    const RawClient garbage(server.port());
    garbage.send("no HTTP at all\r\n\r\n");
    EXPECT_THAT(garbage.receive(2), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    const RawClient half(server.port());
    half.send(kAsk.substr(0, 30));
    half.endSending();
    EXPECT_THAT(half.receive(2), StartsWith("HTTP/1.1 400 Bad Request\r\n"));
    const RawClient whole(server.port());
    whole.send(kAsk);
    whole.endSending();
    EXPECT_THAT(whole.receive(2), HasSubstr("\"timezone\""));
}

TEST_F(HeldConnections, SlowClientsHoldNobodyUp)
{
    std::vector<RawClient> slow;
    for (int i = 0; i < 20; ++i) {
        slow.emplace_back(server.port());
        slow.back().send("GET /slow");
    }
    const auto begin = std::chrono::steady_clock::now();
    const RawClient quick(server.port());
    quick.send(kAsk);
    EXPECT_THAT(quick.receive(1), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
    for (const RawClient& client : slow) {
        client.send(" HTTP/1.1\r\nHost: here\r\n\r\n");
    }
    for (const RawClient& client : slow) {
        EXPECT_THAT(client.receive(1), StartsWith("HTTP/1.1 404 "));
    }
}

// More of them than there are workers, each in the middle of a request.
TEST_F(HeldConnections, StopDoesNotWaitForSlowClients)
{
    std::vector<RawClient> slow;
    for (int i = 0; i < 100; ++i) {
        slow.emplace_back(server.port());
        slow.back().send("GET /slow");
    }
    const auto begin = std::chrono::steady_clock::now();
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(3));
}

TEST(IdleConnections, AreClosedAfterTheirTime)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Connections connections(1, 2, std::chrono::seconds(1), [](Connection& connection) {
        char c = 0;
        return connection.read(&c, 1) == 1 && connection.write(&c, 1) == 1;
    });
    connections.add(std::make_unique<Connection>(ends[0], Connection::Tls(nullptr, nullptr)));
    const auto begin = std::chrono::steady_clock::now();
    char c = 'x';
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(::write(ends[1], &c, 1), 1);
        ASSERT_EQ(::read(ends[1], &c, 1), 1);
    }
    EXPECT_EQ(::read(ends[1], &c, 1), 0);
    EXPECT_GT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    ::close(ends[1]);
    connections.shutdown();
}

}  // namespace
}  // namespace corvaned
