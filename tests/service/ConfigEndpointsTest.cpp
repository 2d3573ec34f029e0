// conf/...: server, log, certification, uploads.
#include <gtest/gtest.h>

#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::Strings;
using test::valuesOf;

struct ConfigEndpoints : ::testing::Test {
    test::ServiceUnderTest m_under{"2026-11-20T12:00:00Z", "+09:00"};
    test::Viewer m_viewer{m_under, "tv-1"};
};

TEST_F(ConfigEndpoints, TheServerAddressIsThatOfTheRequest)
{
    EXPECT_EQ(m_viewer.get("conf/server?country=US"),
              Json({{"url", "http://here"}, {"expired", "2026-11-21T12:00:00Z"}}));
}

TEST_F(ConfigEndpoints, LogsAreNotCollected)
{
    const Json service = m_viewer.get("conf/log")["service"];
    EXPECT_EQ(service["url"], "");
    EXPECT_EQ(service["loglevel"], "0");
    EXPECT_EQ(valuesOf(service["event"], "name"), (Strings{"tune", "search", "favorite", "like"}));
}

TEST_F(ConfigEndpoints, TheCertificationRuleNamesTheGuidesRatings)
{
    test::importListing(
        m_under.guide(),
        "<tv><programme channel='a' start='202611201200'><title>A</title><rating><value>16</value></rating>"
        "</programme><programme channel='a' start='202611201300'><title>B</title><rating><value>12</value>"
        "</rating><rating><value>PG</value></rating></programme></tv>");
    const Json service = m_viewer.get("conf/cert_rule?country=&headend=&device=N")["service"];
    EXPECT_EQ(service["cert_type"], "age");
    EXPECT_EQ(service["rule"], "12,16");
    EXPECT_EQ(service["uptime_begin"], "22:00");
}

TEST_F(ConfigEndpoints, AFileIsKeptUntilTheNextOne)
{
    const Json place = m_viewer.get("conf/upload_check?country=US&headend=&device=N");
    EXPECT_EQ(place["url"], "http://here/openapi/service/vorel/conf/upload");
    EXPECT_EQ(m_viewer.refusal("GET", "conf/upload"), "104: this user has sent no file");
    const std::string content("filename=other&\0\xff{}", 19);
    m_viewer.put("conf/upload?filename=" + place["filename"].get<std::string>(), content);
    EXPECT_EQ(m_viewer.get("conf/upload"), Json({{"filename", place["filename"]},
                                                 {"received", "2026-11-20T12:00:00Z"},
                                                 {"size", "19"},
                                                 {"sha1", "f77dbad222fcd077256dbbcbb6c2788e657d88c9"}}));
    m_viewer.put("conf/upload?filename=second.json", "[]");
    EXPECT_EQ(m_viewer.get("conf/upload")["filename"], "second.json");
    test::Viewer other{m_under, "tv-2"};
    EXPECT_EQ(other.refusal("GET", "conf/upload"), "104: this user has sent no file");
}

TEST_F(ConfigEndpoints, FilesNeedAPlainNameAndContent)
{
    EXPECT_EQ(m_viewer.refusal("PUT", "conf/upload", "[]"), "100: parameter 'filename' is missing");
    for (const char* name : {"../x", "a/b", "a\\b", ".", "..", "a\nb"}) {
        EXPECT_EQ(m_viewer.refusal("PUT", std::string("conf/upload?filename=") + name, "[]").substr(0, 3), "101")
            << name;
    }
    EXPECT_EQ(m_viewer.refusal("PUT", "conf/upload?filename=a", ""),
              "101: the file is empty; send its content as the body");
}

TEST_F(ConfigEndpoints, AResetForgetsVotesUpToItsTime)
{
    test::importListing(m_under.guide(),
                        "<tv><programme channel='a' start='202611201200'><title>A</title></programme></tv>");
    const std::string id = m_viewer.get("search/epg_search?q=a")["content"][0]["id"];
    const auto likes = [&] { return m_viewer.get("user/like?contentid=" + id)["content"]["count"]["like"]; };
    m_viewer.put("user/like", "contentid=" + id + "&type=like");
    EXPECT_EQ(likes(), "1");
    m_viewer.put("conf/reset?country=US&timestamp=2026-11-20T11:59:59Z");
    EXPECT_EQ(likes(), "1");
    m_viewer.put("conf/reset?country=US");
    EXPECT_EQ(likes(), "0");
    EXPECT_EQ(m_viewer.refusal("PUT", "conf/reset?timestamp=1").substr(0, 3), "101");
}

}  // namespace
}  // namespace corvaned
