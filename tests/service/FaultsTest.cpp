// Replies spoiled on purpose, and exchanges kept and repeated: every byte that a client gets, over a real socket.
#include "Meddler.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "OperatorError.h"
#include "Server.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

constexpr const char* kLocalTime = "/openapi/service/vorel/conf/localtime";
constexpr const char* kServerUrl = "/openapi/service/vorel/conf/server";

/// A service that meddles.
class Meddling {
public:
    explicit Meddling(const MeddlerOptions& options) : m_meddler(options)
    {
        ServiceSettings settings;
        settings.zone = Zone::named("+09:00");
        settings.now = [] { return *parseUtc("2026-11-20T18:30:00Z"); };
        m_service = std::make_unique<Service>(m_db.store, settings);
        m_server = std::make_unique<Server>(
            *m_service, ListenAddress{"127.0.0.1", 0}, std::nullopt, [](const std::string&) {}, &m_meddler);
    }
    int port() const { return m_server->port(); }

private:
    test::TestStore m_db;
    Meddler m_meddler;
    std::unique_ptr<Service> m_service;
    std::unique_ptr<Server> m_server;
};

Meddling spoiling(const std::string& fault)
{
    return Meddling({{fault}, "", ""});
}

struct Received {
    std::string bytes;
    int error = 0;  // errno of the last read
    std::chrono::milliseconds took{};

    std::string body() const { return bytes.substr(std::min(bytes.find("\r\n\r\n") + 4, bytes.size())); }
    Json rsp() const { return Json::parse(body()).at("rsp"); }
};

/// What comes back for one request, up to the end of the connection or two seconds of silence.
Received ask(int port, const std::string& path, const std::string& moreHeaders = "", const char* method = "GET")
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{2, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    Received received;
    const auto begin = Clock::now();
    if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        const std::string request = std::string(method) + " " + path +
                                    " HTTP/1.1\r\nHost: here\r\nConnection: close\r\n" + moreHeaders + "\r\n";
        ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
        char buffer[65536];
        ssize_t count = 0;
        errno = 0;
        while ((count = ::recv(socket, buffer, sizeof buffer, 0)) > 0) {
            received.bytes.append(buffer, static_cast<std::size_t>(count));
        }
        received.error = count < 0 ? errno : 0;
    }
    ::close(socket);
    received.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    return received;
}

TEST(Meddler, LeavesOtherPathsAlone)
{
    const Meddling service = spoiling("conf/localtime=reset");
    EXPECT_EQ(ask(service.port(), kServerUrl).rsp().at("stat"), "OK");
    EXPECT_EQ(ask(service.port(), kLocalTime).bytes, "");
}

TEST(Meddler, OfSeveralFaultsTheFirstThatFitsCounts)
{
    const Meddling service({{"conf/server=status 429", "*=status"}, "", ""});
    EXPECT_THAT(ask(service.port(), kServerUrl).bytes, StartsWith("HTTP/1.1 429 "));
    EXPECT_THAT(ask(service.port(), kLocalTime).bytes, StartsWith("HTTP/1.1 503 "));
}

TEST(Meddler, SendsLateAndInDrops)
{
    EXPECT_GE(ask(spoiling("*=delay 300").port(), kLocalTime).took.count(), 300);
    const Received drops = ask(spoiling("*=drip 1").port(), kLocalTime);
    EXPECT_EQ(drops.rsp().at("stat"), "OK");
    EXPECT_GE(drops.took.count(), static_cast<long>(drops.bytes.size()));
}

TEST(Meddler, SendsAPart)
{
    const Received stalled = ask(spoiling("*=stall 12").port(), kLocalTime);
    EXPECT_EQ(stalled.bytes, "HTTP/1.1 200");
    EXPECT_EQ(stalled.error, EAGAIN);
    const Received cut = ask(spoiling("*=truncate 12").port(), kLocalTime);
    EXPECT_EQ(cut.bytes, "HTTP/1.1 200");
    EXPECT_EQ(cut.error, 0);
    const Received reset = ask(spoiling("*=reset").port(), kLocalTime);
    EXPECT_EQ(reset.bytes, "");
    EXPECT_EQ(reset.error, ECONNRESET);
}

