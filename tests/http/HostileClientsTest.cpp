// Hostile clients must neither delay other clients nor make the server's memory grow.
#include <atomic>
#include <chrono>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>

#include "ContentCoding.h"
#include "TestServer.h"

namespace http {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using test::RawClient;
using test::TestServer;
using ::testing::StartsWith;

constexpr std::size_t kMebibyte = 1 << 20;
constexpr std::size_t kMostMore = 64 * kMebibyte;
constexpr const char* kAttacker = "127.0.0.66";

// The peak resident size of the process (server and test) since forgetPeak(), in bytes.
std::size_t peakMemory()
{
    std::ifstream file("/proc/self/status");
    std::string word;
    std::size_t kibibytes = 0;
    while (file >> word && word != "VmHWM:") {
    }
    file >> kibibytes;
    return kibibytes * 1024;
}

void forgetPeak()
{
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << "5";
}

// Sanitizers keep freed memory, so memory is not measured there.
constexpr bool measuresMemory()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return false;
#else
    return true;
#endif
}

class HostileClients : public ::testing::Test {
protected:
    void expectOthersUnaffected(const char* attack)
    {
        for (int i = 0; i < 5; ++i) {
            EXPECT_LT(m_server.timeOfRequest(), test::kUnaffected) << attack;
        }
    }

    void expectFlatMemory(const char* attack) const
    {
        if (measuresMemory()) {
            EXPECT_LT(peakMemory(), m_before + kMostMore) << attack;
        }
    }

    // Memory used before is not counted as the attack's.
    void measureFromHere()
    {
        forgetPeak();
        m_before = peakMemory();
    }

    // The hostile clients stay connected for longer than the test.
    TestServer m_server{[](ServerLimits& limits) {
        limits.headerTime = seconds(60);
        limits.bodyTime = seconds(60);
        limits.handlerTime = seconds(60);
        limits.sendPauseTime = seconds(60);
    }};
    std::size_t m_before = (forgetPeak(), peakMemory());
};

const struct {
    const char* attack;
    std::string_view begin;
} kSlowRequests[] = {
    {"request line", "G"},
    {"header", "GET / HTTP/1.1\r\nHost: here\r\nX: "},
    {"body", "PUT / HTTP/1.1\r\nHost: here\r\nContent-Length: 100000\r\n\r\n"},
    {"chunk", "PUT / HTTP/1.1\r\nHost: here\r\nTransfer-Encoding: chunked\r\n\r\n1"},
};

TEST_F(HostileClients, SlowRequestsDoNotDelayOthers)
{
    std::vector<RawClient> clients;
    for (const auto& row : kSlowRequests) {
        for (int i = 0; i < 64; ++i) {
            clients.emplace_back(m_server.port(), kAttacker).send(row.begin);
        }
        expectOthersUnaffected(row.attack);
    }
}

TEST(SlowRequests, OneByteAtATimeDoesNotProlongTheDeadline)
{
    const TestServer server([](ServerLimits& limits) {
        limits.headerTime = seconds(1);
        limits.bodyTime = seconds(1);
    });
    for (const auto& row : kSlowRequests) {
        const RawClient silent(server.port());
        silent.send(row.begin);
        const RawClient slow(server.port());
        slow.send(row.begin);
        const auto hasEnded = [&] {
            return !slow.send("0") || slow.receiveAll(milliseconds(200)).find("(nothing)") == std::string::npos;
        };
        EXPECT_TRUE(support::eventually(hasEnded)) << row.attack;
        EXPECT_THAT(silent.receiveAll(), StartsWith("HTTP/1.1 408 ")) << row.attack;
    }
}

TEST_F(HostileClients, UnreadRepliesDoNotDelayOthers)
{
    std::string many;
    for (int i = 0; i < 20; ++i) {
        many += TestServer::get("/big?1000000");
    }
    std::vector<RawClient> clients;
    for (int i = 0; i < 200; ++i) {
        clients.emplace_back(m_server.port(), kAttacker);
        clients.back().receiveLittle();
        clients.back().send(many);
    }
    expectOthersUnaffected("unread replies");
    expectFlatMemory("unread replies");
    EXPECT_LT(m_server.requests(), 450) << "the server makes replies that are never read";
}

// Makes 12 KB as a handler does: in a growing string, beside many small pieces.
Reply replyInPieces()
{
    std::vector<std::string> pieces;
    for (int i = 0; i < 600; ++i) {
        pieces.emplace_back(20 + i % 60, 'x');
    }
    Reply reply;
    reply.mayCompress = false;
    for (std::size_t i = 0; reply.body.size() < 12'000; ++i) {
        reply.body += pieces[i];
    }
    return reply;
}

TEST(HostileMemory, UnreadRepliesTakeLittleMoreThanTheirSize)
{
    if (!measuresMemory()) {
        GTEST_SKIP() << "sanitizers keep freed memory";
    }
    test::allowManyDescriptors();
    constexpr int kClients = 1000;
    constexpr std::size_t kMostPerClient = 48 * 1024;  // a reply of 12 KB, requests that wait, and gaps between them
    std::atomic<int> made{0};
    const TestServer server({}, std::nullopt, [&made](HttpApplication& application) {
        application.answer = [&made, plain = application.answer](const Request& request) {
            made += request.path == "/pieces" ? 1 : 0;
            return request.path == "/pieces" ? replyInPieces() : plain(request);
        };
    });
    std::string many;
    for (int i = 0; i < 20; ++i) {
        many += TestServer::get("/pieces?" + std::string(200, 'x'));
    }
    std::vector<RawClient> clients;
    for (int i = 0; i < kClients; ++i) {
        clients.emplace_back(server.port(), kAttacker);
        clients.back().receiveLittle();
    }
    forgetPeak();
    const std::size_t before = peakMemory();
    for (const RawClient& client : clients) {
        client.send(many);
    }
    EXPECT_TRUE(support::eventually([&made] { return made >= 2 * kClients; }));
    EXPECT_LT(server.timeOfRequest(), test::kUnaffected);
    EXPECT_LT((peakMemory() - before) / kClients, kMostPerClient);
}

