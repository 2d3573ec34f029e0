// Recommendations from what viewers watched: popular channels, habits, missed programmes, and a reset.
#include <ctime>

#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class Recommendation : public testing::Test {
protected:
    static std::vector<std::string> popular(Television& of)
    {
        return column(of.list("getPopularChannel", 1, 10), "/Channel/Source");
    }
    static std::vector<std::string> why(Television& of) { return column(of.list("getSmartChannel"), "/RecommendType"); }

    ServiceProcess service;
    Television tv{service, "tv-1"};
    Television other{service, "tv-2"};
};

TEST_F(Recommendation, TunedChannelBecomesPopularAndTheViewersHabit)
{
    EXPECT_THAT(popular(tv), ElementsAre("1", "2", "3"));
    EXPECT_THAT(why(tv), Each("now"));
    EXPECT_EQ(tv.results("sendTuneHistory", tv.onAir("3").at("ID"), "3"), Json({1}));
    EXPECT_EQ(tv.results("sendTuneHistory", tv.onAir("3").at("ID"), "3"), Json({2}));
    service.restart();
    EXPECT_THAT(popular(other), ElementsAre("3", "1", "2"));
    EXPECT_THAT(column(other.list("getSmartPopular"), "/Channel/Source"), ElementsAre("3"));
    EXPECT_THAT(why(tv), ElementsAre("history"));
    EXPECT_THAT(column(tv.list("getSmartChannel"), "/Title"), ElementsAre("Puppets 100"));
    EXPECT_THAT(why(other), Not(Contains("history")));
}

TEST_F(Recommendation, ResetDeletesOnlyTheUsersHistory)
{
    const std::string film = tv.onAir("2").at("ID");
    tv.results("sendTuneHistory", tv.onAir("3").at("ID"), "3");
    tv.results("sendLike", "ttid", film, "like");
    other.results("sendLike", "ttid", film, "like");
    tv.results("setFavorite", "channel", "1");
    tv.results("resetHistory", std::time(nullptr) + 1);
    service.restart();
    EXPECT_THAT(popular(tv), ElementsAre("1", "2", "3"));
    EXPECT_THAT(why(tv), Not(Contains("history")));
    EXPECT_EQ(tv.results("getLikeHistory", "ttid", film), Json({1, 0, false, false}));
    EXPECT_EQ(other.results("getLikeHistory", "ttid", film), Json({1, 0, true, false}));
    EXPECT_THAT(tv.list("getFavoriteChannelList", "channel", 1, "name", "asc", 0, 10), testing::SizeIs(1));
}

TEST_F(Recommendation, LikedProgrammesThatWereNotWatchedAreMissed)
{
    const Json past = tv.list("getSchedule", listOf("2"), service.onAirSince() - 3 * 3600, 2, listOf(1));
    ASSERT_THAT(column(past, "/Title"), ElementsAre("Film 97", "Film 98"));
    tv.results("sendLike", "ttid", past.at(0).at("ID"), "like");
    tv.results("setFavorite", "content", past.at(1).at("ID"));
    service.restart();
    EXPECT_THAT(column(tv.list("getMissedContent", "title"), "/Title"), ElementsAre("Film 97", "Film 98"));
    EXPECT_THAT(column(tv.list("getCandidateMissedContent"), "/Title"),
                testing::UnorderedElementsAre("Film 97", "Film 98"));
    EXPECT_THAT(other.list("getMissedContent", "title"), IsEmpty());
    EXPECT_THAT(other.list("getCandidateMissedContent"), IsEmpty());
}

TEST_F(Recommendation, RelatedContentSharesSeriesOrPeople)
{
    const std::vector<std::string> related = column(tv.list("getRelatedContent", tv.onAir("2").at("ID"), 1), "/Title");
    ASSERT_THAT(related, Not(IsEmpty()));
    EXPECT_THAT(related, Each(testing::StartsWith("Film ")));
    const std::vector<std::string> episodes = column(tv.list("getRelatedContent", tv.onAir("1").at("ID"), 1), "/Title");
    EXPECT_EQ(episodes.at(0), "Report");
}

TEST_F(Recommendation, ConciergeDependsOnTheViewer)
{
    const Json any = tv.results("getCombination", "fw1").at(0);
    EXPECT_THAT(column(any.at("Personalized"), "/Source"), Contains("1"));
    tv.results("sendTuneHistory", tv.onAir("3").at("ID"), "3");
    const Json own = tv.results("getCombination", "fw1").at(0);
    EXPECT_EQ(own.at("Personalized").at(0).at("Title"), "Puppets 100") << own;
    EXPECT_THAT(own.dump(), testing::HasSubstr("Slow Chess"));
}

}  // namespace
}  // namespace W::test
