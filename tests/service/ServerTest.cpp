// The endpoints over a real socket, as a client sees them.
#include "Server.h"

#include <atomic>
#include <filesystem>
#include <mutex>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "OperatorError.h"
#include "PrivatePostgres.h"
#include "Session.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using Json = nlohmann::json;
using http::test::Headers;
using http::test::WebClient;
using http::test::WebReply;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kSecret = "open sesame";
const std::string kPrefix = "/openapi/service/vorel/";

ServerSettings localSettings()
{
    ServerSettings settings;
    settings.address = {"127.0.0.1", 0};
    settings.limits.stopTime = std::chrono::seconds(60);
    return settings;
}

class ServerTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        test::importListing(m_db.guide, test::testData("evening.xml"));
        start({});
    }

    void start(std::optional<std::string> appKey)
    {
        m_server.reset();
        ServiceSettings settings;
        settings.secret = kSecret;
        settings.appKey = std::move(appKey);
        settings.zone = Zone::named("+09:00");
        settings.now = [this] { return m_now.load(); };
        m_service = std::make_unique<Service>(m_db.guide, *m_db.viewers, settings);
        m_server = std::make_unique<Server>(*m_service, localSettings(), [this](const std::string& line) {
            const std::lock_guard<std::mutex> lock(m_logLock);
            m_log += line + "\n";
        });
        m_client = std::make_unique<WebClient>(m_server->port());
    }

    // The client's own Accept-Encoding would hide what the service does.
    std::optional<WebReply> get(const std::string& pathAndQuery, Headers headers = {})
    {
        headers.emplace("Accept-Encoding", "identity");
        return m_client->get(kPrefix + pathAndQuery, headers);
    }

    Json rsp(const std::string& pathAndQuery, const Headers& headers = {}, int status = 200)
    {
        const auto result = get(pathAndQuery, headers);
        EXPECT_TRUE(result.has_value()) << pathAndQuery;
        if (!result) {
            return {};
        }
        EXPECT_EQ(result->status, status) << pathAndQuery << ": " << result->body;
        return Json::parse(result->body).at("rsp");
    }

    void expectFailure(const std::string& pathAndQuery, const Headers& headers, int status, const std::string& code,
                       const std::string& message)
    {
        const Json reply = rsp(pathAndQuery, headers, status);
        EXPECT_EQ(reply, Json({{"stat", "FAIL"}, {"err", {{"code", code}, {"msg", message}}}})) << pathAndQuery;
    }

    Headers sessionHeaders(const std::string& secret = kSecret)
    {
        const Json session = rsp("auth/seedkey", {{"AppKey", "k"}, {"DUID", "tv-1"}}).at("session");
        const ViewerSession held{session.at("id"), session.at("user").at("id"), session.at("seedkey"), 0};
        return {{"AppKey", "k"}, {"Token", sessionToken(held, secret)}};
    }

    std::atomic<Instant> m_now{*parseUtc("2026-11-20T18:30:00Z")};
    test::TestStore m_db;
    std::unique_ptr<Service> m_service;
    std::mutex m_logLock;
    std::string m_log;
    std::unique_ptr<Server> m_server;
    std::unique_ptr<WebClient> m_client;
};

TEST_F(ServerTest, SeedkeyOpensASession)
{
    const Json reply = rsp("auth/seedkey", {{"AppKey", "k"}, {"DUID", "tv-1"}});
    EXPECT_EQ(reply.at("stat"), "OK");
    EXPECT_FALSE(reply.contains("err"));
    const Json& session = reply.at("session");
    EXPECT_EQ(session.at("expired"), "2026-11-21T18:30:00Z");
    for (const std::string text : {session.at("id"), session.at("seedkey"), session.at("user").at("id")}) {
        EXPECT_EQ(text.size(), 32U);
        EXPECT_EQ(text.find('+'), std::string::npos);
    }
    EXPECT_EQ(rsp("auth/seedkey", {{"AppKey", "k"}, {"DUID", "tv-1"}}).at("session").at("user"), session.at("user"));
    expectFailure("auth/seedkey", {{"AppKey", "k"}}, 400, "100", "header 'DUID' is missing");
    expectFailure("auth/seedkey", {{"DUID", "d"}}, 400, "100", "header 'AppKey' is missing");
}

