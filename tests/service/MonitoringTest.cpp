// The paths for load balancers and monitors: /healthz, /readyz and /metrics.
#include "Monitoring.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "Eventually.h"
#include "ServiceProgram.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using test::ServiceProgram;
using ::testing::HasSubstr;
using ::testing::Not;

class MonitoringTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::string listing = m_database.path() + ".xml";
        test::writeFile(listing, test::testData("evening.xml"));
        ASSERT_EQ(ServiceProgram({"import", "--db", m_database.path(), listing}).wait(), 0);
    }

    void serve(std::vector<std::string> options = {})
    {
        options.insert(options.begin(), {"serve", "--db", m_database.path(), "--listen", "127.0.0.1:0"});
        m_service.emplace(options);
        const std::string line = m_service->readLine();
        m_client.emplace(std::stoi(line.substr(line.rfind(':') + 1)));
    }

    http::test::WebReply get(const std::string& path, const http::test::Headers& headers = {})
    {
        auto reply = m_client->get(path, headers);
        EXPECT_TRUE(reply.has_value()) << path;
        return reply.value_or(http::test::WebReply{});
    }

    TemporaryDatabase m_database;
    std::optional<ServiceProgram> m_service;
    std::optional<http::test::WebClient> m_client;
};

TEST_F(MonitoringTest, HealthAndReadinessNeedNoKey)
{
    serve({"--app-key", "demo"});
    for (const char* path : {"/healthz", "/readyz"}) {
        const auto reply = get(path);
        EXPECT_EQ(reply.status, 200) << path;
        EXPECT_EQ(reply.body, "ok\n") << path;
    }
    EXPECT_EQ(m_client->put("/readyz", {}, "")->status, 405);
}

TEST_F(MonitoringTest, MetricsCountRequestsByPathAndStatus)
{
    serve();
    const std::string prefix = "/openapi/service/vorel/";
    get(prefix + "conf/localtime?country=US");
    get(prefix + "conf/localtime&country=US");
    get(prefix + "browse/content/12/series");
    get(prefix + "browse/content/13/series");
    get("/anything/else");
    get("/and/something");
    get("/xmltv.xml");
    get("/readyz");
    // A request is counted when its reply has been sent.
    EXPECT_TRUE(support::eventually(
        [&] { return get("/metrics").body.find("{path=\"/readyz\",code=\"200\"} 1\n") != std::string::npos; }));
    const auto reply = get("/metrics");
    EXPECT_EQ(reply.status, 200);
    for (const std::string line : {
             R"(corvaned_http_requests_total{path="/openapi/service/vorel/conf/localtime",code="200"} 2)",
             R"(corvaned_http_requests_total{path="/openapi/service/vorel/browse/content/{}/series",code="401"} 2)",
             R"(corvaned_http_requests_total{path="other",code="404"} 2)",
             R"(corvaned_http_requests_total{path="/xmltv.xml",code="200"} 1)",
             R"(corvaned_http_requests_total{path="/readyz",code="200"} 1)",
             R"(corvaned_http_request_duration_seconds_count{path="other"} 2)",
             R"(corvaned_http_request_duration_seconds_bucket{path="other",le="+Inf"} 2)",
             "corvaned_ready 1",
         }) {
        EXPECT_THAT(reply.body, HasSubstr("\n" + line + "\n"));
    }
}

TEST_F(MonitoringTest, MetricsRequireTheAppKeyIfOneIsSet)
{
    serve({"--app-key", "demo"});
    EXPECT_EQ(get("/metrics").status, 401);
    EXPECT_EQ(get("/metrics?appkey=wrong").status, 401);
    EXPECT_EQ(get("/metrics?appkey=demo").status, 200);
    EXPECT_EQ(get("/metrics", {{"AppKey", "demo"}}).status, 200);
}

TEST_F(MonitoringTest, ASecretWithoutAnAppKeyClosesTheMetrics)
{
    serve({"--secret", "s"});
    EXPECT_EQ(get("/metrics").status, 403);
    EXPECT_EQ(get("/readyz").status, 200);
}

TEST_F(MonitoringTest, MetricsFollowTheRulesForNamesAndTypes)
{
    serve();
    get("/openapi/service/vorel/conf/localtime");
    const std::string page = m_database.path() + ".metrics";
    test::writeFile(page, get("/metrics").body);
    const support::ProcessResult result = support::runProcess(
        {"/bin/sh", {"-c", "command -v promtool >/dev/null || exit 77; promtool check metrics <\"$0\"", page}, {}});
    if (result.exitCode == 77) {
        GTEST_SKIP() << "promtool is not installed";
    }
    EXPECT_EQ(result.exitCode, 0) << result.output << result.errors;
    EXPECT_EQ(result.output + result.errors, "");
}

TEST(RequestMetrics, BucketsAreCumulativeAndIncludeTheirBound)
{
    RequestMetrics metrics;
    metrics.add("/a", 200, std::chrono::milliseconds(5));
    metrics.add("/a", 200, std::chrono::microseconds(5001));
    metrics.add("/a", 200, std::chrono::seconds(11));
    std::string page;
    metrics.appendTo(page);
    for (const char* line : {"le=\"0.0025\"} 0\n", "le=\"0.005\"} 1\n", "le=\"0.01\"} 2\n", "le=\"10\"} 2\n",
                             "le=\"+Inf\"} 3\n", "_count{path=\"/a\"} 3\n"}) {
        EXPECT_THAT(page, HasSubstr(line));
    }
    EXPECT_THAT(page, Not(HasSubstr("/b")));
}

}  // namespace
}  // namespace corvaned