TEST(SlowRequests, UnreadRepliesHaveADeadline)
{
    const TestServer server([](ServerLimits& limits) { limits.sendPauseTime = seconds(1); });
    const RawClient client(server.port());
    client.receiveLittle();
    client.send(TestServer::get("/big?10000000"));
    EXPECT_TRUE(support::eventually([&] { return !client.send("x"); }));
}

TEST_F(HostileClients, LimitsAllBodiesTogether)
{
    std::vector<RawClient> clients;
    const std::string part(900'000, 'x');
    for (int i = 0; i < 200; ++i) {
        clients.emplace_back(m_server.port(), kAttacker);
        const timeval patience{0, 200'000};
        setsockopt(clients.back().descriptor(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        clients.back().send("PUT / HTTP/1.1\r\nHost: here\r\nContent-Length: 1000000\r\n\r\n");
        clients.back().send(part);
    }
    expectOthersUnaffected("large bodies");
    expectFlatMemory("large bodies");
}

TEST_F(HostileClients, RefusesEndlessBodiesAtTheLimit)
{
    const struct {
        const char* attack;
        std::string head;
        const char* status;
    } rows[] = {
        {"chunks", "PUT / HTTP/1.1\r\nHost: here\r\nTransfer-Encoding: chunked\r\n\r\nfffffff\r\n", "413"},
        {"request line", "GET /", "414"},
        {"header", "GET / HTTP/1.1\r\nX: ", "431"},
    };
    for (const auto& row : rows) {
        const RawClient client(m_server.port(), kAttacker);
        client.send(row.head);
        std::size_t sent = 0;
        const std::string part(65536, 'x');
        while (sent < 100 * kMebibyte && client.send(part)) {
            sent += part.size();
        }
        EXPECT_LT(sent, 20 * kMebibyte) << row.attack;
        expectFlatMemory(row.attack);
    }
    // Without a length, the body is empty and what follows it is the next request.
    const RawClient client(m_server.port(), kAttacker);
    client.send("PUT / HTTP/1.1\r\nHost: here\r\n\r\n" + std::string(100'000, 'x'));
    EXPECT_THAT(client.receive(1, "PUT / "), StartsWith("HTTP/1.1 200 "));
}

TEST_F(HostileClients, RefusesCompressedZerosAtTheLimit)
{
    const std::string bomb = gzipped(std::string(200 * kMebibyte, '\0'));
    ASSERT_LT(bomb.size(), kMebibyte);
    measureFromHere();
    for (int i = 0; i < 3; ++i) {
        const RawClient client(m_server.port(), kAttacker);
        client.send(fmt::format("PUT / HTTP/1.1\r\nHost: here\r\nContent-Encoding: gzip\r\nContent-Length: {}\r\n\r\n",
                                bomb.size()));
        client.send(bomb);
        EXPECT_THAT(client.receive(1, "\r\n\r\n"), StartsWith("HTTP/1.1 413 "));
    }
    expectFlatMemory("compressed zeros");
    const std::string good = gzipped("hello");
    const RawClient client(m_server.port());
    client.send(fmt::format("PUT /a HTTP/1.1\r\nHost: here\r\nContent-Encoding: gzip\r\nContent-Length: {}\r\n\r\n{}",
                            good.size(), good));
    EXPECT_THAT(client.receive(1, "PUT /a hello"), StartsWith("HTTP/1.1 200 "));
    const RawClient garbage(m_server.port());
    garbage.send("PUT /a HTTP/1.1\r\nHost: here\r\nContent-Encoding: gzip\r\nContent-Length: 5\r\n\r\nhello");
    EXPECT_THAT(garbage.receive(1, "\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    const RawClient unknown(m_server.port());
    unknown.send("PUT /a HTTP/1.1\r\nHost: here\r\nContent-Encoding: br\r\nContent-Length: 5\r\n\r\nhello");
    EXPECT_THAT(unknown.receive(1, "\r\n\r\n"), StartsWith("HTTP/1.1 415 "));
}

TEST_F(HostileClients, ManyRangesGetTheWholeReplyOnce)
{
    std::string ranges = "bytes=-";
    for (int i = 0; i < 4000; ++i) {
        ranges += ",-";
    }
    for (const std::string& range : {ranges, std::string("bytes=0-,0-,0-,0-"), std::string("bytes=-,-")}) {
        for (int i = 0; i < 3; ++i) {
            const RawClient client(m_server.port(), kAttacker);
            client.send(fmt::format("GET /big?1000000 HTTP/1.1\r\nHost: here\r\nConnection: close\r\nRange: {}\r\n\r\n",
                                    range));
            const std::string reply = client.receiveAll();
            EXPECT_THAT(reply, StartsWith("HTTP/1.1 200 OK\r\n"));
            EXPECT_LT(reply.size(), 1'001'000U);
        }
    }
    expectFlatMemory("ranges");
}

TEST_F(HostileClients, OneAddressDoesNotTakeAllHandlers)
{
    std::vector<RawClient> clients;
    for (int i = 0; i < 100; ++i) {
        clients.emplace_back(m_server.port(), kAttacker).send(TestServer::get("/slow"));
    }
    expectOthersUnaffected("slow handlers");
}

}  // namespace
}  // namespace http