TEST_F(ServerTest, LocaltimeNeedsNoSession)
{
    EXPECT_EQ(rsp("conf/localtime?country=&headend=&device=N"), Json({{"stat", "OK"},
                                                                      {"date", "2026-11-20T18:30:00Z"},
                                                                      {"localdate", "2026-11-21T03:30:00"},
                                                                      {"timezone", "+09:00"},
                                                                      {"difference", "+09:00"}}));
}

TEST_F(ServerTest, GalleryIsSentWhenItsChecksumDiffers)
{
    const Headers headers = sessionHeaders();
    const Json reply = rsp("channel/gallery?country=US&headend=&device=N", headers);
    const std::string code = reply.at("checksum").at("code");
    EXPECT_EQ(reply, Json::parse(R"({"stat":"OK","checksum":{"stat":"new","code":")" + code + R"("},"channel":[
        {"source":"1","dtv":"1","number":"7","name":"North","station_img":
            {"url":"https://images.example/north.png","type":"station","index":"0","width":"128","height":"72"}},
        {"source":"2","dtv":"2","number":"1","name":"South & Sons"}],
        "ACR":[{"source":"1","dtv":"1","name":"North","call_sign":"North"}]})"));
    EXPECT_EQ(rsp("channel/gallery?checksum=" + code, headers),
              Json::parse(R"({"stat":"OK","checksum":{"stat":"old","code":")" + code + R"("}})"));
    EXPECT_EQ(rsp("channel/gallery?checksum=other", headers).at("checksum").at("stat"), "new");
}

TEST_F(ServerTest, ScheduleHasProgrammesThatOverlapTheWindow)
{
    const Headers headers = sessionHeaders();
    const Json reply =
        rsp("channel/schedule?country=US&lang=de&sourceid=2,1,1,99,x&starttime=2026-11-20T18:59:00Z"
            "&imagesize=1,2&interval=1&unknown=ignored",
            headers);
    Json expected = Json::parse(R"({"stat":"OK","channel":[
        {"source":"2","name":"South & Sons","content":[
            {"id":"","lang":"","title":"South News","type":"program","starttime":"2026-11-20T19:00:00Z","duration":"30",
             "genres":[]}]},
        {"source":"1","name":"North",
         "station_img":{"url":"https://images.example/north.png","type":"station","index":"0","width":"128","height":"72"},
         "content":[
            {"id":"","lang":"de","title":"Die Fähre","type":"series","starttime":"2026-11-20T18:00:00Z","duration":"60",
             "genres":[{"id":"1"},{"id":"2"}],
             "poster":{"url":"https://images.example/ferry.png","type":"poster","index":"0","width":"300","height":"450"}},
            {"id":"","lang":"","title":"Late Film","type":"movie","starttime":"2026-11-20T19:00:00Z","duration":"120",
             "genres":[{"id":"3"}],
             "poster":{"url":"https://images.example/poster.jpg","type":"poster","index":"0","width":"0","height":"0"}}
         ]}]})");
    // Content ids are derived from the programmes; that they are decimal and stable is checked below.
    for (std::size_t c = 0; c < expected["channel"].size(); ++c) {
        for (std::size_t i = 0; i < expected["channel"][c]["content"].size(); ++i) {
            const std::string id = reply.at("channel").at(c).at("content").at(i).at("id");
            EXPECT_EQ(id.find_first_not_of("0123456789"), std::string::npos) << id;
            expected["channel"][c]["content"][i]["id"] = id;
        }
    }
    EXPECT_EQ(reply, expected);
}

TEST_F(ServerTest, ScheduleStartsNowByDefault)
{
    const Json reply = rsp("channel/schedule?sourceid=1&imagesize=&interval=1", sessionHeaders());
    EXPECT_EQ(reply.at("channel").at(0).at("content").size(), 2U);
    EXPECT_EQ(rsp("channel/schedule?sourceid=1&interval=1&starttime=2030-01-01T00:00:00Z", sessionHeaders()),
              Json::parse(R"({"stat":"OK","channel":[{"source":"1","name":"North","station_img":{"url":
              "https://images.example/north.png","type":"station","index":"0","width":"128","height":"72"},"content":[]}]})"));
    EXPECT_EQ(rsp("channel/schedule?sourceid=99&interval=1", sessionHeaders()),
              Json::parse(R"({"stat":"OK","channel":[]})"));
}

