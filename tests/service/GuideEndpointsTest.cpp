// What is on, by channel: channel/onair, focus_channel, today and browse/guide.
#include <gtest/gtest.h>

#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::Strings;
using test::valuesOf;

std::string programme(const std::string& channel, const std::string& start, const std::string& stop,
                      const std::string& inner)
{
    return "<programme channel='" + channel + "' start='" + start + "' stop='" + stop + "'>" + inner + "</programme>";
}

class GuideEndpoints : public ::testing::Test {
protected:
    void SetUp() override
    {
        test::importListing(
            m_under.guide(),
            "<tv><channel id='a'><display-name>One</display-name><display-name>11</display-name>"
            "<icon src='http://i/1.png'/></channel>"
            "<channel id='b'><display-name>Two</display-name><display-name>12</display-name></channel>" +
                programme("a", "20261120120000", "20261120160000", "<title>Overnight</title>") +
                programme("a", "20261120160000", "20261120180000",
                          "<title lang='en'>Ferry</title><title lang='de'>Fähre</title>"
                          "<sub-title lang='en'>Low Tide</sub-title><desc lang='en'>Boats.</desc>"
                          "<category>Drama</category><episode-num system='xmltv_ns'>1.4.</episode-num>"
                          "<icon src='http://i/f.png' width='3' height='4'/><rating><value>12</value></rating>") +
                programme("a", "20261120180000", "20261120220000", "<title>Late</title>") +
                programme("b", "20261120170000", "20261120173000", "<title>News</title>") + "</tv>");
    }

    test::ServiceUnderTest m_under{"2026-11-20T17:15:00Z", "+09:00"};
    test::Viewer m_viewer{m_under, "tv-1"};
};

TEST_F(GuideEndpoints, OnAirGivesCurrentProgrammes)
{
    const Json channels =
        m_viewer.get("channel/onair?&lang=en&headend=&device=&sourceid=2,1,9,x&imagesize=1,2")["channel"];
    ASSERT_EQ(valuesOf(channels, "source"), (Strings{"2", "1"}));
    Json ferry = channels[1];
    EXPECT_FALSE(ferry["content"]["id"].get<std::string>().empty());
    ferry["content"].erase("id");
    EXPECT_EQ(ferry, Json::parse(R"({"source":"1","dtv":"1","name":"One","content":{"lang":"en","title":"Ferry",
        "ep_title":"Low Tide","ep_number":"5","type":"series","starttime":"2026-11-20T16:00:00Z","duration":"120",
        "genres":[{"id":"1"}],"poster":{"url":"http://i/f.png","type":"poster","index":"0","width":"3","height":"4"}}})"));
    EXPECT_EQ(m_viewer.get("channel/onair?lang=de&sourceid=1")["channel"][0]["content"]["title"], "Fähre");
    m_under.setNow("2026-11-20T17:30:00Z");
    EXPECT_EQ(valuesOf(m_viewer.get("channel/onair?sourceid=&imagesize=")["channel"], "source"), (Strings{"1"}));
}

TEST_F(GuideEndpoints, FocusChannelGivesFollowingProgrammes)
{
    const Json reply = m_viewer.get("channel/focus_channel?sourceid=1&imagesize=2&num=3");
    EXPECT_EQ(reply["source"], "1");
    EXPECT_EQ(reply["name"], "One");
    EXPECT_EQ(reply["station_img"]["url"], "http://i/1.png");
    EXPECT_EQ(valuesOf(reply["content"], "title"), (Strings{"Ferry", "Late"}));
    EXPECT_EQ(reply["content"][0]["short_desc"], "Boats.");
    EXPECT_EQ(valuesOf(m_viewer.get("channel/focus_channel?sourceid=1&num=1")["content"], "title"), (Strings{"Ferry"}));
    EXPECT_EQ(m_viewer.refusal("GET", "channel/focus_channel?sourceid=77"),
              "104: the line-up has no channel of that 'sourceid'");
    EXPECT_EQ(m_viewer.refusal("GET", "channel/focus_channel?sourceid="), "100: parameter 'sourceid' is missing");
}

// In this zone the day begins at 15:00 UTC.
TEST_F(GuideEndpoints, TodaysFilesHaveEveryProgrammeOnce)
{
    const Json files = m_viewer.get("channel/today?country=US&lang=en&headend=H1&device=X")["VOREL_url"];
    EXPECT_EQ(valuesOf(files, "time"), (Strings{"0-6", "6-12", "12-18", "18-24"}));
    EXPECT_EQ(files[0]["filename"], "schedule-20261121-0-6-en.json");
    const std::string prefix = "http://here/openapi/service/vorel/";
    std::vector<std::string> titles;
    for (const Json& file : files) {
        const std::string url = file["url"];
        ASSERT_EQ(url.substr(0, prefix.size()), prefix);
        const Json reply = m_viewer.get(url.substr(prefix.size()));
        EXPECT_EQ(valuesOf(reply["channel"], "number"), (Strings{"11", "12"}));
        for (const Json& channel : reply["channel"]) {
            for (const Json& content : channel["content"]) {
                titles.push_back(content["title"]);
            }
        }
    }
    EXPECT_EQ(titles, (std::vector<std::string>{"Overnight", "Ferry", "Late", "News"}));
    const Json ferry = m_viewer.get("channel/today/schedule-20261121-0-6.json")["channel"][0]["content"][1];
    EXPECT_EQ(ferry["cert_flag"], "12");
    EXPECT_EQ(ferry["short_desc"], "Boats.");
    EXPECT_EQ(ferry["poster"]["url"], "http://i/f.png");
    EXPECT_EQ(m_viewer.refusal("GET", "channel/today/schedule-20261121-1-7.json").substr(0, 3), "104");
}

TEST_F(GuideEndpoints, AnEmptyGuideOffersNoFile)
{
    test::ServiceUnderTest empty{"2026-11-20T17:15:00Z"};
    test::Viewer viewer{empty, "tv-1"};
    EXPECT_EQ(viewer.get("channel/today"), Json::parse(R"({"VOREL_url":[]})"));
}

TEST_F(GuideEndpoints, TheGuideIsSelectedByChannelNumberAndPage)
{
    const auto sources = [&](const std::string& query) {
        return valuesOf(m_viewer.get("browse/guide?interval=2&timestamp=2026-11-20T17:00:00Z" + query)["channel"],
                        "source");
    };
    EXPECT_EQ(sources(""), (Strings{"1", "2"}));
    EXPECT_EQ(sources("&channel=all"), (Strings{"1", "2"}));
    EXPECT_EQ(sources("&channel=2"), (Strings{"2"}));
    EXPECT_EQ(sources("&channel=&chnum=11"), (Strings{"1"}));
    EXPECT_EQ(sources("&start=1"), (Strings{"2"}));
    EXPECT_EQ(sources("&num=1"), (Strings{"1"}));
    EXPECT_EQ(sources("&start=1&num=1"), (Strings{"2"}));
    EXPECT_EQ(sources("&start=2"), Strings());
    const Json guide = m_viewer.get("browse/guide?&interval=1&channel=1&timestamp=2026-11-20T17:00:00Z");
    EXPECT_EQ(valuesOf(guide["channel"][0]["content"], "title"), (Strings{"Ferry"}));
    EXPECT_EQ(guide["channel"][0]["number"], "11");
    EXPECT_EQ(m_viewer.refusal("GET", "browse/guide"), "100: parameter 'interval' is missing");
}

}  // namespace
}  // namespace corvaned
