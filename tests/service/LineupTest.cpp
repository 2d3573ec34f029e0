#include "Lineup.h"

#include <map>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OperatorError.h"
#include "PlacesImport.h"
#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::valuesOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string listingOf(int channels)
{
    std::string listing = "<tv>";
    for (int i = 1; i <= channels; ++i) {
        const std::string number = std::to_string(i);
        listing += "<channel id='c" + number + "'><display-name>Channel " + number + "</display-name><lcn>" + number +
                   "</lcn></channel>";
    }
    return listing + "<programme channel='c1' start='20261120180000'><title>Any</title></programme></tv>";
}

// The reason why the import is refused; "" if it is accepted. It is rolled back in both cases.
std::string placesRefusal(Store& store, const std::string& text)
{
    const Store::Lease lease = store.lease();
    const sqlite::Transaction transaction(*lease, sqlite::Transaction::Kind::Write);
    try {
        importPlaces(*lease, text, "places.csv");
        return "";
    } catch (const OperatorError& error) {
        return error.what();
    }
}

PlacesReport keepPlaces(Store& store, const std::string& text)
{
    const Store::Lease lease = store.lease();
    sqlite::Transaction transaction(*lease, sqlite::Transaction::Kind::Write);
    const PlacesReport report = importPlaces(*lease, text, "places.csv");
    transaction.commit();
    return report;
}

class LineupTest : public ::testing::Test {
protected:
    LineupTest() { test::importText(under.store(), listingOf(9)); }

    // A viewer who answers the quiz with what the headend at home sends at each number.
    std::set<std::string> headendsThatFit(const std::string& home, const Json& quiz)
    {
        std::map<std::string, std::string> onScreen;
        for (const lineup::Station& station : lineup::lineupOf(*under.store().lease(), home)) {
            onScreen[station.number] = station.name;
        }
        std::set<std::string> fitting;
        for (const Json& question : quiz) {
            const auto found = onScreen.find(question.at("number").get<std::string>());
            const std::string seen = found == onScreen.end() ? "None" : found->second;
            std::set<std::string> named;
            for (const Json& answer : question.at("answer")) {
                if (answer.at("name") == seen) {
                    named.insert(answer.at("headend").at("id").get<std::string>());
                }
            }
            std::set<std::string> both;
            std::set_intersection(fitting.begin(), fitting.end(), named.begin(), named.end(),
                                  std::inserter(both, both.end()));
            fitting = &question == &quiz[0] ? named : both;
        }
        return fitting;
    }

    test::ServiceUnderTest under{"2026-11-20T18:30:00Z"};
    test::Viewer ann{under, "tv-ann"};
    test::Viewer bob{under, "tv-bob"};
};

TEST_F(LineupTest, PlacesLeadToTheirHeadends)
{
    const Json states = ann.get("channel/headend_kor", "country=US&type=city").at("state");
    EXPECT_THAT(valuesOf(states, "name"), ElementsAre("Northmark", "Sundale"));
    EXPECT_THAT(valuesOf(states[0].at("city"), "name"), ElementsAre("Ebbhaven", "Fenwick Mills"));
    const std::string city = states[0].at("city")[0].at("code");
    const Json headends = ann.get("channel/headend_kor", "country=US&type=headend&code=" + city).at("mso");
    EXPECT_EQ(headends[0], Json::parse(R"({"id":"M1","name":"Northern Cable","service_type":"cable",
        "satellite_enum":"0","rf_device_type":"X","mbr_name":"Ebbhaven Cable",
        "headend":{"id":"H1","dtv":"H1","city":"Ebbhaven"},
        "device":[{"type":"X","name":"Cable box"},{"type":"N","name":"Television without a box"}]})"));
    EXPECT_THAT(valuesOf(headends, "id"), ElementsAre("M1", "M2", "M4"));

    const Json list = ann.get("channel/headend_browse", "country=US&type=list").at("geo_level_1");
    EXPECT_THAT(valuesOf(list, "name"), ElementsAre("Northmark", "Sundale"));
    const std::string state = list[1].at("code");
    EXPECT_THAT(valuesOf(ann.get("channel/headend_browse", "type=headend&code=" + state).at("mso"), "id"),
                ElementsAre("M3", "M4"));
    EXPECT_THAT(ann.get("channel/headend_browse", "type=headend&code=nowhere").at("mso"), IsEmpty());
}

