// Faults, recording and replay: every byte that a client gets, over a real socket.
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "ExchangeRecords.h"
#include "FaultInjector.h"
#include "OperatorError.h"
#include "OperatorErrorOf.h"
#include "RawClient.h"
#include "Server.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;
using http::test::RawClient;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

constexpr const char* kLocalTime = "/openapi/service/vorel/conf/localtime";
constexpr const char* kServerUrl = "/openapi/service/vorel/conf/server";
constexpr const char* kSeedkey = "/openapi/service/vorel/auth/seedkey";

/// A service with hooks in its exchanges.
class HookedService {
public:
    struct Wanted {
        std::vector<std::string> faults;
        std::string record;
        std::string replay;
    };

    explicit HookedService(const Wanted& wanted)
    {
        ServerSettings settings;
        settings.address = {"127.0.0.1", 0};
        if (!wanted.replay.empty()) {
            settings.hooks.push_back(&m_player.emplace(wanted.replay));
        }
        if (!wanted.faults.empty()) {
            settings.hooks.push_back(&m_injector.emplace(wanted.faults));
        }
        if (!wanted.record.empty()) {
            settings.hooks.push_back(&m_recorder.emplace(wanted.record, [](const std::string&) {}));
        }
        ServiceSettings service;
        service.zone = Zone::named("+09:00");
        service.now = [] { return *parseUtc("2026-11-20T18:30:00Z"); };
        m_service = std::make_unique<Service>(m_db.guide, *m_db.viewers, service);
        m_server = std::make_unique<Server>(*m_service, settings, [](const std::string&) {});
    }
    int port() const { return m_server->port(); }
    ViewerStore& viewers() { return *m_db.viewers; }

private:
    test::TestStore m_db;
    std::optional<ExchangePlayer> m_player;
    std::optional<FaultInjector> m_injector;
    std::optional<ExchangeRecorder> m_recorder;
    std::unique_ptr<Service> m_service;
    std::unique_ptr<Server> m_server;
};

HookedService breaking(const std::string& fault)
{
    return HookedService({{fault}, "", ""});
}

struct Received {
    std::string bytes;
    int error = 0;  // errno of the last read
    std::chrono::milliseconds took{};

    std::string body() const { return bytes.substr(std::min(bytes.find("\r\n\r\n") + 4, bytes.size())); }
    Json rsp() const { return Json::parse(body()).at("rsp"); }
};

/// The bytes received for one request, up to the end of the connection or some seconds of silence.
Received ask(int port, const std::string& path, const std::string& moreHeaders = "",
             std::chrono::seconds patience = std::chrono::seconds(60))
{
    const auto begin = Clock::now();
    const RawClient client(port);
    client.send("GET " + path + " HTTP/1.1\r\nHost: here\r\nConnection: close\r\n" + moreHeaders + "\r\n");
    Received received;
    received.bytes = client.receiveAll(patience);
    const std::pair<const char*, int> ends[] = {{"(closed)", 0}, {"(reset)", ECONNRESET}, {"(nothing)", EAGAIN}};
    for (const auto& [text, error] : ends) {
        if (const std::size_t at = received.bytes.rfind(text); at != std::string::npos) {
            received.bytes.resize(at);
            received.error = error;
        }
    }
    received.took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begin);
    return received;
}

TEST(Faults, DoesNotAffectOtherPaths)
{
    const HookedService service = breaking("conf/localtime=reset");
    EXPECT_EQ(ask(service.port(), kServerUrl).rsp().at("stat"), "OK");
    EXPECT_EQ(ask(service.port(), kLocalTime).bytes, "");
}

TEST(Faults, TheFirstMatchingFaultApplies)
{
    const HookedService service({{"conf/server=status 429", "*=status"}, "", ""});
    EXPECT_THAT(ask(service.port(), kServerUrl).bytes, StartsWith("HTTP/1.1 429 "));
    EXPECT_THAT(ask(service.port(), kLocalTime).bytes, StartsWith("HTTP/1.1 503 "));
}

