// Favourites and votes are kept per user and survive a restart.
#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kNotThere = -205;

class KeptChoices : public testing::Test {
protected:
    ServiceProcess service;
    Television tv{service, "tv-1"};
    Television other{service, "tv-2"};
};

TEST_F(KeptChoices, FavouriteChannelsAreKept)
{
    for (const char* source : {"3", "1", "2"}) {
        tv.results("setFavorite", "channel", source);
    }
    const auto names = [](Television& of, const char* order, const char* sort, int start, int count) {
        return column(of.list("getFavoriteChannelList", "channel", 1, order, sort, start, count), "/Name");
    };
    EXPECT_THAT(names(tv, "name", "asc", 0, 10), ElementsAre("Kids Three", "Movie Two", "News One"));
    EXPECT_THAT(names(tv, "number", "desc", 0, 2), ElementsAre("Kids Three", "Movie Two"));
    EXPECT_THAT(names(tv, "number", "asc", 1, 1), ElementsAre("Movie Two"));
    EXPECT_EQ(tv.results("getFavoriteChannel", "channel", "2", 1).at(0).at("Name"), "Movie Two");

    tv.results("deleteFavorite", "channel", "2");
    service.restart();
    EXPECT_THAT(names(tv, "name", "asc", 0, 10), ElementsAre("Kids Three", "News One"));
    EXPECT_EQ(tv.status("getFavoriteChannel", "channel", "2", 1), kNotThere);
    EXPECT_THAT(names(other, "name", "asc", 0, 10), IsEmpty());
    EXPECT_EQ(other.status("getFavoriteChannel", "channel", "1", 1), kNotThere);
}

TEST_F(KeptChoices, FavouriteContentsAreKept)
{
    const std::string film = tv.onAir("2").at("ID");
    tv.results("setFavorite", "content", film);
    tv.results("setFavorite", "content", tv.onAir("3").at("ID"));
    const auto titles = [](Television& of) {
        return column(of.list("getFavoriteContentList", "content", 1, "title", "desc", 0, 10), "/Title");
    };
    EXPECT_THAT(titles(tv), ElementsAre("Puppets 100", "Film 100"));
    tv.results("deleteFavorite", "content", tv.onAir("3").at("ID"));
    service.restart();
    EXPECT_THAT(titles(tv), ElementsAre("Film 100"));
    EXPECT_EQ(tv.results("getFavoriteContent", "content", film, 1).at(0).at("Title"), "Film 100");
    EXPECT_THAT(titles(other), IsEmpty());
    EXPECT_EQ(other.status("getFavoriteContent", "content", film, 1), kNotThere);
}

TEST_F(KeptChoices, VoteCountsOncePerUser)
{
    const std::string film = tv.onAir("2").at("ID");
    const auto counts = [&](Television& of) { return of.results("getLikeHistory", "ttid", film); };
    EXPECT_EQ(counts(tv), Json({0, 0, false, false}));
    tv.results("sendLike", "ttid", film, "like");
    tv.results("sendLike", "ttid", film, "like");
    EXPECT_EQ(counts(tv), Json({1, 0, true, false}));
    EXPECT_EQ(counts(other), Json({1, 0, false, false}));
    other.results("sendLike", "ttid", film, "dislike");
    service.restart();
    EXPECT_EQ(counts(tv), Json({1, 1, true, false}));
    EXPECT_EQ(counts(other), Json({1, 1, false, true}));
    tv.results("sendLike", "ttid", film, "none");
    EXPECT_EQ(counts(tv), Json({0, 1, false, false}));
}

}  // namespace
}  // namespace W::test