TEST_F(ServerTest, AWrongTokenGets401)
{
    const std::string missing = "header 'Token' is missing or not of the form SESSION+USER+DIGEST";
    const std::string unknown = "the session of header 'Token' is not known or has expired; ask for a new seed key";
    const std::string wrong = "header 'Token' does not fit its session and the shared secret";
    for (const char* path : {"channel/gallery", "channel/schedule?sourceid=1&interval=1", "channel/schedule"}) {
        expectFailure(path, {}, 401, "207", missing);
        expectFailure(path, {{"Token", "S+U"}}, 401, "207", missing);
        expectFailure(path, {{"Token", "S+U+" + std::string(40, '0')}}, 401, "206", unknown);
        expectFailure(path, sessionHeaders("another secret"), 401, "207", wrong);
    }
    const Headers headers = sessionHeaders();
    m_now += 24 * 3600 - 1;
    rsp("channel/gallery", headers);
    m_now += 1;
    expectFailure("channel/gallery", headers, 401, "206", unknown);
}

TEST_F(ServerTest, SessionsOutlastARestart)
{
    const Headers headers = sessionHeaders();
    start({});
    rsp("channel/gallery", headers);
}

TEST_F(ServerTest, RequiresTheAppKeyIfOneIsSet)
{
    start("k");
    const Headers headers = sessionHeaders();
    rsp("channel/gallery", headers);
    Headers keyless = headers;
    keyless.erase("AppKey");
    expectFailure("channel/gallery", keyless, 401, "600", "header 'AppKey' is missing");
    keyless.emplace("AppKey", "K");
    expectFailure("channel/gallery", keyless, 401, "600", "the application key in header 'AppKey' is not valid");
    expectFailure("auth/seedkey", {{"DUID", "d"}}, 401, "600", "header 'AppKey' is missing");
    rsp("conf/localtime");
}

TEST_F(ServerTest, BadInputIsNamedAndIsNotAnInternalError)
{
    const Headers headers = sessionHeaders();
    const struct {
        const char* path;
        int status;
        const char* code;
        const char* message;
    } rows[] = {
        {"channel/schedule?interval=1", 400, "100", "parameter 'sourceid' is missing"},
        {"channel/schedule?sourceid=&interval=1", 400, "100", "parameter 'sourceid' is missing"},
        {"channel/schedule?sourceid=1", 400, "100", "parameter 'interval' is missing"},
        {"channel/schedule?sourceid=1&interval=", 400, "100", "parameter 'interval' is missing"},
        {"channel/schedule?sourceid=1&interval=0", 400, "101",
         "parameter 'interval' is '0'; it must be a number from 1 to 744"},
        {"channel/schedule?sourceid=1&interval=-1", 400, "101",
         "parameter 'interval' is '-1'; it must be a number from 1 to 744"},
        {"channel/schedule?sourceid=1&interval=six", 400, "101",
         "parameter 'interval' is 'six'; it must be a number from 1 to 744"},
        {"channel/schedule?sourceid=1&interval=6&starttime=1795224600", 400, "101",
         "parameter 'starttime' is '1795224600'; it must be a time such as 2026-11-21T01:30:00Z"},
        {"channel/schedule?sourceid=1&interval=6&imagesize=big", 400, "101",
         "parameter 'imagesize' is 'big'; it must be a number from 0 to 2147483647"},
        {"channel/unheard", 404, "102",
         "this service has no /openapi/service/vorel/channel/unheard; its paths begin with /openapi/service/"},
        {"channel/gallery/", 404, "102",
         "this service has no /openapi/service/vorel/channel/gallery/; its paths begin with /openapi/service/"},
        {"", 404, "102", "this service has no /openapi/service/vorel/; its paths begin with /openapi/service/"},
    };
    for (const auto& row : rows) {
        expectFailure(row.path, headers, row.status, row.code, row.message);
    }
    for (const char* path :
         {"channel/schedule?%", "channel/%00%ff", "%zz", "channel/schedule?sourceid=%27%22%3b--&interval=1",
          "channel/gallery?&&==&=&a", "channel/schedule?sourceid=%ff%fe&interval=%ff"}) {
        const auto result = get(path, headers);
        ASSERT_TRUE(result.has_value()) << path;
        EXPECT_LT(result->status, 500) << path;
        EXPECT_TRUE(Json::accept(result->body)) << path << ": " << result->body;
    }
    const auto tooLong = get(std::string(10000, 'a'), headers);
    ASSERT_TRUE(tooLong.has_value());
    EXPECT_EQ(tooLong->status, 414);
    EXPECT_EQ(Json::parse(tooLong->body)["rsp"]["err"]["code"], "105");
}

