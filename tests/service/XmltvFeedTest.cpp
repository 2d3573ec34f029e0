// The listing that `corvaned serve` offers to other programs.
#include "XmltvFeed.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ContentCoding.h"
#include "Export.h"
#include "ServiceProgram.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using http::test::WebClient;
using test::ServiceProgram;
using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string gunzipped(const std::string& packed)
{
    http::GunzipError error{};
    return http::gunzipped(packed, 1 << 30, error).value_or("");
}

/// `corvaned serve` with the evening's listing.
class FeedTest : public ::testing::Test {
protected:
    void SetUp() override { importListing(test::testData("evening.xml")); }

    void importListing(const std::string& listing)
    {
        const std::string path = m_database.path() + ".xml";
        test::writeFile(path, listing);
        ASSERT_EQ(ServiceProgram({"import", "--db", m_database.path(), path}).wait(), 0);
    }

    void serve(std::vector<std::string> options = {})
    {
        options.insert(options.begin(), {"serve", "--db", m_database.path(), "--listen", "127.0.0.1:0"});
        m_service.emplace(options);
        const std::string line = m_service->readLine();
        m_url = line.substr(line.find("http://"));
        m_client.emplace(m_url);
    }

    std::string exported()
    {
        GuideFile store(m_database.path());
        std::string listing;
        exportListing(*store.lease(), [&](std::string_view piece) { listing += piece; });
        return listing;
    }

    TemporaryDatabase m_database;
    std::optional<ServiceProgram> m_service;
    std::string m_url;
    std::optional<WebClient> m_client;
};

TEST_F(FeedTest, HasTheExportInThreeForms)
{
    serve();
    const auto plain = m_client->get("/xmltv.xml");
    ASSERT_TRUE(plain.has_value());
    EXPECT_EQ(plain->status, 200);
    EXPECT_EQ(plain->body, exported());
    EXPECT_EQ(plain->header("content-type"), "application/xml; charset=utf-8");
    EXPECT_EQ(plain->header("content-encoding"), "");
    EXPECT_EQ(plain->header("vary"), "Accept-Encoding");

    const auto coded = m_client->get("/xmltv.xml", {{"Accept-Encoding", "gzip"}});
    ASSERT_TRUE(coded.has_value());
    EXPECT_EQ(coded->header("content-encoding"), "gzip");
    EXPECT_EQ(gunzipped(coded->body), plain->body);

    const auto file = m_client->get("/xmltv.xml.gz", {{"Accept-Encoding", "gzip"}});
    ASSERT_TRUE(file.has_value());
    EXPECT_EQ(file->header("content-type"), "application/gzip");
    EXPECT_EQ(file->header("content-encoding"), "");
    EXPECT_EQ(gunzipped(file->body), plain->body);
    EXPECT_NE(file->header("etag"), plain->header("etag"));
    EXPECT_NE(coded->header("etag"), plain->header("etag"));
}

TEST_F(FeedTest, AnswersConditionsRangesAndHead)
{
    serve();
    const auto whole = m_client->get("/xmltv.xml");
    ASSERT_TRUE(whole.has_value());
    const std::string tag = whole->header("etag");
    const auto same = m_client->get("/xmltv.xml", {{"If-None-Match", tag}});
    ASSERT_TRUE(same.has_value());
    EXPECT_EQ(same->status, 304);
    EXPECT_EQ(same->body, "");
    const auto part = m_client->get("/xmltv.xml", {{"Range", "bytes=10-19"}, {"If-Range", tag}});
    ASSERT_TRUE(part.has_value());
    EXPECT_EQ(part->status, 206);
    EXPECT_EQ(part->body, whole->body.substr(10, 10));
    const auto head = m_client->send("HEAD", "/xmltv.xml.gz");
    ASSERT_TRUE(head.has_value());
    EXPECT_EQ(head->status, 200);
    const auto put = m_client->put("/xmltv.xml", {}, "x");
    ASSERT_TRUE(put.has_value());
    EXPECT_EQ(put->status, 405);
    EXPECT_EQ(put->header("allow"), "GET, HEAD");
}

