#include "Recommend.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Viewer.h"
#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::valuesOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Day and hour are of November 2026, UTC.
std::string programme(const char* channel, int day, int hour, const std::string& title, const std::string& inner = "")
{
    return fmt::format(
        "<programme channel='{0}' start='202611{1:02}{2:02}0000 +0000' stop='202611{1:02}{2:02}5900 +0000'>"
        "<title>{3}</title>{4}</programme>",
        channel, day, hour, title, inner);
}

std::string episode(int number)
{
    return fmt::format("<sub-title>Part {0}</sub-title><episode-num system='onscreen'>S01E{0:02}</episode-num>",
                       number);
}

std::string listing()
{
    std::string text = "<tv>";
    for (const char* id : {"a", "b", "c", "d"}) {
        text += fmt::format("<channel id='{0}'><display-name>{0}</display-name></channel>", id);
    }
    // For two days, every channel has a programme every hour.
    for (int day = 20; day <= 21; ++day) {
        for (int hour = 0; hour < 24; ++hour) {
            for (const char* id : {"b", "c", "d"}) {
                text += programme(id, day, hour, fmt::format("{} {} {}", id, day, hour));
            }
        }
    }
    text += programme("a", 16, 20, "Harbour", episode(1) + "<category>Drama</category>");
    text += programme("a", 17, 20, "Harbour", episode(2) + "<category>Drama</category>");
    text += programme("a", 18, 20, "Harbour", episode(3) + "<category>Drama</category>");
    text += programme("a", 18, 21, "Harbour", episode(2) + "<category>Drama</category>");
    text += programme("a", 19, 20, "Kitchen", episode(1) + "<category>Food</category>");
    text +=
        programme("a", 20, 20, "Harbour",
                  episode(4) + "<credits><actor role='Skipper'>Ada Quay</actor></credits><category>Drama</category>");
    text +=
        programme("a", 20, 21, "Deep Water",
                  "<credits><director>Ada Quay</director></credits><category>Movie</category><category>Sea</category>");
    text += programme("a", 20, 22, "Dry Land", "<category>Movie</category><category>Drama</category>");
    text += programme("a", 20, 23, "Interview", "<category>Talk</category>");
    return text + "</tv>";
}

class RecommendTest : public ::testing::Test {
protected:
    RecommendTest() { test::importListing(under.guide(), listing()); }

    std::string content(const std::string& title, int episodeNumber = 0)
    {
        for (const std::string& row :
             test::rows(under.guide(), "SELECT title || '|' || episode || '|' || content_id FROM airing")) {
            const std::string wanted = fmt::format("{}|{}|", title, episodeNumber);
            if (row.compare(0, wanted.size(), wanted) == 0) {
                return row.substr(wanted.size());
            }
        }
        ADD_FAILURE() << "no " << title;
        return "";
    }

    static std::vector<std::string> titles(const Json& entries)
    {
        std::vector<std::string> result;
        for (const Json& entry : entries) {
            const Json& content = entry.contains("content") ? entry.at("content") : entry;
            result.push_back(content.value("title", "") + (content.contains("ep_number") ? " " : "") +
                             content.value("ep_number", ""));
        }
        return result;
    }

    std::vector<std::string> missedBy(test::Viewer& viewer, const std::string& order = "time")
    {
        return titles(viewer.get("recommend/missed", "country=US&order=" + order).at("channel"));
    }

    std::vector<std::string> candidatesOf(test::Viewer& viewer)
    {
        return titles(viewer.get("recommend/candidate_missed").at("candidate_missed"));
    }

    void tune(test::Viewer& viewer, const std::string& at, const std::string& source)
    {
        const Instant now = std::exchange(under.now(), *parseUtc(at));
        viewer.put("user/tune_history", "ttid=&sourceid=" + source);
        under.now() = now;
    }

    test::ServiceUnderTest under{"2026-11-20T20:30:00Z"};
    test::Viewer ann{under, "tv-ann"};
    test::Viewer bob{under, "tv-bob"};
};

