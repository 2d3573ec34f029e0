#include "Viewer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::valuesOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kListing = R"(<tv>
    <channel id="a"><display-name>Alpha</display-name><lcn>3</lcn></channel>
    <channel id="b"><display-name>Beta</display-name><lcn>1</lcn></channel>
    <channel id="c"><display-name>Gamma</display-name><lcn>2</lcn></channel>
    <programme channel="a" start="20261120180000 +0000" stop="20261120190000 +0000">
        <title lang="en">The Ferry</title><title lang="de">Die Fähre</title><sub-title lang="en">Low Tide</sub-title>
        <credits><actor>Ada Quay</actor></credits><date>2025</date></programme>
    <programme channel="b" start="20261120180000 +0000" stop="20261120190000 +0000"><title>Anvil</title></programme>
</tv>)";
// This listing lacks the programmes that viewers know, and one channel.
constexpr const char* kLaterListing = R"(<tv>
    <channel id="a"><display-name>Alpha</display-name><lcn>3</lcn></channel>
    <channel id="b"><display-name>Beta</display-name><lcn>1</lcn></channel>
    <programme channel="a" start="20261127180000 +0000" stop="20261127190000 +0000"><title>Other</title></programme>
</tv>)";

class ViewerTest : public ::testing::Test {
protected:
    ViewerTest()
    {
        test::importListing(under.guide(), kListing);
        ferry = test::rows(under.guide(), "SELECT content_id FROM airing WHERE title = 'The Ferry'").at(0);
        anvil = test::rows(under.guide(), "SELECT content_id FROM airing WHERE title = 'Anvil'").at(0);
    }

    Json likes(test::Viewer& viewer, const std::string& target)
    {
        return viewer.get("user/like", target).at("content").at("count");
    }

    static Json count(const char* like, const char* dislike, const char* own, const char* disOwned)
    {
        return {{"like", like}, {"dislike", dislike}, {"like_owned", own}, {"dis_owned", disOwned}};
    }

    test::ServiceUnderTest under{"2026-11-20T18:30:00Z"};
    test::Viewer ann{under, "tv-ann"};
    test::Viewer bob{under, "tv-bob"};
    std::string ferry;
    std::string anvil;
};

TEST_F(ViewerTest, AFavoriteIsOnlyInTheListOfItsUser)
{
    ann.put("user/favorite&device=N", "country=US&headend=H1&type=channel&id=2");
    ann.put("user/favorite", "&headend=H1&device=X&type=content&id=" + ferry);
    under.reopen();
    EXPECT_EQ(ann.get("user/favorite/list", "type=channel").at("channel"),
              Json::parse(R"([{"source":"2","dtv":"2","number":"1","name":"Beta"}])"));
    const Json contents = ann.get("user/favorite/list", "type=content").at("content");
    ASSERT_EQ(contents.size(), 1U);
    EXPECT_EQ(contents[0], Json({{"id", ferry},
                                 {"lang", "en"},
                                 {"title", "The Ferry"},
                                 {"ep_title", "Low Tide"},
                                 {"year", "2025"},
                                 {"type", "program"}}));
    EXPECT_EQ(ann.get("user/favorite", "type=content&id=" + ferry + "&imagesize=0").at("content"), contents[0]);
    EXPECT_EQ(ann.get("user/favorite", "type=channel&id=2&imagesize=0").at("channel").at("name"), "Beta");
    EXPECT_THAT(bob.get("user/favorite/list", "type=channel").at("channel"), IsEmpty());
    EXPECT_THAT(bob.get("user/favorite/list", "type=content").at("content"), IsEmpty());
    EXPECT_EQ(bob.refusal("GET", "user/favorite", "type=channel&id=2"),
              "104: parameter 'id' is '2'; the user has no such favourite channel");
}