TEST_F(FeedTest, ChangesWithTheGuide)
{
    serve();
    const auto before = m_client->get("/xmltv.xml");
    ASSERT_TRUE(before.has_value());
    importListing("<tv><programme channel='c' start='20261120180000'><title>Other</title></programme></tv>");
    // The service notices a new guide within a second.
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    const auto after = m_client->get("/xmltv.xml", {{"If-None-Match", before->header("etag")}});
    ASSERT_TRUE(after.has_value());
    EXPECT_EQ(after->status, 200);
    EXPECT_EQ(after->body, exported());
    EXPECT_THAT(after->body, HasSubstr("<title>Other</title>"));
}

TEST_F(FeedTest, AnotherServiceSubscribes)
{
    serve();
    const TemporaryDatabase copy;
    const auto import = [&] {
        return support::runProcess(
            {CORVANED_PROGRAM, {"import", "--db", copy.path(), m_url + "/xmltv.xml.gz"}, {"no_proxy=*"}});
    };
    EXPECT_THAT(import().output, StartsWith(m_url + "/xmltv.xml.gz: 2 channels, 4 programmes\n"));
    EXPECT_THAT(import().output, StartsWith(copy.path() + ": unchanged since the last import ("));
    GuideFile store(copy.path());
    std::string listing;
    exportListing(*store.lease(), [&](std::string_view piece) { listing += piece; });
    EXPECT_EQ(listing, exported());
}

struct AccessRow {
    std::vector<std::string> options;
    const char* target;
    const char* header;  // AppKey
    int status;
};

TEST_F(FeedTest, RequiresTheApplicationKeyIfOneIsSet)
{
    const AccessRow rows[] = {
        {{"--app-key", "k"}, "/xmltv.xml", "", 401},
        {{"--app-key", "k"}, "/xmltv.xml?appkey=l", "", 401},
        {{"--app-key", "k"}, "/xmltv.xml?appkey=", "k", 401},
        {{"--app-key", "k"}, "/xmltv.xml?appkey=k", "", 200},
        {{"--app-key", "k"}, "/xmltv.xml.gz", "k", 200},
        {{"--app-key", "k", "--secret", "s"}, "/xmltv.xml?appkey=k", "", 200},
        {{"--secret", "s"}, "/xmltv.xml?appkey=s", "", 403},
    };
    for (const AccessRow& row : rows) {
        serve(row.options);
        const auto reply = m_client->get(row.target, {{"AppKey", row.header}});
        ASSERT_TRUE(reply.has_value()) << row.target;
        EXPECT_EQ(reply->status, row.status) << row.target;
        if (row.status != 200) {
            EXPECT_THAT(reply->body, StartsWith(R"({"rsp":{"stat":"FAIL")"));
        }
    }
}

// The process's private memory, without mapped files, in KiB.
long ownMemory(pid_t process)
{
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("RssAnon:", 0) == 0) {
            return std::stol(line.substr(8));
        }
    }
    return 0;
}

TEST_F(FeedTest, TakesNoMemoryOfTheListingsSize)
{
#if defined(__SANITIZE_ADDRESS__)
    // Freed memory is kept for a while, so that its use is noticed; 256 MiB unless limited.
    ::setenv("ASAN_OPTIONS", "quarantine_size_mb=1:malloc_context_size=4", 1);
#endif
    std::string large = "<tv>";
    for (int i = 0; i < 20'000; ++i) {
        large += fmt::format(
            "<programme channel='c{}' start='202611{:02}{:02}0000'><title>T{}</title><desc>{}</desc></programme>",
            i / 600, i % 25 + 1, i / 25 % 24, i, std::string(1000, 'd'));
    }
    importListing(large + "</tv>");
    serve();
    ASSERT_EQ(m_client->get("/openapi/service/vorel/conf/localtime")->status, 200);
    const long before = ownMemory(m_service->id());
    for (const char* const target : {"/xmltv.xml", "/xmltv.xml.gz", "/xmltv.xml"}) {
        const auto reply = m_client->get(target, {{"Accept-Encoding", "gzip, identity"}});
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(reply->status, 200);
    }
    EXPECT_GT(m_client->get("/xmltv.xml")->body.size(), 20'000'000U);
    ASSERT_GT(before, 0);
    EXPECT_LT(ownMemory(m_service->id()) - before, 10'000) << "KiB";
}

}  // namespace
}  // namespace corvaned