TEST_F(RecommendTest, TuningsRaiseAChannelsRank)
{
    const auto sources = [&] {
        return valuesOf(ann.get("recommend/popularch", "&lang=en&n=4").at("channel"), "source");
    };
    EXPECT_THAT(sources(), ElementsAre("1", "2", "3", "4"));
    tune(ann, "2026-11-20T19:00:00Z", "3");
    EXPECT_THAT(sources(), ElementsAre("3", "1", "2", "4"));
    // Two viewers weigh more than one who zaps.
    for (const char* at : {"2026-11-20T19:01:00Z", "2026-11-20T19:02:00Z", "2026-11-20T19:03:00Z"}) {
        tune(ann, at, "3");
    }
    tune(ann, "2026-11-20T19:00:00Z", "4");
    tune(bob, "2026-11-20T19:00:00Z", "4");
    under.reopen();
    EXPECT_THAT(sources(), ElementsAre("4", "3", "1", "2"));
    const Json first = bob.get("recommend/popularch", "n=1").at("channel");
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first[0].at("number"), "4");
    EXPECT_EQ(first[0].at("content").at("title"), "d 20 20");
    // The counts are forgotten after four weeks.
    under.setNow("2026-12-20T20:30:00Z");
    EXPECT_THAT(sources(), ElementsAre("1", "2", "3", "4"));
    EXPECT_EQ(ann.get("recommend/popularch", "n=1").at("channel")[0].at("content"), Json::object());
}

TEST_F(RecommendTest, TheTimeOfDayDecidesWhatIsOffered)
{
    // In the evenings c and sometimes b, in the mornings d.
    for (const char* day : {"17", "18", "19"}) {
        tune(ann, fmt::format("2026-11-{}T19:10:00Z", day), "3");
        tune(ann, fmt::format("2026-11-{}T08:10:00Z", day), "4");
    }
    tune(ann, "2026-11-18T18:05:00Z", "2");
    under.reopen();
    const Json picks = ann.get("recommend/smart_channel", "&lang=en&headend=H1&device=N").at("channel_guide");
    std::vector<std::string> lines;
    for (const Json& pick : picks) {
        lines.push_back(fmt::format(
            "{} {} {} {} {} {}", pick.at("timeslot").get<std::string>(), pick.at("sequence").get<std::string>(),
            pick.at("rec_type").get<std::string>(), pick.at("source").get<std::string>(),
            pick.at("content").at("title").get<std::string>(), pick.at("starttime").get<std::string>()));
    }
    EXPECT_THAT(lines,
                ElementsAre("7 1 history 3 c 20 20 2026-11-20T20:00:00Z", "7 2 history 2 b 20 20 2026-11-20T20:00:00Z",
                            "3 1 history 4 d 21 6 2026-11-21T06:00:00Z"));
    EXPECT_EQ(picks[0].at("number"), "3");
    EXPECT_EQ(picks[0].at("duration"), "59");
    // Bob has no habits, so the habits of all viewers count.
    const Json others = bob.get("recommend/smart_channel").at("channel_guide");
    EXPECT_THAT(valuesOf(others, "rec_type"), Each("popular"));
    EXPECT_THAT(valuesOf(others, "source"), ElementsAre("3", "2", "4"));
    EXPECT_EQ(bob.get("recommend/smart_popular").at("channel_guide"), others);
}

TEST_F(RecommendTest, WithoutHistoryOffersWhatIsOn)
{
    for (const char* path : {"recommend/smart_channel", "recommend/smart_popular"}) {
        const Json picks = ann.get(path).at("channel_guide");
        EXPECT_THAT(titles(picks), ElementsAre("Harbour", "b 20 20", "c 20 20", "d 20 20"));
        EXPECT_THAT(valuesOf(picks, "sequence"), ElementsAre("1", "2", "3", "4"));
        EXPECT_THAT(valuesOf(picks, "timeslot"), Each("7"));
        EXPECT_THAT(valuesOf(picks, "rec_type"), Each("now"));
    }
    under.setNow("2026-11-15T00:00:00Z");  // before the guide begins
    EXPECT_EQ(titles(ann.get("recommend/smart_channel").at("channel_guide")).at(0), "Harbour");
    under.setNow("2026-12-01T00:00:00Z");  // after it has ended
    EXPECT_THAT(ann.get("recommend/smart_channel").at("channel_guide"), IsEmpty());
}

TEST_F(RecommendTest, ChannelsWithoutProgrammesDoNotHideOthers)
{
    std::string text = "<tv>";
    for (int i = 0; i < 20; ++i) {
        text += fmt::format("<channel id='silent{}'><display-name>Silent</display-name></channel>", i);
    }
    test::importListing(under.guide(), text + programme("loud", 20, 20, "Loud") + "</tv>");
    EXPECT_THAT(titles(ann.get("recommend/smart_channel").at("channel_guide")), ElementsAre("Loud"));
    const Json rsp = ann.get("/openapi/service/concierge/combination", "country=US");
    EXPECT_THAT(titles(rsp.at("concierge").at("personalized").at("tv")), ElementsAre("Loud"));
}

