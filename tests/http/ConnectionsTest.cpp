// Connections, over raw sockets: many at once, pipelined requests, clients that leave, limits, and stop().
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "TestServer.h"

namespace http {
namespace {

using support::eventually;
using test::kUnaffected;
using test::RawClient;
using test::TestServer;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

// Answers every request once the promise has its value.
std::function<void(HttpApplication&)> answerAfter(std::promise<void>& end)
{
    return [ended = end.get_future().share()](HttpApplication& application) {
        application.answer = [ended](const Request& /*request*/) {
            ended.wait();
            return Reply();
        };
    };
}

TEST(Connections, KeepsAndServesAThousand)
{
    test::allowManyDescriptors();
    TestServer server;
    const std::size_t before = openDescriptors();
    {
        std::vector<RawClient> kept;
        for (int i = 0; i < 1000; ++i) {
            kept.emplace_back(server.port());
        }
        for (int round = 0; round < 2; ++round) {
            for (const RawClient& client : kept) {
                client.send(TestServer::get("/a"));
            }
            for (const RawClient& client : kept) {
                ASSERT_THAT(client.receive(1, "GET /a"), StartsWith("HTTP/1.1 200 OK\r\n"));
            }
        }
        EXPECT_LT(server.timeOfRequest(), kUnaffected) << "idle connections delay requests";
    }
    EXPECT_TRUE(eventually([before] { return openDescriptors() <= before; })) << "descriptors leak";
    server.server().stop();
}

TEST(Connections, AnswersPipelinedRequestsInOrder)
{
    const TestServer server;
    const RawClient client(server.port());
    std::string many;
    for (int i = 0; i < 200; ++i) {
        many += TestServer::get(fmt::format("/number/{};", i));
    }
    client.send(many);
    const std::string replies = client.receive(200, "GET /number/");
    std::size_t at = 0;
    for (int i = 0; i < 199; ++i) {
        const std::size_t next = replies.find(fmt::format("/number/{};", i), at);
        ASSERT_NE(next, std::string::npos) << i;
        at = next;
    }
}

TEST(Connections, SendsTheLastReplyBeforeClosing)
{
    const TestServer server;
    const RawClient closing(server.port());
    closing.send("GET /a HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n");
    EXPECT_THAT(closing.receiveAll(), EndsWith("GET /a (closed)"));
    const RawClient half(server.port());
    half.send(TestServer::get("/a").substr(0, 20));
    half.endSending();
    EXPECT_THAT(half.receiveAll(), StartsWith("HTTP/1.1 400 "));
    const RawClient whole(server.port());
    whole.send(TestServer::get("/a"));
    whole.endSending();
    EXPECT_THAT(whole.receiveAll(), EndsWith("GET /a (closed)"));
    // More than the sockets can buffer, so that most of it is sent while the client reads.
    const RawClient large(server.port());
    large.send("GET /big?20000000 HTTP/1.1\r\nHost: here\r\nConnection: close\r\n\r\n");
    EXPECT_GT(large.receiveAll().size(), 20000000U);
}

TEST(Connections, ClosesIdleConnections)
{
    const TestServer server([](ServerLimits& limits) { limits.idleTime = seconds(2); });
    const RawClient silent(server.port());
    const RawClient served(server.port());
    served.send(TestServer::get("/a"));
    EXPECT_THAT(served.receive(1, "GET /a "), StartsWith("HTTP/1.1 200 "));
    EXPECT_EQ(silent.receiveAll(), "(closed)");
    EXPECT_EQ(served.receiveAll(), "(closed)");
}

TEST(Connections, LateReplyIsReplacedBy503)
{
    std::promise<void> end;
    const TestServer server([](ServerLimits& limits) { limits.handlerTime = milliseconds(300); }, std::nullopt,
                            answerAfter(end));
    const RawClient client(server.port());
    client.send(TestServer::get("/"));
    EXPECT_THAT(client.receiveAll(), AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("Retry-After: 1\r\n")));
    end.set_value();
}

TEST(Connections, DisconnectAbandonsTheRequest)
{
    const TestServer server([](ServerLimits& limits) { limits.handlerTime = seconds(60); });
    RawClient resetting(server.port());
    resetting.send(TestServer::get("/slow"));
    RawClient closing(server.port());
    closing.send(TestServer::get("/slow"));
    ASSERT_TRUE(eventually([&] { return server.requests() == 2; }));
    resetting.reset();
    {
        const RawClient gone(std::move(closing));
    }
    EXPECT_TRUE(eventually([&] { return server.abandoned() == 2; }));
}

TEST(Connections, FullPoolAnswers503)
{
    std::promise<void> end;
    TestServer server(
        [](ServerLimits& limits) {
            limits.handlers = 2;
            limits.waitingRequests = 3;
            limits.handlerTime = seconds(60);
        },
        std::nullopt, answerAfter(end));
    std::vector<RawClient> clients;
    for (int i = 0; i < 10; ++i) {
        clients.emplace_back(server.port()).send(TestServer::get("/"));
    }
    const auto refusals = [&] {
        const std::string log = server.log();
        return std::count(log.begin(), log.end(), '\n');
    };
    EXPECT_TRUE(eventually([&] { return refusals() >= 6; }));
    end.set_value();
    int refused = 0;
    for (const RawClient& client : clients) {
        const std::string reply = client.receive(1, "\r\n\r\n");
        const bool isRefused = reply.find("HTTP/1.1 503 ") == 0;
        EXPECT_EQ(reply.find("Retry-After: 1\r\n") != std::string::npos, isRefused) << reply;
        refused += isRefused ? 1 : 0;
    }
    EXPECT_THAT(refused, ::testing::AnyOf(6, 7)) << "one is being answered or about to be; three wait";
}

TEST(Connections, RefusesTooManyFromOneAddress)
{
    const TestServer server([](ServerLimits& limits) { limits.connectionsPerAddress = 20; });
    std::vector<RawClient> clients;
    for (int i = 0; i < 20; ++i) {
        clients.emplace_back(server.port(), "127.0.0.2");
        clients.back().send(TestServer::get("/a"));
        ASSERT_THAT(clients.back().receive(1, "GET /a "), StartsWith("HTTP/1.1 200 "));
    }
    const RawClient another(server.port(), "127.0.0.2");
    EXPECT_THAT(another.receiveAll(), AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("Retry-After: 1\r\n")));
    EXPECT_LT(server.timeOfRequest("127.0.0.3"), kUnaffected);
}