TEST(Meddler, LiesAboutTheLength)
{
    const std::size_t right = ask(spoiling("conf/server=html").port(), kLocalTime).body().size();
    for (const int difference : {-1, 5}) {
        const Received wrong = ask(spoiling("*=length " + std::to_string(difference)).port(), kLocalTime);
        EXPECT_THAT(wrong.bytes,
                    HasSubstr("Content-Length: " + std::to_string(static_cast<int>(right) + difference) + "\r\n"));
        EXPECT_EQ(wrong.body().size(), right);
    }
}

TEST(Meddler, SaysSomethingElse)
{
    EXPECT_THAT(ask(spoiling("*=html").port(), kLocalTime).body(), StartsWith("<html>"));
    EXPECT_EQ(ask(spoiling("*=types").port(), kLocalTime).rsp(),
              Json::parse(R"({"stat":"OK","date":7,"localdate":7,"timezone":7,"difference":7})"));
    const Received bomb = ask(spoiling("*=bomb 2").port(), kLocalTime, "Accept-Encoding: gzip\r\n");
    EXPECT_THAT(bomb.bytes, HasSubstr("Content-Encoding: gzip\r\n"));
    EXPECT_THAT(bomb.body(), AllOf(StartsWith("\x1f\x8b"), SizeIs(testing::Lt(10'000U))));
}

TEST(Meddler, ABadFaultIsSaid)
{
    for (const char* text : {"", "conf/server", "=reset", "*=", "*=explode", "*=delay soon", "*=delay -1",
                             "*=status 200", "*=html 3", "*=delay 1 2"}) {
        EXPECT_THROW(spoiling(text), OperatorError) << text;
    }
    try {
        spoiling("conf/server=explode");
    } catch (const OperatorError& error) {
        EXPECT_THAT(error.what(), AllOf(HasSubstr("'conf/server=explode' is no fault"), HasSubstr("delay, drip"),
                                        HasSubstr("as in 'channel/schedule=delay 500'")));
    }
}

TEST(Meddler, WhatIsRecordedIsReplayedInItsOrder)
{
    const TemporaryDatabase scratch;
    const std::string folder = scratch.path() + ".d";
    std::string first;
    std::string failed;
    {
        // One fault once: what was seen of it can be shown again.
        const Meddling service({{"conf/server=status 500"}, folder, ""});
        first = ask(service.port(), std::string(kLocalTime) + "?a=1", "Token: secret\r\nDUID: secret\r\n").bytes;
        failed = ask(service.port(), kServerUrl).bytes;
    }
    EXPECT_THAT(first, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(test::readFile(folder + "/000001.request"),
                AllOf(StartsWith("GET /openapi"), HasSubstr("Host: here\r\n"), Not(HasSubstr("secret"))));
    EXPECT_EQ(test::readFile(folder + "/000002.reply"), failed);
    // The same request a second time, with another reply.
    test::writeFile(folder + "/000003.request", test::readFile(folder + "/000001.request"));
    test::writeFile(folder + "/000003.reply", "HTTP/1.1 204 No Content\r\n\r\n");

    const Meddling service({{}, "", folder});
    EXPECT_EQ(ask(service.port(), kServerUrl).bytes, failed);
    EXPECT_EQ(ask(service.port(), std::string(kLocalTime) + "?a=1").bytes, first);
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(ask(service.port(), std::string(kLocalTime) + "?a=1").bytes, "HTTP/1.1 204 No Content\r\n\r\n");
    }
    const Received unknown = ask(service.port(), kLocalTime);
    EXPECT_THAT(unknown.bytes, StartsWith("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_EQ(unknown.rsp().at("err").at("code"), "104");
}

TEST(Meddler, FoldersThatCannotServeAreSaid)
{
    const TemporaryDatabase scratch;
    EXPECT_THROW(Meddling({{}, "", scratch.path() + ".none"}), OperatorError);
    test::writeFile(scratch.path() + ".file", "x");
    EXPECT_THROW(Meddling({{}, scratch.path() + ".file", ""}), OperatorError);
    EXPECT_THROW(Meddling({{}, std::filesystem::path(scratch.path() + ".file").parent_path(), ""}), OperatorError);
}

}  // namespace
}  // namespace corvaned