TEST_F(ViewerTest, ADeletedFavoriteIsGone)
{
    ann.put("user/favorite", "type=channel&id=1");
    ann.put("user/favorite", "type=channel&id=2");
    bob.put("user/favorite", "type=channel&id=1");
    ann.remove("user/favorite", "country=US&type=channel&id=1");
    ann.remove("user/favorite", "type=channel&id=1");
    EXPECT_THAT(valuesOf(ann.get("user/favorite/list", "type=channel").at("channel"), "source"), ElementsAre("2"));
    EXPECT_THAT(valuesOf(bob.get("user/favorite/list", "type=channel").at("channel"), "source"), ElementsAre("1"));
}

TEST_F(ViewerTest, FavoritesAreOrderedAndPaged)
{
    for (const char* id : {"3", "1", "2"}) {
        ++under.now();
        ann.put("user/favorite", std::string("type=channel&id=") + id);
    }
    ++under.now();
    ann.put("user/favorite", "type=channel&id=3");  // keeps its place
    const struct {
        const char* query;
        std::vector<std::string> sources;
    } rows[] = {
        {"", {"3", "1", "2"}},
        {"&order=time&sort=desc", {"2", "1", "3"}},
        {"&order=name", {"1", "2", "3"}},
        {"&order=name&sort=desc", {"3", "2", "1"}},
        {"&order=number&sort=asc", {"2", "3", "1"}},
        {"&start=1&num=1", {"1"}},
        {"&start=2", {"2"}},
        {"&start=9", {}},
        {"&num=2", {"3", "1"}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(
            valuesOf(ann.get("user/favorite/list", std::string("type=channel") + row.query).at("channel"), "source"),
            row.sources)
            << row.query;
    }
    ann.put("user/favorite", "type=content&id=" + ferry);
    ann.put("user/favorite", "type=content&id=" + anvil);
    EXPECT_THAT(valuesOf(ann.get("user/favorite/list", "type=content&order=title").at("content"), "title"),
                ElementsAre("Anvil", "The Ferry"));
}

TEST_F(ViewerTest, FavoritesOutlastTheirGuide)
{
    ann.put("user/favorite", "type=content&id=" + ferry);
    ann.put("user/favorite", "type=channel&id=1");
    ann.put("user/favorite", "type=channel&id=3");
    test::importListing(under.guide(), kLaterListing);
    under.reopen();
    EXPECT_THAT(valuesOf(ann.get("user/favorite/list", "type=content").at("content"), "title"),
                ElementsAre("The Ferry"));
    EXPECT_THAT(valuesOf(ann.get("user/favorite/list", "type=channel").at("channel"), "name"), ElementsAre("Alpha"));
    EXPECT_THAT(ann.refusal("GET", "user/favorite", "type=channel&id=3"), HasSubstr("no such favourite"));
    test::importListing(under.guide(), kListing);
    EXPECT_THAT(valuesOf(ann.get("user/favorite/list", "type=channel").at("channel"), "name"),
                ElementsAre("Alpha", "Gamma"));
}

TEST_F(ViewerTest, FavoritesMayBeInTheGuideOrNoLongerInIt)
{
    test::importListing(under.guide(), R"(<tv><channel id="a"><display-name>Alpha</display-name></channel>
        <programme channel="a" start="20261120180000 +0000" stop="20261120190000 +0000"><title>Gone</title></programme>
        <programme channel="a" start="20261120190000 +0000" stop="20261120200000 +0000"><title>Gone too</title>
        <date>1999</date></programme></tv>)");
    const auto favorite = [&](const std::string& title) {
        ++under.now();
        ann.put("user/favorite",
                "type=content&id=" +
                    test::rows(under.guide(), "SELECT content_id FROM airing WHERE title = '" + title + "'").at(0));
    };
    favorite("Gone");
    test::importListing(under.guide(), R"(<tv><channel id="a"><display-name>Alpha</display-name></channel>
        <programme channel="a" start="20261120180000 +0000" stop="20261120190000 +0000"><title lang="en">Quay "B" \ A</title>
        <title lang="de">Fähre</title><episode-num system="xmltv_ns">1.2.</episode-num><icon src="https://images.example/q.png"
        width="16" height="9"/></programme>
        <programme channel="a" start="20261120190000 +0000" stop="20261120200000 +0000"><title>Gone too</title>
        <date>1999</date></programme></tv>)");
    favorite("Quay \"B\" \\ A");
    favorite("Gone too");
    test::importListing(under.guide(), R"(<tv><channel id="a"><display-name>Alpha</display-name></channel>
        <programme channel="a" start="20261120180000 +0000" stop="20261120190000 +0000"><title lang="en">Quay "B" \ A</title>
        <title lang="de">Fähre</title><episode-num system="xmltv_ns">1.2.</episode-num><icon src="https://images.example/q.png"
        width="16" height="9"/></programme></tv>)");
    const auto listed = [&](const char* query) {
        return ann.get("user/favorite/list", std::string("type=content") + query).at("content");
    };
    EXPECT_THAT(valuesOf(listed(""), "title"), ElementsAre("Gone", "Quay \"B\" \\ A", "Gone too"));
    EXPECT_THAT(valuesOf(listed("&sort=desc"), "title"), ElementsAre("Gone too", "Quay \"B\" \\ A", "Gone"));
    EXPECT_THAT(valuesOf(listed("&order=title"), "title"), ElementsAre("Gone", "Gone too", "Quay \"B\" \\ A"));
    EXPECT_THAT(valuesOf(listed("&lang=de"), "title"), ElementsAre("Gone", "Fähre", "Gone too"));
    EXPECT_EQ(listed("")[1].at("poster").at("url"), "https://images.example/q.png");
    EXPECT_EQ(listed("")[1].at("ep_number"), "3");
    EXPECT_EQ(listed("")[2].at("year"), "1999");
    for (const Json& entry : listed("")) {
        EXPECT_EQ(ann.get("user/favorite", "type=content&id=" + entry.at("id").get<std::string>()).at("content"),
                  entry);
    }
}

TEST_F(ViewerTest, AVoteMovesTheCountOnce)
{
    const std::string target = "contentid=" + ferry;
    EXPECT_EQ(likes(ann, target), count("0", "0", "no", "no"));
    ann.put("user/like", "country=US&" + target + "&type=like");
    ann.put("user/like", target + "&type=like");
    EXPECT_EQ(likes(ann, target), count("1", "0", "yes", "no"));
    EXPECT_EQ(likes(bob, target), count("1", "0", "no", "no"));
    bob.put("user/like", target + "&type=dislike");
    under.reopen();
    EXPECT_EQ(likes(ann, target), count("1", "1", "yes", "no"));
    EXPECT_EQ(likes(bob, target), count("1", "1", "no", "yes"));
    bob.put("user/like", target + "&type=like");
    EXPECT_EQ(likes(bob, target), count("2", "0", "yes", "no"));
    ann.put("user/like", target + "&type=none");
    EXPECT_EQ(likes(ann, target), count("1", "0", "no", "no"));
    EXPECT_EQ(likes(ann, "contentid=" + anvil), count("0", "0", "no", "no"));
}

TEST_F(ViewerTest, PeopleAndChannelsHaveVotes)
{
    ann.put("user/like", "personid=1&type=like");
    ann.put("user/like", "sourceid=1&type=dislike");
    EXPECT_EQ(likes(bob, "personid=1"), count("1", "0", "no", "no"));
    EXPECT_EQ(likes(bob, "sourceid=1"), count("0", "1", "no", "no"));
    EXPECT_EQ(ann.refusal("PUT", "user/like", "personid=2&type=like"),
              "104: parameter 'personid' is '2'; the guide has no such person");
}

TEST_F(ViewerTest, TuningsAreCountedPerUser)
{
    EXPECT_EQ(ann.put("user/tune_history&device=N", "country=US&headend=H1&ttid=" + ferry + "&sourceid=1").at("seq"),
              "1");
    EXPECT_EQ(ann.put("user/tune_history", "ttid=&sourceid=2").at("seq"), "2");
    under.reopen();
    EXPECT_EQ(bob.put("user/tune_history", "ttid=77&sourceid=3").at("seq"), "1");
    EXPECT_EQ(ann.put("user/tune_history", "sourceid=1").at("seq"), "3");
    // Without a content, the programme that is on the air counts.
    EXPECT_THAT(test::values(under.viewers(),
                             "SELECT source_id || '|' || content_id AS value FROM tuning ORDER BY user_id = "
                             "(SELECT user_id FROM tuning WHERE source_id = 3), seq"),
                ElementsAre("1|" + ferry, "2|" + anvil, "1|" + ferry, "3|77"));
}

TEST_F(ViewerTest, TheOldestTuningsAreDeletedFirst)
{
    const GuideFile::Lease lease = under.guide().lease();
    for (int seq = 1; seq <= 2001; ++seq) {
        ASSERT_EQ(viewer::addTuning(under.viewers(), *lease, "someone", 1, 5, under.now() + seq), seq);
    }
    EXPECT_THAT(
        test::values(under.viewers(), "SELECT count(*) || '|' || min(seq) || '|' || max(seq) AS value FROM tuning"),
        ElementsAre("2000|2|2001"));
}

TEST_F(ViewerTest, OldFavoritesAndVotesMakeRoomForTheNew)
{
    const GuideFile::Lease lease = under.guide().lease();
    under.viewers().write([](SqlConnection& connection) {
        for (int i = 1; i <= 2000; ++i) {
            SqlQuery(connection, "INSERT INTO vote VALUES ('content', ?, 'someone', 1, ?)").bind(i, i).run();
            if (i <= 1000) {
                SqlQuery(connection, "INSERT INTO favorite VALUES ('someone', 'content', ?, ?)").bind(i, i).run();
            }
        }
    });
    const std::int64_t target = std::stoll(anvil);
    viewer::addFavorite(under.viewers(), *lease, "someone", viewer::Subject::Content, target, 1);
    viewer::castVote(under.viewers(), *lease, "someone", viewer::Subject::Content, target, viewer::Vote::Like, 1);
    for (const char* const table : {"favorite", "vote"}) {
        EXPECT_THAT(test::values(under.viewers(), std::string("SELECT count(*) || '|' || min(target) AS value FROM ") +
                                                      table + " WHERE target <> " + anvil),
                    ElementsAre(std::string_view(table) == "vote" ? "1999|2" : "999|2"));
        EXPECT_THAT(test::values(under.viewers(),
                                 std::string("SELECT since || '' AS value FROM ") + table + " WHERE target = " + anvil),
                    ElementsAre("1"));
    }
}

TEST_F(ViewerTest, AResetForgetsUpToItsTime)
{
    const std::string user = "someone";
    const std::string other = "another";
    {
        const GuideFile::Lease lease = under.guide().lease();
        for (const auto& name : {user, other}) {
            viewer::addTuning(under.viewers(), *lease, name, 1, 0, 1000);
            viewer::addTuning(under.viewers(), *lease, name, 2, 0, 2000);
            viewer::castVote(under.viewers(), *lease, name, viewer::Subject::Content, std::stoll(ferry),
                             viewer::Vote::Like, 1000);
            viewer::castVote(under.viewers(), *lease, name, viewer::Subject::Content, std::stoll(anvil),
                             viewer::Vote::Like, 2000);
            viewer::addFavorite(under.viewers(), *lease, name, viewer::Subject::Channel, 1, 1000);
        }
        viewer::resetHistory(under.viewers(), user, 1000);
    }
    under.reopen();
    EXPECT_EQ(viewer::countVotes(under.viewers(), user, viewer::Subject::Content, std::stoll(ferry)).own,
              viewer::Vote::None);
    EXPECT_EQ(viewer::countVotes(under.viewers(), user, viewer::Subject::Content, std::stoll(ferry)).likes, 1);
    EXPECT_EQ(viewer::countVotes(under.viewers(), user, viewer::Subject::Content, std::stoll(anvil)).likes, 2);
    EXPECT_TRUE(viewer::isFavorite(under.viewers(), user, viewer::Subject::Channel, 1));
    EXPECT_THAT(test::values(under.viewers(), "SELECT user_id || '|' || source_id AS value FROM tuning ORDER BY 1"),
                ElementsAre("another|1", "another|2", "someone|2"));
    viewer::resetHistory(under.viewers(), user, INT64_MAX);
    EXPECT_THAT(test::values(under.viewers(), "SELECT user_id AS value FROM tuning ORDER BY 1"),
                ElementsAre("another", "another"));
}

TEST_F(ViewerTest, TheAgreementIsKept)
{
    const auto info = [](test::Viewer& viewer) { return viewer.get("agreement/check").at("reg_info"); };
    const auto expected = [](const char* status, const char* confirmed, const char* anonymous) {
        return Json({{"status", status}, {"confirmed", confirmed}, {"anonymous", anonymous}});
    };
    EXPECT_EQ(info(ann), expected("none", "no", "no"));
    ann.put("agreement/anonym", "flag=yes");
    EXPECT_EQ(info(ann), expected("none", "no", "yes"));
    ann.put("agreement/confirm");
    under.reopen();
    EXPECT_EQ(info(ann), expected("agreed", "yes", "yes"));
    EXPECT_EQ(info(bob), expected("none", "no", "no"));
    ann.put("agreement/anonym", "flag=no");
    EXPECT_EQ(info(ann), expected("agreed", "yes", "no"));
    ann.put("agreement/revocation");
    EXPECT_EQ(info(ann), expected("revoked", "no", "no"));
}

TEST_F(ViewerTest, ErrorsNameWhatCannotBeRead)
{
    const struct {
        const char* method;
        const char* path;
        const char* parameters;
        const char* refusal;
    } rows[] = {
        {"PUT", "user/favorite", "id=1", "100: parameter 'type' is missing"},
        {"PUT", "user/favorite", "type=channel", "100: parameter 'id' is missing"},
        {"PUT", "user/favorite", "type=film&id=1",
         "101: parameter 'type' is 'film'; it must be 'channel' or 'content'"},
        {"PUT", "user/favorite", "type=channel&id=99", "104: parameter 'id' is '99'; the guide has no such channel"},
        {"PUT", "user/favorite", "type=content&id=5", "104: parameter 'id' is '5'; the guide has no such content"},
        {"PUT", "user/favorite", "type=channel&id=1x",
         "101: parameter 'id' is '1x'; it must be a number from 0 to 9223372036854775807"},
        {"GET", "user/favorite/list", "type=channel&order=o",
         "101: parameter 'order' is 'o'; it must be 'time' or 'title' or 'name' or 'number'"},
        {"GET", "user/favorite/list", "type=channel&sort=s",
         "101: parameter 'sort' is 's'; it must be 'asc' or 'desc'"},
        {"GET", "user/favorite/list", "type=channel&start=-3",
         "101: parameter 'start' is '-3'; it must be a number from 0 to 2147483647"},
        {"PUT", "user/like", "contentid=1", "100: parameter 'type' is missing"},
        {"PUT", "user/like", "contentid=1&type=love",
         "101: parameter 'type' is 'love'; it must be 'like' or 'dislike' or 'none'"},
        {"PUT", "user/like", "type=like", "100: parameter 'contentid' is missing; 'personid' or 'sourceid' do as well"},
        {"PUT", "user/tune_history", "ttid=1", "100: parameter 'sourceid' is missing"},
        {"PUT", "user/tune_history", "sourceid=99", "104: parameter 'sourceid' is '99'; the guide has no such channel"},
        {"PUT", "agreement/anonym", "flag=maybe", "101: parameter 'flag' is 'maybe'; it must be 'yes' or 'no'"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ann.refusal(row.method, row.path, row.parameters), row.refusal) << row.path << " " << row.parameters;
    }
}

}  // namespace
}  // namespace corvaned
