// Programmes on air, schedules and details. Today's files agree with the schedule.
#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class Guide : public testing::Test {
protected:
    ServiceProcess service;
    Television tv{service, "tv-1"};
};

TEST_F(Guide, LineUpIsSentOnceWithRecognisableChannelsAfterIt)
{
    const Json all = tv.results("getChannelList", "");
    EXPECT_THAT(column(all.at(0).at("data"), "/Name"),
                ElementsAre("News One", "Movie Two", "Kids Three", "News One", "Kids Three"));
    EXPECT_THAT(column(all.at(0).at("data"), "/CallSign"), ElementsAre("", "", "", "News One", "Kids Three"));
    EXPECT_EQ(all.at(2), true);
    const Json same = tv.results("getChannelList", all.at(1));
    EXPECT_THAT(same.at(0).at("data"), IsEmpty());
    EXPECT_EQ(same.at(2), false);
}

TEST_F(Guide, GenresAreSentOnce)
{
    const Json all = tv.results("getGenreList", "");
    EXPECT_THAT(column(all.at(0).at("data"), "/GenreName"), ElementsAre("News", "Movie", "Children"));
    EXPECT_THAT(column(all.at(1).at("data"), "/GenreRepName"), IsSupersetOf({"News", "Movies", "Children"}));
    EXPECT_EQ(tv.results("getGenreList", all.at(2)).at(3), false);
}

TEST_F(Guide, ScheduleHasTheProgrammesOfItsWindow)
{
    const Json day = tv.list("getSchedule", listOf("1", "3", "9"), service.onAirSince(), 2, listOf(1));
    EXPECT_THAT(column(day, "/Title"), ElementsAre("Report", "Report", "Puppets 100", "Puppets 101"));
    EXPECT_THAT(column(day, "/Channel/Name"), ElementsAre("News One", "News One", "Kids Three", "Kids Three"));
    EXPECT_EQ(day.at(1).at("Duration"), 60);
    const Json past = tv.list("getSchedule", listOf("2"), service.onAirSince() - 24 * 3600, 1, listOf(1));
    EXPECT_THAT(column(past, "/Title"), ElementsAre("Film 76"));
}

TEST_F(Guide, ShowsProgrammesNowAndNext)
{
    const Json now = tv.list("getOnAir", listOf("1", "2"), listOf(1));
    EXPECT_THAT(column(now, "/EpisodeTitle"), ElementsAre("Report 100", ""));
    EXPECT_THAT(column(now, "/Title"), ElementsAre("Report", "Film 100"));
    const Json focus = tv.list("getFocusChannel", "3", 1, 3);
    EXPECT_THAT(column(focus, "/Title"), ElementsAre("Puppets 100", "Puppets 101", "Puppets 102"));
    const Json guide = tv.list("getGuide", "all", "", service.onAirSince(), 1, 1, 0, 2);
    EXPECT_THAT(column(guide, "/Title"), ElementsAre("Report", "Film 100"));
}

TEST_F(Guide, ContentsAreFoundByGenreAndByWords)
{
    const std::string movies = tv.list("getGenreList", "").at(1).at("GenreID");
    const Json list = tv.list("getContentList", listOf(std::stoi(movies)), service.onAirSince(), 0, 3);
    EXPECT_THAT(column(list, "/Title"), ElementsAre("Film 100", "Film 101", "Film 102"));
    const auto found = [&](const std::string& words, const char* exact) {
        const Json reply = Json::parse(tv.results("searchEPG", words, exact, 0, 50).at(0).get<std::string>());
        return column(reply.at("rsp").at("content"), "/title");
    };
    EXPECT_THAT(found("ship number103", "no"), ElementsAre("Film 103"));
    EXPECT_THAT(found("pupp", "no"), Each(StartsWith("Puppets")));
    EXPECT_THAT(found("pupp", "yes"), IsEmpty());
    EXPECT_THAT(found("bo li", "yes"), Contains("Film 102"));
    EXPECT_THAT(found("bo li", "yes"), Not(Contains("Film 103")));
}

TEST_F(Guide, ContentHasItsPeopleAndItsSeries)
{
    const std::string film = tv.onAir("2").at("ID");
    const Json airing = tv.list("getContentDetailInfo", film, "2", 0).at(0);
    EXPECT_EQ(airing.at("Title"), "Film 100");
    EXPECT_EQ(airing.at("Summary"), "A ship in fog, number100.");
    EXPECT_EQ(airing.at("Year"), 2001);
    const Json director = airing.at("Directors").at(0);
    EXPECT_EQ(director.at("Name"), "Ann Ek") << director;
    const Json person = tv.results("getPersonDetailInfo", director.at("ID"));
    EXPECT_EQ(person.at(0).at("Name"), "Ann Ek") << person;
    const Json series = tv.results("getSeriesDetailInfo", tv.onAir("1").at("ID"), "1");
    EXPECT_EQ(series.at(0).at("Title"), "Report");
    EXPECT_THAT(series.dump(), testing::HasSubstr("Report 110"));
}

TEST_F(Guide, FilesOfTodayAgreeWithTheSchedule)
{
    const Json files = tv.list("getTodayURL");
    EXPECT_THAT(files, SizeIs(4));
    std::vector<std::string> shown;
    std::vector<std::string> scheduled;
    const std::string directory = service.directory();
    for (const Json& file : files) {
        tv.results("download", file.at("URL"), directory, file.at("Filename"));
        const std::string path = directory + "/" + file.at("Filename").get<std::string>();
        for (const Json& programme : tv.list("getTodaySchedule", path)) {
            shown.push_back(programme.at("StartTime").at("utc").get<std::string>() +
                            programme.at("ID").get<std::string>());
        }
    }
    const std::int64_t midnight = service.midnight();
    for (const Json& programme : tv.list("getSchedule", listOf("1", "2", "3"), midnight, 24, listOf(1))) {
        scheduled.push_back(programme.at("StartTime").at("utc").get<std::string>() +
                            programme.at("ID").get<std::string>());
    }
    EXPECT_THAT(shown, testing::UnorderedElementsAreArray(scheduled));
    EXPECT_THAT(shown, SizeIs(testing::Ge(3 * 24)));
}

}  // namespace
}  // namespace W::test