TEST(Faults, PathsAreComparedByWholeSegments)
{
    const struct {
        const char* rule;
        const char* path;
        bool concerns;
    } rows[] = {
        {"conf", "/openapi/service/vorel/conf/server", true},
        {"conf/", "/openapi/service/vorel/conf/server", true},
        {"conf/serv", "/openapi/service/vorel/conf/server", false},
        {"conf/server", "/openapi/service/vorel/conf/server&a=b", true},
        {"user/like", "/openapi/service/vorel/user/likes", false},
        {"/openapi/service", "/openapi/service/vorel/conf/server", true},
        {"/openapi/serv", "/openapi/service/vorel/conf/server", false},
        {"*", "/anything", true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(InjectedFault::parse(std::string(row.rule) + "=reset").concerns(row.path), row.concerns)
            << row.rule << " and " << row.path;
    }
}

TEST(Faults, ASlowReplyHoldsNoThread)
{
    const HookedService service = breaking("conf/localtime=drip 1000");
    std::vector<RawClient> slow;
    for (int i = 0; i < 100; ++i) {
        slow.emplace_back(service.port()).send(std::string("GET ") + kLocalTime + " HTTP/1.1\r\nHost: here\r\n\r\n");
    }
    const Received other = ask(service.port(), kServerUrl);
    EXPECT_THAT(other.bytes, StartsWith("HTTP/1.1 200 "));
    EXPECT_LT(other.took, std::chrono::seconds(30)) << "a hundred dripping replies hold up another";
}

TEST(Faults, DelaysRepliesAndSendsThemByteByByte)
{
    EXPECT_GE(ask(breaking("*=delay 300").port(), kLocalTime).took.count(), 300);
    const Received drops = ask(breaking("*=drip 1").port(), kLocalTime);
    EXPECT_EQ(drops.rsp().at("stat"), "OK");
    EXPECT_GE(drops.took.count(), static_cast<long>(drops.bytes.size()));
}

TEST(Faults, SendsOnlyTheRequestedPart)
{
    const Received stalled = ask(breaking("*=stall 12").port(), kLocalTime, "", std::chrono::seconds(2));
    EXPECT_EQ(stalled.bytes, "HTTP/1.1 200");
    EXPECT_EQ(stalled.error, EAGAIN);
    const Received cut = ask(breaking("*=truncate 12").port(), kLocalTime);
    EXPECT_EQ(cut.bytes, "HTTP/1.1 200");
    EXPECT_EQ(cut.error, 0);
    const Received reset = ask(breaking("*=reset").port(), kLocalTime);
    EXPECT_EQ(reset.bytes, "");
    EXPECT_EQ(reset.error, ECONNRESET);
}

TEST(Faults, SendsAWrongLength)
{
    const std::size_t right = ask(breaking("conf/server=html").port(), kLocalTime).body().size();
    for (const int difference : {-1, 5}) {
        const Received wrong = ask(breaking("*=length " + std::to_string(difference)).port(), kLocalTime);
        EXPECT_THAT(wrong.bytes,
                    HasSubstr("Content-Length: " + std::to_string(static_cast<int>(right) + difference) + "\r\n"));
        EXPECT_EQ(wrong.body().size(), right);
    }
}

TEST(Faults, ReplacesTheContent)
{
    EXPECT_THAT(ask(breaking("*=html").port(), kLocalTime).body(), StartsWith("<html>"));
    EXPECT_EQ(ask(breaking("*=types").port(), kLocalTime).rsp(),
              Json::parse(R"({"stat":"OK","date":7,"localdate":7,"timezone":7,"difference":7})"));
    const Received bomb = ask(breaking("*=bomb 2").port(), kLocalTime, "Accept-Encoding: gzip\r\n");
    EXPECT_THAT(bomb.bytes, HasSubstr("Content-Encoding: gzip\r\n"));
    EXPECT_THAT(bomb.body(), AllOf(StartsWith("\x1f\x8b"), SizeIs(testing::Lt(10'000U))));
}

TEST(Faults, ReportsInvalidFaults)
{
    for (const char* text : {"", "conf/server", "=reset", "*=", "*=explode", "*=delay soon", "*=delay -1",
                             "*=status 200", "*=html 3", "*=delay 1 2"}) {
        EXPECT_THROW(breaking(text), OperatorError) << text;
    }
    EXPECT_THAT(test::operatorErrorOf([] { breaking("conf/server=explode"); }),
                AllOf(HasSubstr("'conf/server=explode' is not a fault"), HasSubstr("delay, drip"),
                      HasSubstr("as in 'channel/schedule=delay 500'")));
}

TEST(Faults, RecordingsAreReplayedInTheirOrder)
{
    const TemporaryDatabase scratch;
    const std::string folder = scratch.path() + ".d";
    std::string first;
    std::string failed;
    {
        // A reply with a fault is recorded, too, so that it can be replayed.
        const HookedService service({{"conf/server=status 500"}, folder, ""});
        first =
            ask(service.port(), std::string(kLocalTime) + "?a=1",
                "token: secret\r\nAUTHTOKEN: secret\r\nduid:secret\r\nAppKey: secret\r\nAuthorization: Basic secret\r\n"
                "cookie: a=secret\r\n")
                .bytes;
        failed = ask(service.port(), kServerUrl).bytes;
    }
    EXPECT_THAT(first, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(test::readFile(folder + "/000001.request"),
                AllOf(StartsWith("GET /openapi"), HasSubstr("Host: here\r\n"), Not(HasSubstr("secret"))));
    EXPECT_EQ(test::readFile(folder + "/000002.reply"), failed);
    // The same request a second time, with another reply.
    test::writeFile(folder + "/000003.request", test::readFile(folder + "/000001.request"));
    test::writeFile(folder + "/000003.reply", "HTTP/1.1 204 No Content\r\n\r\n");

    const HookedService service({{}, "", folder});
    EXPECT_EQ(ask(service.port(), kServerUrl).bytes, failed);
    EXPECT_EQ(ask(service.port(), std::string(kLocalTime) + "?a=1").bytes, first);
    for (int again = 0; again < 2; ++again) {
        EXPECT_EQ(ask(service.port(), std::string(kLocalTime) + "?a=1").bytes, "HTTP/1.1 204 No Content\r\n\r\n");
    }
    const Received unknown = ask(service.port(), kLocalTime);
    EXPECT_THAT(unknown.bytes, StartsWith("HTTP/1.1 404 Not Found\r\n"));
    EXPECT_EQ(unknown.rsp().at("err").at("code"), "104");
}

TEST(Faults, OnlyTheOwnerCanReadRecordings)
{
    const TemporaryDatabase scratch;
    const std::string folder = scratch.path() + ".d";
    const HookedService service({{}, folder, ""});
    ask(service.port(), kLocalTime);
    for (const char* name : {"", "/000001.request", "/000001.reply"}) {
        struct stat status {};
        ASSERT_EQ(::stat((folder + name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 077U, 0U) << name;
    }
}

TEST(Faults, AReplayDoesNotReachTheService)
{
    const TemporaryDatabase scratch;
    const std::string folder = scratch.path() + ".d";
    const std::string headers = "AppKey: k\r\nDUID: tv\r\n";
    {
        const HookedService service({{}, folder, ""});
        ask(service.port(), kSeedkey, headers);
    }
    HookedService service({{}, "", folder});
    EXPECT_THAT(ask(service.port(), kSeedkey, headers).bytes, StartsWith("HTTP/1.1 200 "));
    EXPECT_EQ(test::values(service.viewers(), "SELECT count(*) AS value FROM session").at(0), "0")
        << "a session was opened";
}

TEST(Faults, ReportsUnusableFolders)
{
    const TemporaryDatabase scratch;
    EXPECT_THROW(HookedService({{}, "", scratch.path() + ".none"}), OperatorError);
    test::writeFile(scratch.path() + ".file", "x");
    EXPECT_THROW(HookedService({{}, scratch.path() + ".file", ""}), OperatorError);
    EXPECT_THROW(HookedService({{}, std::filesystem::path(scratch.path() + ".file").parent_path(), ""}), OperatorError);
}

}  // namespace
}  // namespace corvaned
