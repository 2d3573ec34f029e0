// A viewer finds the headend by postal code, by city or by a quiz. The choice is kept.
#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::Not;

TEST(Lineup, HeadendIsFoundByPostalCodeAndByPlace)
{
    const ServiceProcess service;
    Television tv(service, "tv-1");
    EXPECT_THAT(column(tv.list("getHeadend", "10110"), "/HeadendID"), ElementsAre("H1", "H2", "H4"));
    EXPECT_THAT(column(tv.list("getHeadend", "eb14qx"), "/HeadendID"), ElementsAre("H1", "H2", "H4"));

    const Json cities = tv.results("getCityList");
    EXPECT_EQ(cities.at(0), (Json{{"0", "Northmark"}, {"1", "Sundale"}}));
    const Json quay = cities.at(1).at(2);
    EXPECT_EQ(quay, Json::parse(R"([1, {"Code": "SU-LOW", "Name": "Low Quay"}])"));
    EXPECT_THAT(column(tv.list("getHeadend_Kor", quay.at(1).at("Code")), "/HeadendID"), ElementsAre("H3", "H4"));

    const Json states = tv.list("getCityList_browse");
    EXPECT_THAT(column(states, "/Name"), ElementsAre("Northmark", "Sundale"));
    EXPECT_THAT(column(tv.list("getHeadend_browse", states.at(0).at("Code")), "/HeadendID"),
                IsSupersetOf({"H1", "H2", "H3"}));
}

/// The headends that remain if a viewer answers every question truthfully.
std::set<std::string> leftByTheQuiz(const Json& quiz, const std::string& truth)
{
    std::set<std::string> left = {"H1", "H2", "H3", "H4"};
    for (const Json& question : quiz) {
        std::string seen;
        for (const Json& answer : question.at("AnswerList")) {
            seen = answer.at("HeadendId") == truth ? answer.at("Name").get<std::string>() : seen;
        }
        for (const Json& answer : question.at("AnswerList")) {
            if (answer.at("Name") != seen) {
                left.erase(answer.at("HeadendId").get<std::string>());
            }
        }
    }
    return left;
}

TEST(Lineup, QuizFindsTheRightHeadend)
{
    const ServiceProcess service;
    Television tv(service, "tv-1");
    const Json quiz = tv.list("getLineupTest", "");
    for (const char* truth : {"H1", "H2", "H3", "H4"}) {
        EXPECT_THAT(leftByTheQuiz(quiz, truth), ElementsAre(truth)) << quiz;
    }
}

TEST(Lineup, ChoiceIsKeptPerUser)
{
    ServiceProcess service;
    Television tv(service, "tv-1", "H3");
    Television other(service, "tv-2", "H4");
    EXPECT_EQ(tv.results("loadHeadend").at(0).at("HeadendID"), "");
    tv.results("saveHeadend");
    service.restart();
    const Json kept = tv.results("loadHeadend").at(0);
    EXPECT_EQ(kept.at("HeadendID"), "H3");
    EXPECT_EQ(kept.at("DeviceList").at(0).at("DeviceType"), "X");
    EXPECT_EQ(other.results("loadHeadend").at(0).at("HeadendID"), "");
}

}  // namespace
}  // namespace W::test