TEST_F(LineupTest, PostalCodesAreReadLeniently)
{
    const struct {
        const char* code;
        std::vector<std::string> operators;
    } rows[] = {
        {"10110", {"M1", "M2", "M4"}},
        {"10110-0042", {"M1", "M2", "M4"}},
        {" 10 480 ", {"M2", "M3", "M4"}},
        {"eb1 4qx", {"M1", "M2", "M4"}},
        {"EB14QX", {"M1", "M2", "M4"}},
        {"1011", {}},
        {"ü/%", {}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(valuesOf(ann.get("channel/headend", std::string("zipcode=") + row.code).at("mso"), "id"),
                  row.operators)
            << row.code;
    }
}

TEST_F(LineupTest, TheQuizLeadsToTheHeadendAtHome)
{
    for (const char* asked : {"H1", "H2", "H3", "H4", ""}) {
        const Json quiz = ann.get("channel/lineup_test", std::string("country=US&headend=") + asked).at("quiz");
        ASSERT_FALSE(quiz.empty()) << asked;
        for (const Json& answer : quiz[0].at("answer")) {
            const std::string home = answer.at("headend").at("id");
            EXPECT_THAT(headendsThatFit(home, quiz), ElementsAre(home)) << "asked about " << asked << ": " << quiz;
        }
    }
    // H1 and H3 share no city, so a quiz for one does not include the other.
    const Json quiz = ann.get("channel/lineup_test", "headend=H1").at("quiz");
    std::vector<std::string> named;
    for (const Json& answer : quiz[0].at("answer")) {
        named.push_back(answer.at("headend").at("id"));
    }
    EXPECT_THAT(named, ElementsAre("H1", "H2", "H4"));
}

TEST_F(LineupTest, EqualLineUpsRaiseNoQuestion)
{
    keepPlaces(under.store(),
               "state,S,S\ncity,C,S,C\nheadend,A,A,,,,,0,0\nheadend,B,B,,,,,0,0\nserves,A,C\nserves,B,C\n");
    EXPECT_THAT(ann.get("channel/lineup_test", "headend=A").at("quiz"), IsEmpty());
    keepPlaces(under.store(), "headend,A,A,,,,,0,0\n");
    EXPECT_THAT(ann.get("channel/lineup_test", "headend=A").at("quiz"), IsEmpty());
}

TEST_F(LineupTest, TheHeadendIsKeptPerUser)
{
    EXPECT_EQ(ann.get("user/load_headend").at("headend").at("id"), "");
    ann.put("user/save_headend&device=N", "country=US&headend=H2");
    under.reopen();
    Json saved = ann.get("user/load_headend", "country=US");
    EXPECT_EQ(saved.at("headend").at("id"), "H2");
    EXPECT_EQ(saved.at("device").at("type"), "N");
    EXPECT_EQ(bob.get("user/load_headend").at("headend").at("id"), "");
    ann.put("user/save_headend", "&headend=H3&device=F");
    saved = ann.get("user/load_headend");
    EXPECT_EQ(saved.at("headend").at("id"), "H3");
    EXPECT_EQ(saved.at("device").at("type"), "F");
}

TEST_F(LineupTest, ErrorsNameWhatCannotBeRead)
{
    EXPECT_EQ(ann.refusal("GET", "channel/headend", "zipcode="), "100: parameter 'zipcode' is missing");
    EXPECT_EQ(ann.refusal("GET", "channel/headend_kor", "type=list"),
              "101: parameter 'type' is 'list'; it must be 'city' or 'headend'");
    EXPECT_EQ(ann.refusal("GET", "channel/headend_browse", "type=headend"),
              "100: parameter 'code' is missing; type=headend asks by a place's code");
    EXPECT_EQ(ann.refusal("GET", "channel/lineup_test", "headend=h22"), "104: there is no headend 'h22'");
    EXPECT_EQ(ann.refusal("PUT", "user/save_headend", "headend=h22"), "104: there is no headend 'h22'");
    EXPECT_EQ(ann.refusal("PUT", "user/save_headend", "&device=X"), "100: parameter 'headend' is missing");
}

TEST_F(LineupTest, AnOperatorsPlacesReplaceTheOnesBuiltIn)
{
    const PlacesReport report = keepPlaces(under.store(),
                                           "\xef\xbb\xbf# ours\r\n\r\nstate,N,\"North, \"\"upper\"\" part\"\r\n"
                                           "city,N1,N,Town\r\npostal,9-9 a,N1\r\n"
                                           "headend,our-1,Our Cable,op,Our Operator,cable,0,,\r\n"
                                           "serves,our-1,N1\r\ndevice,our-1,X,Box\r\n"
                                           "channel,our-1,101,c2\r\nchannel,our-1,7,c3\r\nchannel,our-1,8,unheard\r\n");
    EXPECT_EQ(report.cities, 1);
    EXPECT_EQ(report.postalCodes, 1);
    EXPECT_EQ(report.headends, 1);
    under.reopen();
    EXPECT_THAT(valuesOf(ann.get("channel/headend_browse", "type=list").at("geo_level_1"), "name"),
                ElementsAre("North, \"upper\" part"));
    EXPECT_THAT(valuesOf(ann.get("channel/headend", "zipcode=99A").at("mso"), "mbr_name"), ElementsAre("Our Cable"));
    std::vector<std::string> lineup;
    for (const lineup::Station& station : lineup::lineupOf(*under.store().lease(), "our-1")) {
        lineup.push_back(station.number + " " + station.name);
    }
    EXPECT_THAT(lineup, ElementsAre("7 Channel 3", "101 Channel 2"));
    // The file has no apps, so the built-in ones stay.
    EXPECT_THAT(test::rows(under.store(), "SELECT count(*) > 0 FROM app"), ElementsAre("1"));
    keepPlaces(under.store(), "app,one,The One,fun,https://apps.example/one.png,3,4\n");
    EXPECT_THAT(test::rows(under.store(), "SELECT id, image_width FROM app"), ElementsAre("one|3"));
    EXPECT_THAT(test::rows(under.store(), "SELECT id FROM headend"), ElementsAre("our-1"));
}

TEST_F(LineupTest, ReportsTheLineOfAFaultInPlaces)
{
    const struct {
        const char* text;
        const char* refusal;
    } rows[] = {
        {"state,N,North\nvillage,V,N\n",
         "places.csv:2: 'village' is not a kind of row; the kinds are state, city, postal, headend, serves, device, "
         "channel, "
         "app; nothing is imported"},
        {"state,N\n",
         "places.csv:1: a row of this kind has 3 fields, this one 2: state,code,name; nothing is "
         "imported"},
        {"# x\n\nstate,,North\n", "places.csv:3: code is empty; nothing is imported"},
        {"city,C,N,Town\n", "places.csv:1: no row above names a state 'N'; nothing is imported"},
        {"state,N,North\nstate,N,Again\n",
         "places.csv:2: duplicate row: state,N is in a row above; remove one of the two; nothing is "
         "imported"},
        {"headend,H,H,,,,,x,0\n", "places.csv:1: leave out is 'x'; it must be a number from 0 on; nothing is imported"},
        {"headend,H,H,,,,,1,99999999999\n",
         "places.csv:1: rotate is '99999999999'; it must be a number from 0 on; nothing is imported"},
        {"state,N,\"North\n", "places.csv:1: a quoted field does not end on its line; nothing is imported"},
        {"serves,H,C\n", "places.csv:1: no row above names a headend 'H'; nothing is imported"},
        {"state,N,North\n", "places.csv has no headend row; nothing is imported"},
        {"", "places.csv has no headend row; nothing is imported"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(placesRefusal(under.store(), row.text), row.refusal) << row.text;
    }
    EXPECT_THAT(test::rows(under.store(), "SELECT id FROM headend ORDER BY place"),
                ElementsAre("H1", "H2", "H3", "H4"));
}

TEST(Lineup, DerivedLineupsOutlastASmallGuide)
{
    for (const int channels : {0, 1, 2, 3}) {
        test::TestStore db;
        test::importText(
            db.store, channels == 0 ? "<tv><programme channel='x' start='20261120180000'/></tv>" : listingOf(channels));
        const Store::Lease lease = db.store.lease();
        for (const char* headend : {"H1", "H2", "H3", "H4"}) {
            EXPECT_LE(lineup::lineupOf(*lease, headend).size(), std::max(channels, 1) + 0U) << channels;
        }
        lineup::quiz(*lease, "");
    }
}

}  // namespace
}  // namespace corvaned