TEST(Connections, ClosesTheLongestIdleForANewOne)
{
    const TestServer server([](ServerLimits& limits) { limits.connections = 10; });
    std::vector<RawClient> clients;
    for (int i = 0; i < 10; ++i) {
        clients.emplace_back(server.port());  // idle from the first moment, and accepted in this order
    }
    EXPECT_LT(server.timeOfRequest(), kUnaffected);
    EXPECT_EQ(clients[0].receiveAll(), "(closed)");
    clients[1].send(TestServer::get("/b"));
    EXPECT_THAT(clients[1].receive(1, "GET /b "), StartsWith("HTTP/1.1 200 "));
}

TEST(Connections, LimitsRequestsPerConnection)
{
    const TestServer server([](ServerLimits& limits) { limits.requestsPerConnection = 3; });
    const RawClient client(server.port());
    for (int i = 0; i < 5; ++i) {
        client.send(TestServer::get("/a"));
    }
    const std::string replies = client.receiveAll();
    EXPECT_THAT(replies, EndsWith("GET /a (closed)"));
    EXPECT_EQ(server.requests(), 3);
    EXPECT_THAT(replies, HasSubstr("Connection: close\r\n"));
}

TEST(Connections, AcceptsAgainAfterRunningOutOfDescriptors)
{
    std::atomic<int> failures{0};
    TestServer server({}, std::nullopt, [&](HttpApplication& application) {
        application.report = [&](const std::string& line) { failures += line.find("cannot accept") == 0 ? 1 : 0; };
    });
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    const rlimit before = files;
    std::vector<RawClient> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back(server.port());
    }
    for (const RawClient& client : clients) {
        client.send(TestServer::get("/a"));
        client.receive(1, "GET /a ");
    }
    // The client's socket takes the last descriptor, so accept() has none.
    const int lowest = ::dup(0);
    ::close(lowest);
    files.rlim_cur = static_cast<rlim_t>(lowest) + 1;
    setrlimit(RLIMIT_NOFILE, &files);
    RawClient waiting(server.port());
    EXPECT_EQ(::dup(0), -1) << "a descriptor is free";
    waiting.send(TestServer::get("/a"));
    EXPECT_TRUE(eventually([&] { return failures > 0; }));
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_THAT(waiting.receive(1, "GET /a "), StartsWith("HTTP/1.1 200 "));
    EXPECT_LT(server.timeOfRequest(), kUnaffected);
}