TEST_F(RecommendTest, TheSlotsFollowTheWallClock)
{
    const Instant noon = *parseUtc("2026-11-20T12:00:00Z");
    EXPECT_EQ(recommend::timeslotOf(Zone::named("+00:00"), noon), 5);
    EXPECT_EQ(recommend::timeslotOf(Zone::named("+00:00"), noon - 1), 4);
    EXPECT_EQ(recommend::timeslotOf(Zone::named("+09:00"), noon), 8);
    EXPECT_EQ(recommend::timeslotOf(Zone::named("+12:00"), noon), 1);
    EXPECT_EQ(recommend::timeslotOf(Zone::named("-05:00"), noon), 3);
}

TEST_F(RecommendTest, FollowedSeriesThatWereNotTunedAreMissed)
{
    EXPECT_THAT(missedBy(ann), IsEmpty());
    ann.put("user/like", "contentid=" + content("Harbour", 4) + "&type=like");
    ann.put("user/favorite", "type=content&id=" + content("Kitchen", 1));
    under.reopen();
    // Part 2 was shown twice and counts with its later airing; part 4 is still on.
    EXPECT_THAT(missedBy(ann), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 3", "Harbour 1"));
    EXPECT_THAT(missedBy(ann, "title"), ElementsAre("Harbour 2", "Harbour 3", "Harbour 1", "Kitchen 1"));
    EXPECT_THAT(missedBy(ann, "channel"), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 3", "Harbour 1"));
    const Json entry = ann.get("recommend/missed", "order=time").at("channel")[1];
    EXPECT_EQ(entry.at("source"), "1");
    EXPECT_EQ(entry.at("starttime"), "2026-11-18T21:00:00Z");
    EXPECT_EQ(entry.at("content").at("ep_title"), "Part 2");
    EXPECT_THAT(missedBy(bob), IsEmpty());

    tune(ann, "2026-11-18T20:10:00Z", "1");  // watched part 3
    EXPECT_THAT(missedBy(ann), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 1"));
    under.setNow("2026-11-19T20:10:00Z");  // on the channel; the content that the client named does not matter
    ann.put("user/tune_history", "ttid=77&sourceid=1");
    under.setNow("2026-11-20T20:30:00Z");
    EXPECT_THAT(missedBy(ann), ElementsAre("Harbour 2", "Harbour 1"));
    ann.put("user/like", "contentid=" + content("Harbour", 1) + "&type=dislike");
    EXPECT_THAT(missedBy(ann), ElementsAre("Harbour 2"));
    under.setNow("2026-11-24T21:30:00Z");  // 17 November is seven days ago, but part 2 was repeated later
    EXPECT_THAT(missedBy(ann), ElementsAre("Harbour 4", "Harbour 2"));
    under.setNow("2026-11-26T20:30:00Z");
    EXPECT_THAT(missedBy(ann), ElementsAre("Harbour 4"));
    EXPECT_EQ(ann.refusal("GET", "recommend/missed", "order=o"),
              "101: parameter 'order' is 'o'; it must be 'time' or 'title' or 'channel'");
}

// A user with many wishes is answered by other queries.
TEST_F(RecommendTest, ManyWishesGiveTheSameMissedProgrammes)
{
    ann.put("user/like", "contentid=" + content("Harbour", 4) + "&type=like");
    ann.put("user/favorite", "type=content&id=" + content("Kitchen", 1));
    under.viewers().write([](SqlConnection& connection) {
        connection.execute(R"sql(
            WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE n < 1000)
            INSERT INTO favorite (user_id, kind, target, since)
            SELECT user_id, 'content', -n, 0 FROM number, (SELECT DISTINCT user_id FROM favorite) AS users
        )sql");
    });
    EXPECT_THAT(missedBy(ann), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 3", "Harbour 1"));
    EXPECT_THAT(missedBy(ann, "title"), ElementsAre("Harbour 2", "Harbour 3", "Harbour 1", "Kitchen 1"));
    EXPECT_THAT(missedBy(ann, "channel"), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 3", "Harbour 1"));

    tune(ann, "2026-11-18T20:10:00Z", "1");  // watched part 3
    ann.put("user/like", "contentid=" + content("Harbour", 1) + "&type=dislike");
    EXPECT_THAT(missedBy(ann), ElementsAre("Kitchen 1", "Harbour 2"));
    EXPECT_THAT(missedBy(ann, "title"), ElementsAre("Harbour 2", "Kitchen 1"));
    EXPECT_THAT(missedBy(ann, "channel"), ElementsAre("Kitchen 1", "Harbour 2"));
    under.setNow("2026-11-26T20:30:00Z");
    EXPECT_THAT(missedBy(ann, "channel"), ElementsAre("Harbour 4", "Kitchen 1"));
}

TEST_F(RecommendTest, WatchedSeriesAreCandidates)
{
    tune(ann, "2026-11-16T20:10:00Z", "1");
    EXPECT_THAT(missedBy(ann), IsEmpty());
    EXPECT_THAT(candidatesOf(ann), ElementsAre("Harbour 2", "Harbour 3"));
    ann.put("user/favorite", "type=content&id=" + content("Kitchen", 1));
    EXPECT_THAT(candidatesOf(ann), ElementsAre("Kitchen 1", "Harbour 2", "Harbour 3"));
    EXPECT_THAT(candidatesOf(bob), IsEmpty());
    viewer::resetHistory(under.viewers(), test::values(under.viewers(), "SELECT user_id AS value FROM tuning").at(0),
                         INT64_MAX);
    EXPECT_THAT(candidatesOf(ann), ElementsAre("Kitchen 1"));
}

TEST_F(RecommendTest, RelatedContentsShareSeriesPeopleOrGenres)
{
    const Json rsp = ann.get("recommend/related", "&lang=en&TTID=" + content("Harbour", 4));
    EXPECT_EQ(rsp.at("ot_episode").at("content").at("title"), "Harbour");
    EXPECT_EQ(rsp.at("ot_episode").at("content").at("id"), content("Harbour", 4));
    EXPECT_EQ(rsp.at("castncrew"), Json::parse(R"([{"id":"1","name":"Ada Quay","role":"Skipper"}])"));
    const std::vector<std::string> related = titles(rsp.at("related"));
    ASSERT_EQ(related.size(), 5U);
    EXPECT_EQ(std::vector<std::string>(related.begin(), related.begin() + 3), std::vector<std::string>(3, "Harbour"));
    EXPECT_EQ(related[3], "Deep Water");  // by its director
    EXPECT_EQ(related[4], "Dry Land");    // by a genre
    EXPECT_THAT(ann.get("recommend/related", "TTID=" + content("Interview")).at("related"), IsEmpty());
    EXPECT_EQ(ann.refusal("GET", "recommend/related", "TTID="), "100: parameter 'TTID' is missing");
    EXPECT_EQ(ann.refusal("GET", "recommend/related", "TTID=tt"), "104: the guide has no content 'tt'");
}

TEST_F(RecommendTest, TheCombinationFollowsTheViewersInterests)
{
    const auto personalized = [&](test::Viewer& viewer) {
        return viewer.get("/openapi/service/concierge/combination", "country=US&modelfirmcode=fw")
            .at("concierge")
            .at("personalized");
    };
    const Json before = personalized(ann);
    EXPECT_THAT(titles(before.at("tv")), ElementsAre("Harbour", "b 20 20", "c 20 20", "d 20 20"));
    EXPECT_THAT(titles(before.at("movie")), ElementsAre("Deep Water", "Dry Land"));
    EXPECT_EQ(before.at("apps")[0].at("category"), "news");
    EXPECT_EQ(before.at("apps")[0].at("thumbnail").at("images")[0].at("width"), "256");

    tune(ann, "2026-11-19T10:10:00Z", "4");
    ann.put("user/favorite", "type=content&id=" + content("Kitchen", 1));
    ann.put("user/like", "contentid=" + content("Harbour", 1) + "&type=like");
    ann.put("user/like", "contentid=" + content("c 21 3") + "&type=like");
    under.reopen();
    const Json after = personalized(ann);
    EXPECT_THAT(titles(after.at("tv")), ElementsAre("Harbour", "c 21 3", "d 20 20", "b 20 20", "c 20 20"));
    EXPECT_EQ(after.at("tv")[1].at("starttime"), "2026-11-21T03:00:00Z");
    EXPECT_THAT(titles(after.at("movie")), ElementsAre("Dry Land", "Deep Water"));
    EXPECT_EQ(personalized(bob).at("movie"), before.at("movie"));
    ann.put("user/like", "contentid=" + content("Dry Land") + "&type=dislike");
    EXPECT_THAT(titles(personalized(ann).at("movie")), ElementsAre("Deep Water"));
}

}  // namespace
}  // namespace corvaned
