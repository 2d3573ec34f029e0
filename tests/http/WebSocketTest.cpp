// WebSockets, frame by frame (RFC 6455): messages both ways, limits, and closing from either side.
#include "WebSocket.h"

#include <condition_variable>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestServer.h"

namespace http {
namespace {

using std::chrono::milliseconds;
using support::eventually;
using test::kUnaffected;
using test::RawClient;
using test::TestServer;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

/// Echoes messages and records events.
class EchoHandler final : public WebSocketHandler {
public:
    void opened(const std::shared_ptr<WebSocket>& opened) override
    {
        const std::lock_guard<std::mutex> guard(lock);
        socket = opened;
    }
    void received(const std::string& message) override
    {
        if (message == "throw") {
            throw std::runtime_error("asked for");
        }
        if (message == "close") {
            return socket->close(1000);
        }
        if (message == "flood") {
            while (socket->send(std::string(100'000, 'x'))) {
                ++sent;
            }
            return;
        }
        socket->send("<" + message + ">");
    }
    void closed() override { isClosed = true; }

    std::mutex lock;
    std::shared_ptr<WebSocket> socket;
    std::atomic<bool> isClosed{false};
    std::atomic<int> sent{0};
};

class WebSockets : public ::testing::Test {
protected:
    void start(const std::function<void(ServerLimits&)>& change = {})
    {
        m_server = std::make_unique<TestServer>(change, std::nullopt, [this](HttpApplication& application) {
            application.openWebSocket = [this](const Request& request) -> std::shared_ptr<WebSocketHandler> {
                return request.path == "/socket" ? m_handler : nullptr;
            };
            application.admit = [](const Request& request) -> std::optional<Reply> {
                if (request.header("Origin") != "http://evil") {
                    return std::nullopt;
                }
                Reply refused;
                refused.status = 403;
                refused.body = "refused";
                return refused;
            };
        });
    }

    static std::string upgrade(const std::string& path = "/socket", const std::string& more = "")
    {
        return "GET " + path +
               " HTTP/1.1\r\nHost: here\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n" +
               more + "\r\n";
    }

    // A masked frame, as clients send it.
    static std::string frame(int opcode, const std::string& payload)
    {
        std::string bytes{static_cast<char>(0x80 | opcode)};
        if (payload.size() < 126) {
            bytes += static_cast<char>(0x80 | payload.size());
        } else {
            bytes += static_cast<char>(0x80 | 126);
            for (int shift = 8; shift >= 0; shift -= 8) {
                bytes += static_cast<char>(payload.size() >> shift & 0xff);
            }
        }
        return bytes + std::string(4, '\0') + payload;  // a mask of zeros changes nothing
    }
    static std::string text(const std::string& payload) { return frame(1, payload); }

    RawClient connected()
    {
        RawClient client(m_server->port());
        client.send(upgrade());
        const std::string reply = client.receive(1, "\r\n\r\n");
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 101 "));
        // The value of RFC 6455, 1.3.
        EXPECT_THAT(reply, HasSubstr("s3pPLMBiTxaQ9kYGzzhZRbK+xOo="));
        return client;
    }

    std::shared_ptr<EchoHandler> m_handler = std::make_shared<EchoHandler>();
    std::unique_ptr<TestServer> m_server;
};

TEST_F(WebSockets, MessagesGoBothWays)
{
    start();
    const RawClient client = connected();
    for (const char* message : {"one", "two", "three"}) {
        client.send(text(message));
        const std::string wanted = std::string("<") + message + ">";
        EXPECT_THAT(client.receive(1, wanted), EndsWith(wanted));
    }
    client.send(text("a") + text("b") + text("c"));
    EXPECT_THAT(client.receive(1, "<c>"), ::testing::AllOf(HasSubstr("<a>"), HasSubstr("<b>")));
    client.send(frame(9, "ping"));
    EXPECT_EQ(client.receive(1, "ping"), std::string("\x8a\x04ping", 6));
}

TEST_F(WebSockets, FramesAfterTheRequestAreRead)
{
    start();
    const RawClient client(m_server->port());
    client.send(upgrade() + text("early"));
    EXPECT_THAT(client.receive(1, "<early>"), StartsWith("HTTP/1.1 101 "));
}

TEST_F(WebSockets, RefusesUpgradesOfOtherPathsAndOrigins)
{
    start();
    const struct {
        std::string request;
        const char* status;
    } rows[] = {
        {upgrade("/elsewhere"), "404"},
        {upgrade("/socket", "Origin: http://evil\r\n"), "403"},
    };
    for (const auto& row : rows) {
        const RawClient client(m_server->port());
        client.send(row.request);
        EXPECT_THAT(client.receive(1, "\r\n\r\n"), StartsWith(std::string("HTTP/1.1 ") + row.status));
    }
    const RawClient noKey(m_server->port());
    noKey.send("GET /socket HTTP/1.1\r\nHost: here\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n");
    EXPECT_THAT(noKey.receiveAll(), StartsWith("HTTP/1.1 4"));
}

TEST_F(WebSockets, CloseFromEitherSide)
{
    start();
    {
        const RawClient client = connected();
        client.send(text("close"));
        EXPECT_THAT(client.receive(1, "\x03\xe8"), EndsWith(std::string("\x88\x02\x03\xe8", 4)));
        client.send(frame(8, "\x03\xe8"));
        client.receiveAll();
        EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
    }
    m_handler->isClosed = false;
    {
        const RawClient client = connected();
        client.send(frame(8, "\x03\xe8"));
        EXPECT_THAT(client.receiveAll(), HasSubstr(std::string("\x88\x02\x03\xe8", 4)));
        EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
    }
    m_handler->isClosed = false;
    connected().reset();
    EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
    EXPECT_FALSE(m_handler->socket->send("too late"));
}

TEST_F(WebSockets, ThrowingHandlerClosesItsConnection)
{
    start();
    const RawClient client = connected();
    client.send(text("throw"));
    EXPECT_THAT(client.receiveAll(), ::testing::Not(HasSubstr("(nothing)")));
    EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
    EXPECT_LT(m_server->timeOfRequest(), kUnaffected);
}

TEST_F(WebSockets, OversizedMessagesCloseTheConnection)
{
    start([](ServerLimits& limits) { limits.messageBytes = 1000; });
    const RawClient client = connected();
    client.send(text(std::string(1000, 'x')));
    EXPECT_THAT(client.receive(1, "x>"), EndsWith("x>"));
    client.send(text(std::string(1001, 'x')));
    EXPECT_THAT(client.receiveAll(), ::testing::Not(HasSubstr("(nothing)")));
    EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
}

TEST_F(WebSockets, DisconnectsClientsThatDoNotRead)
{
    start();
    const RawClient client = connected();
    client.receiveLittle();
    client.send(text("flood"));
    EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
    EXPECT_LE(m_handler->sent, 100) << "100 KB each: what sockets hold, and 4 MiB";
    EXPECT_LT(m_server->timeOfRequest(), kUnaffected);
}

TEST_F(WebSockets, PingsThenClosesSilentClients)
{
    start([](ServerLimits& limits) { limits.webSocketIdleTime = milliseconds(1000); });
    const RawClient client = connected();
    EXPECT_THAT(client.receiveAll(),
                ::testing::AllOf(StartsWith(std::string("\x89\x00", 2)), ::testing::Not(HasSubstr("(nothing)"))));
    EXPECT_TRUE(eventually([&] { return m_handler->isClosed.load(); }));
}

TEST_F(WebSockets, StopClosesThemAndHandlesMayOutliveTheServer)
{
    start();
    const RawClient client = connected();
    ASSERT_TRUE(eventually([&] {
        const std::lock_guard<std::mutex> guard(m_handler->lock);
        return m_handler->socket != nullptr;
    }));
    std::thread stopping([&] { m_server->server().stop(); });
    EXPECT_THAT(client.receive(1, "\x03\xe9"), EndsWith(std::string("\x88\x02\x03\xe9", 4))) << "going away";
    client.send(frame(8, "\x03\xe9"));
    stopping.join();
    m_server.reset();
    EXPECT_FALSE(m_handler->socket->send("too late"));
    m_handler->socket->close(1000);
}

}  // namespace
}  // namespace http
