#include "Lineup.h"

#include <map>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "NewGuide.h"
#include "OperatorErrorOf.h"
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

// The reason why the import is refused; "" if it is accepted. The guide is unchanged in both cases.
std::string placesRefusal(GuideFile& store, const std::string& text)
{
    NewGuide made(store.path(), NewGuide::Begin::Whole, [](const std::string&) {});
    const sqlite::Transaction transaction(made.connection(), sqlite::Transaction::Kind::Write);
    return test::operatorErrorOf([&] { importPlaces(made.connection(), text, "places.csv"); });
}

PlacesReport keepPlaces(GuideFile& store, const std::string& text)
{
    NewGuide made(store.path(), NewGuide::Begin::Whole, [](const std::string&) {});
    sqlite::Transaction transaction(made.connection(), sqlite::Transaction::Kind::Write);
    const PlacesReport report = importPlaces(made.connection(), text, "places.csv");
    transaction.commit();
    made.place();
    store.refresh();
    return report;
}

class LineupTest : public ::testing::Test {
protected:
    LineupTest() { test::importListing(under.guide(), listingOf(9)); }

    // A viewer who answers the quiz by the line-up of the headend at home.
    std::set<std::string> headendsThatFit(const std::string& home, const Json& quiz)
    {
        std::map<std::string, std::string> onScreen;
        for (const lineup::Station& station : lineup::lineupOf(*under.guide().lease(), home)) {
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

TEST_F(LineupTest, PlacesAreMappedToTheirHeadends)
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

TEST_F(LineupTest, EqualLineUpsNeedNoQuiz)
{
    keepPlaces(under.guide(),
               "state,S,S\ncity,C,S,C\nheadend,A,A,,,,,0,0\nheadend,B,B,,,,,0,0\nserves,A,C\nserves,B,C\n");
    EXPECT_THAT(ann.get("channel/lineup_test", "headend=A").at("quiz"), IsEmpty());
    keepPlaces(under.guide(), "headend,A,A,,,,,0,0\n");
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

// H2 leaves out every third channel; with H3 each channel has the number of the one two places on.
TEST_F(LineupTest, TheHeadendDecidesTheChannels)
{
    const auto channelsOf = [this](const std::string& path, const std::string& headend) {
        std::vector<std::string> channels;
        const Json reply = ann.get(path, "interval=1&headend=" + headend);
        for (const Json& channel : reply.at("channel")) {
            channels.push_back(channel.at("number").get<std::string>() + " " + channel.at("name").get<std::string>());
        }
        return channels;
    };
    for (const char* const path : {"channel/gallery", "browse/guide"}) {
        for (const char* const whole : {"", "default", "H1"}) {
            EXPECT_THAT(channelsOf(path, whole),
                        ElementsAre("1 Channel 1", "2 Channel 2", "3 Channel 3", "4 Channel 4", "5 Channel 5",
                                    "6 Channel 6", "7 Channel 7", "8 Channel 8", "9 Channel 9"))
                << path << " " << whole;
        }
        EXPECT_THAT(channelsOf(path, "H2"), ElementsAre("1 Channel 1", "2 Channel 2", "4 Channel 4", "5 Channel 5",
                                                        "7 Channel 7", "8 Channel 8"))
            << path;
        EXPECT_THAT(channelsOf(path, "H3"),
                    ElementsAre("1 Channel 8", "2 Channel 9", "3 Channel 1", "4 Channel 2", "5 Channel 3",
                                "6 Channel 4", "7 Channel 5", "8 Channel 6", "9 Channel 7"))
            << path;
    }
    keepPlaces(under.guide(),
               "headend,own,Own,,,,,0,0\nchannel,own,5.10,c3\nchannel,own,5.2,c2\nchannel,own,12,c4\n"
               "channel,own,101,c9\nheadend,none,None,,,,,0,0\nchannel,none,1,unheard\n");
    EXPECT_THAT(channelsOf("channel/gallery", "own"),
                ElementsAre("5.2 Channel 2", "5.10 Channel 3", "12 Channel 4", "101 Channel 9"));
    EXPECT_THAT(channelsOf("channel/gallery", "none"), IsEmpty());
}

TEST_F(LineupTest, OnAirWithoutSourcesFollowsTheHeadend)
{
    test::importListing(under.guide(),
                        "<tv><channel id='a'><display-name>A</display-name></channel><channel id='b'><display-name>B"
                        "</display-name></channel><programme channel='a' start='20261120180000' stop='20261120190000'>"
                        "<title>Any</title></programme><programme channel='b' start='20261120180000' "
                        "stop='20261120190000'><title>Other</title></programme></tv>");
    keepPlaces(under.guide(), "headend,own,Own,,,,,0,0\nchannel,own,7,b\n");
    EXPECT_THAT(valuesOf(ann.get("channel/onair", "headend=default").at("channel"), "name"), ElementsAre("A", "B"));
    EXPECT_THAT(valuesOf(ann.get("channel/onair", "headend=own").at("channel"), "name"), ElementsAre("B"));
}

TEST_F(LineupTest, TheChecksumChangesWithTheHeadendAndItsChannels)
{
    const auto checksumOf = [this](const std::string& headend) {
        return ann.get("channel/gallery", "headend=" + headend).at("checksum").at("code").get<std::string>();
    };
    const std::string own = "headend,own,Own,,,,,0,0\nchannel,own,1,c1\n";
    keepPlaces(under.guide(), own + "headend,all,All,,,,,0,0\n");
    const std::string before = checksumOf("own");
    EXPECT_NE(before, checksumOf("default"));
    EXPECT_NE(before, checksumOf("all"));
    const Json same = ann.get("channel/gallery", "headend=own&checksum=" + before);
    EXPECT_EQ(same.at("checksum").at("stat"), "old");
    keepPlaces(under.guide(), own + "channel,own,2,c2\n");
    EXPECT_EQ(ann.get("channel/gallery", "headend=own&checksum=" + before).at("checksum").at("stat"), "new");
    // The number alone changed.
    keepPlaces(under.guide(), "headend,own,Own,,,,,0,0\nchannel,own,3,c1\n");
    EXPECT_EQ(ann.get("channel/gallery", "headend=own&checksum=" + before).at("checksum").at("stat"), "new");
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
    const PlacesReport report = keepPlaces(under.guide(),
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
    for (const lineup::Station& station : lineup::lineupOf(*under.guide().lease(), "our-1")) {
        lineup.push_back(station.number + " " + station.name);
    }
    EXPECT_THAT(lineup, ElementsAre("7 Channel 3", "101 Channel 2"));
    // The file has no apps, so the built-in ones stay.
    EXPECT_THAT(test::rows(under.guide(), "SELECT count(*) > 0 FROM app"), ElementsAre("1"));
    keepPlaces(under.guide(), "app,one,The One,fun,https://apps.example/one.png,3,4\n");
    EXPECT_THAT(test::rows(under.guide(), "SELECT id, image_width FROM app"), ElementsAre("one|3"));
    EXPECT_THAT(test::rows(under.guide(), "SELECT id FROM headend"), ElementsAre("our-1"));
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
        EXPECT_EQ(placesRefusal(under.guide(), row.text), row.refusal) << row.text;
    }
    EXPECT_THAT(test::rows(under.guide(), "SELECT id FROM headend ORDER BY place"),
                ElementsAre("H1", "H2", "H3", "H4"));
}

TEST(Lineup, DerivedLineupsOutlastASmallGuide)
{
    for (const int channels : {0, 1, 2, 3}) {
        test::TestStore db;
        test::importListing(
            db.guide, channels == 0 ? "<tv><programme channel='x' start='20261120180000'/></tv>" : listingOf(channels));
        const GuideFile::Lease lease = db.guide.lease();
        for (const char* headend : {"H1", "H2", "H3", "H4"}) {
            EXPECT_LE(lineup::lineupOf(*lease, headend).size(), std::max(channels, 1) + 0U) << channels;
        }
        lineup::quiz(*lease, "");
    }
}

}  // namespace
}  // namespace corvaned