TEST_F(ServerTest, OtherMethodsAreRefused)
{
    for (const char* method : {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "BREW"}) {
        const auto result = m_client->send(method, kPrefix + "channel/gallery", {}, "x");
        ASSERT_TRUE(result.has_value());
        EXPECT_EQ(result->status, 405);
        EXPECT_THAT(result->body, HasSubstr("channel/gallery does not take "));
    }
    const auto head = m_client->send("HEAD", kPrefix + "conf/localtime");
    ASSERT_TRUE(head.has_value());
    EXPECT_EQ(head->status, 200);
    EXPECT_EQ(head->body, "");
}

TEST_F(ServerTest, SendsGzipOnRequest)
{
    Headers headers = sessionHeaders();
    const std::string path = kPrefix + "channel/schedule?sourceid=1,2&interval=6";
    const std::string plain = get("channel/schedule?sourceid=1,2&interval=6", headers)->body;
    const struct {
        const char* wanted;
        bool gzip;
    } rows[] = {{"gzip, deflate", true}, {"GZIP", true},     {"gzip;q=0", false},
                {"identity", false},     {"deflate", false}, {"br", false}};
    for (const auto& row : rows) {
        headers.erase("Accept-encoding");
        headers.emplace("Accept-encoding", row.wanted);
        const auto result = m_client->get(path, headers);
        ASSERT_TRUE(result.has_value()) << row.wanted;
        EXPECT_EQ(result->header("content-encoding"), row.gzip ? "gzip" : "") << row.wanted;
        std::string body = result->body;
        if (row.gzip) {
            EXPECT_LT(body.size(), plain.size() / 2);
            const std::unique_ptr<ByteSource> source = openMemory(result->body, "reply");
            body.assign(plain.size() + 1, '\0');
            std::size_t filled = 0;
            while (const std::size_t count = source->read(body.data() + filled, body.size() - filled)) {
                filled += count;
            }
            body.resize(filled);
        }
        EXPECT_EQ(body, plain) << row.wanted;
    }
}

TEST_F(ServerTest, EveryRequestLeavesOneLogLineWithoutSecrets)
{
    const Headers headers = sessionHeaders();
    get("channel/schedule?sourceid=1&interval=6", headers);
    get("bad%01%22path", headers);
    m_server->stop();
    EXPECT_EQ(std::count(m_log.begin(), m_log.end(), '\n'), 3) << m_log;
    EXPECT_THAT(
        m_log,
        HasSubstr(
            "remote=127.0.0.1 method=GET path=\"/openapi/service/vorel/channel/schedule\" status=200 code=OK bytes="));
    EXPECT_THAT(m_log, HasSubstr("status=404 code=102"));
    EXPECT_THAT(m_log, Not(HasSubstr(headers.find("Token")->second)));
    EXPECT_THAT(m_log, Not(HasSubstr("sourceid")));
}

TEST_F(ServerTest, TheLogHasTheReasonOfAFault)
{
    const Headers headers = sessionHeaders();
    m_db.viewers->write([](SqlConnection& connection) { connection.execute("DROP TABLE agreement"); });
    rsp("agreement/check", headers, 500);
    m_server->stop();
    EXPECT_THAT(m_log, HasSubstr("path=\"/openapi/service/vorel/agreement/check\" status=500 code=500 "));
    EXPECT_THAT(m_log, ContainsRegex(support::isOnPostgres() ? " note=\".*relation .*agreement.* does not exist"
                                                             : " note=\".*no such table: agreement"));
}

TEST_F(ServerTest, StopIsPromptWithConnectionsHeld)
{
    rsp("conf/localtime");
    const auto begin = std::chrono::steady_clock::now();
    m_server->stop();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    EXPECT_FALSE(get("conf/localtime").has_value());
}

TEST_F(ServerTest, ReportsPortInUse)
{
    try {
        ServerSettings settings = localSettings();
        settings.address.port = m_server->port();
        Server second(*m_service, settings, [](const std::string&) {});
        ADD_FAILURE() << "two servers on one port";
    } catch (const http::HttpSetupError& error) {
        EXPECT_EQ(error.what(), "cannot listen on 127.0.0.1:" + std::to_string(m_server->port()) +
                                    ": Address already in use; choose another with --listen");
    }
}

}  // namespace
}  // namespace corvaned