TEST(Stopping, IsPromptWithSlowClients)
{
    TestServer server([](ServerLimits& limits) { limits.stopTime = seconds(60); });
    std::vector<RawClient> slow;
    for (int i = 0; i < 100; ++i) {
        slow.emplace_back(server.port());
        if (i % 2 == 0) {
            slow.back().send("GET /a");
        }
    }
    const auto begin = Clock::now();
    EXPECT_TRUE(server.server().stop());
    EXPECT_LT(Clock::now() - begin, kUnaffected);
    // A connection that was not accepted is reset.
    EXPECT_THAT(slow[1].receiveAll(), ::testing::AnyOf("(closed)", "(reset)"));
}

TEST(Stopping, FinishesRequestsInProgress)
{
    std::promise<void> begun;
    TestServer server([](ServerLimits& limits) { limits.stopTime = seconds(60); }, std::nullopt,
                      [&](HttpApplication& application) {
                          application.answer = [&](const Request& /*request*/) {
                              begun.set_value();
                              std::this_thread::sleep_for(milliseconds(300));  // so that stop() is called before
                              Reply reply;
                              reply.body = "done";
                              return reply;
                          };
                      });
    const RawClient client(server.port());
    client.send(TestServer::get("/"));
    begun.get_future().wait();
    EXPECT_TRUE(server.server().stop());
    EXPECT_THAT(client.receiveAll(), EndsWith("\r\n\r\ndone(closed)"));
}

TEST(Stopping, DoesNotWaitForAClientThatDoesNotRead)
{
    TestServer server([](ServerLimits& limits) { limits.stopTime = seconds(4); });
    const RawClient client(server.port());
    client.send(TestServer::get("/big?50000000"));
    const RawClient working(server.port());
    working.send(TestServer::get("/slow"));
    ASSERT_TRUE(eventually([&] { return server.requests() == 2; }));
    const auto begin = Clock::now();
    EXPECT_TRUE(server.server().stop());
    EXPECT_LT(Clock::now() - begin, seconds(8)) << "a client that does not read has ten seconds";
    EXPECT_EQ(server.abandoned(), 1);
}

TEST(Connections, ReportsAStuckThread)
{
    std::promise<void> release;
    const std::shared_future<void> released = release.get_future().share();
    TestServer server({}, std::nullopt, [released](HttpApplication& application) {
        application.refuse = [released](int, const std::string&) {
            released.wait();
            return Reply();
        };
    });
    EXPECT_TRUE(server.server().isResponsive(seconds(10)));
    const RawClient malformed(server.port());
    malformed.send("nonsense\r\n\r\n");
    EXPECT_TRUE(eventually([&server] { return !server.server().isResponsive(milliseconds(50)); }));
    release.set_value();
    EXPECT_TRUE(server.server().isResponsive(seconds(10)));
}

}  // namespace
}  // namespace http
