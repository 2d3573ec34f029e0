// The guide by content, series, person, genre and words.
#include <gtest/gtest.h>

#include "Viewers.h"

namespace corvaned {
namespace {

using test::Json;
using test::Strings;
using test::valuesOf;

std::string programme(const std::string& channel, const std::string& start, const std::string& inner)
{
    return "<programme channel='" + channel + "' start='202611" + start + "00'>" + inner + "</programme>";
}

std::string episode(const std::string& number, const std::string& title)
{
    return "<title>Harbour</title><sub-title>" + title + "</sub-title><episode-num system='xmltv_ns'>" + number +
           "</episode-num><category>Drama series</category>";
}

class BrowseEndpoints : public ::testing::Test {
protected:
    void SetUp() override
    {
        const std::string people =
            "<credits><director>Dee Dow</director><actor role='Hero'>Ay Zed</actor><actor>Bo</actor>"
            "<presenter>Cy</presenter></credits>";
        test::importListing(
            m_under.guide(),
            "<tv><channel id='a'><display-name>One</display-name><display-name>11</display-name></channel>"
            "<channel id='b'><display-name>Two</display-name><display-name>12</display-name></channel>" +
                programme("a", "201200",
                          "<title lang='en'>The Café</title><title lang='de'>Das Haus</title>"
                          "<desc lang='en'>A quiet place.</desc><category>Movie</category>" +
                              people + "<date>1999</date><length units='minutes'>95</length>") +
                programme("b", "201800",
                          "<title lang='en'>The Café</title><title lang='de'>Das Haus</title>"
                          "<category>Movie</category><date>1999</date>") +
                programme("b", "211800",
                          "<title lang='en'>The Café</title><title lang='de'>Das Haus</title>"
                          "<category>Movie</category><date>1999</date>") +
                programme("a", "201400", episode("1.0.", "Return") + people) +
                programme("a", "201500", episode("0.1.", "Second")) +
                programme("a", "201600", episode("0.0.", "Pilot")) +
                programme("b", "211200", episode("0.0.", "Pilot")) +
                programme("a", "201700", "<title>Harbour</title><sub-title>Special</sub-title>") +
                programme("b", "201300", "<title>Town News</title><category>News</category>") + "</tv>");
    }

    std::string idOf(const std::string& words)
    {
        const Json found = m_viewer.get("search/epg_search?q=" + words)["content"];
        EXPECT_EQ(found.size(), 1U) << words;
        return found.empty() ? "" : found[0]["id"].get<std::string>();
    }

    Strings titles(const std::string& query)
    {
        return valuesOf(m_viewer.get("search/epg_search?q=" + query)["content"], "title");
    }

    test::ServiceUnderTest m_under{"2026-11-20T12:30:00Z", "+09:00"};
    test::Viewer m_viewer{m_under, "tv-1"};
};

TEST_F(BrowseEndpoints, ContentHasOneEntryPerChannelAndTime)
{
    const std::string id = idOf("café");
    Json content = m_viewer.get("browse/content/" + id + "?lang=en&headend=&device=N")["content"];
    EXPECT_EQ(content["title"], "The Café");
    EXPECT_EQ(content["year"], "1999");
    EXPECT_EQ(content["runtime"], "95");
    EXPECT_EQ(content["summary"], "A quiet place.");
    EXPECT_EQ(valuesOf(content["directors"], "name"), (Strings{"Dee Dow"}));
    EXPECT_EQ(valuesOf(content["castings"], "name"), (Strings{"Ay Zed", "Bo", "Cy"}));
    EXPECT_EQ(valuesOf(content["castings"], "role"), (Strings{"Hero", "", "presenter"}));
    EXPECT_EQ(valuesOf(content["channel"], "source"), (Strings{"1", "2"}));
    EXPECT_EQ(valuesOf(content["channel"][1]["schedule"], "starttime"),
              (Strings{"2026-11-20T18:00:00Z", "2026-11-21T18:00:00Z"}));
    content = m_viewer.get("browse/content/" + id + "?sourceid=2&starttime=2026-11-21T00:00:00Z")["content"];
    EXPECT_EQ(valuesOf(content["channel"], "source"), (Strings{"2"}));
    EXPECT_EQ(valuesOf(content["channel"][0]["schedule"], "starttime"), (Strings{"2026-11-21T18:00:00Z"}));
    EXPECT_EQ(m_viewer.get("browse/content/" + id + "?lang=de")["content"]["title"], "Das Haus");
    for (const char* unknown : {"1", "-1", "0", "x", "99999999999999999999", "%27"}) {
        EXPECT_EQ(m_viewer.refusal("GET", std::string("browse/content/") + unknown),
                  "104: the guide has no content of that id");
    }
}

TEST_F(BrowseEndpoints, EpisodesAreOrderedBySeasonWithoutRepeats)
{
    const std::string id = idOf("pilot");
    const Json series =
        m_viewer.get("browse/content/" + id + "/series?country=US&headend=&device=&sourceid=")["series"];
    EXPECT_EQ(series["title"], "Harbour");
    EXPECT_EQ(valuesOf(series["season"], "season_seq"), (Strings{"1", "2", "0"}));
    EXPECT_EQ(valuesOf(series["season"][0]["episode"], "title"), (Strings{"Pilot", "Second"}));
    EXPECT_EQ(valuesOf(series["season"][0]["episode"], "episode_seq"), (Strings{"1", "2"}));
    EXPECT_EQ(valuesOf(series["season"][1]["episode"], "title"), (Strings{"Return"}));
    EXPECT_EQ(valuesOf(series["season"][2]["episode"], "title"), (Strings{"Special"}));
    EXPECT_EQ(series["episode"], Json::array());
    EXPECT_EQ(series["season"][0]["episode"][0]["source"], "1");
    // The series has its own number, and the channel asked for shows the pilot, too.
    const Json again =
        m_viewer.get("browse/content/" + series["id"].get<std::string>() + "/series?sourceid=2")["series"];
    EXPECT_EQ(again["id"], series["id"]);
    EXPECT_EQ(again["season"][0]["episode"][0]["source"], "2");
    EXPECT_EQ(m_viewer.refusal("GET", "browse/content/" + idOf("café") + "/series?sourceid=1"),
              "104: the guide has no series or episode of that id");
}

TEST_F(BrowseEndpoints, ASeriesWithoutNumbersIsFlat)
{
    test::ServiceUnderTest under{"2026-11-20T12:30:00Z"};
    test::importListing(under.guide(),
                        "<tv>" + programme("a", "201000", "<title>Talk</title><sub-title>B</sub-title>") +
                            programme("a", "201100", "<title>Talk</title><sub-title>A</sub-title>") + "</tv>");
    test::Viewer viewer{under, "tv-1"};
    const std::string id = viewer.get("search/epg_search?q=talk")["content"][0]["id"];
    const Json series = viewer.get("browse/content/" + id + "/series?sourceid=")["series"];
    EXPECT_EQ(series["season"], Json::array());
    EXPECT_EQ(valuesOf(series["episode"], "title"), (Strings{"B", "A"}));
}

TEST_F(BrowseEndpoints, PeopleAreFoundByTheirIdInContents)
{
    const Json content = m_viewer.get("browse/content/" + idOf("café"))["content"];
    const std::string id = content["castings"][0]["id"];
    const Json person = m_viewer.get("browse/person/" + id + "?&lang=en")["person"];
    EXPECT_EQ(person["id"], id);
    EXPECT_EQ(person["name"], "Ay Zed");
    EXPECT_EQ(person["occupation"], "actor");
    EXPECT_EQ(person["like"], "0");
    EXPECT_EQ(person["content"].size(), 2U);
    m_viewer.put("user/like", "country=US&personid=" + id + "&type=like");
    EXPECT_EQ(m_viewer.get("browse/person/" + id)["person"]["like"], "1");
    EXPECT_EQ(m_viewer.refusal("GET", "browse/person/999"), "104: the guide has no person of that id");
}

TEST_F(BrowseEndpoints, ContentsAreListedByGenreAndTime)
{
    const Json genres = m_viewer.get("conf/genre")["genre"];
    std::map<std::string, std::string> byName;
    for (const Json& genre : genres) {
        byName[genre["name"]] = genre["id"];
    }
    const auto list = [&](const std::string& query) {
        return valuesOf(m_viewer.get("browse/content/list?" + query)["content"], "title");
    };
    EXPECT_EQ(list("genre=" + byName["Movie"]), (Strings{"The Café"}));
    EXPECT_EQ(list("genre=" + byName["Movie"] + "," + byName["News"]), (Strings{"The Café", "Town News"}));
    EXPECT_EQ(list("genre=999"), Strings());
    EXPECT_EQ(list("timestamp=2026-11-21T12:00:00Z"), (Strings{"Harbour", "The Café"}));
    EXPECT_EQ(list("num=2"), (Strings{"The Café", "Town News"}));
    EXPECT_EQ(list("start=1&num=1"), (Strings{"Town News"}));
    EXPECT_EQ(m_viewer.refusal("GET", "browse/content/list?genre=x").substr(0, 3), "101");
}

TEST_F(BrowseEndpoints, GenresAreSentWhenTheirChecksumDiffers)
{
    const Json reply = m_viewer.get("conf/genre");
    EXPECT_EQ(reply["checksum"]["stat"], "new");
    EXPECT_EQ(valuesOf(reply["genre"], "name"), (Strings{"Movie", "Drama series", "News"}));
    EXPECT_EQ(valuesOf(reply["genre"], "rep_id"), (Strings{"1", "2", "3"}));
    EXPECT_EQ(reply["rep_genre"][0], Json({{"rep_id", "1"}, {"name", "Movies"}}));
    const std::string code = reply["checksum"]["code"];
    EXPECT_EQ(m_viewer.get("conf/genre?checksum=" + code), Json({{"checksum", {{"stat", "old"}, {"code", code}}}}));
}

TEST_F(BrowseEndpoints, SearchFindsTitlesDescriptionsAndNames)
{
    EXPECT_EQ(titles("cafe"), (Strings{"The Café"})) << "accents and case do not count";
    EXPECT_EQ(titles("CAF"), (Strings{"The Café"})) << "the beginning of a word is enough";
    EXPECT_EQ(titles("haus"), (Strings{"The Café"})) << "every language counts";
    EXPECT_EQ(titles("quiet pla"), (Strings{"The Café"}));
    EXPECT_EQ(titles("pilot"), (Strings{"Harbour"}));
    EXPECT_EQ(titles("nothing"), Strings());
    EXPECT_EQ(titles("zed").size(), 2U);
    EXPECT_EQ(titles("zed return"), (Strings{"Harbour"})) << "every word has to be there";
    EXPECT_EQ(m_viewer.refusal("GET", "search/epg_search?q="), "100: parameter 'q' is missing");
}

TEST_F(BrowseEndpoints, AnExactSearchMatchesWholeWordsInTheirOrder)
{
    EXPECT_EQ(titles("quiet place&exact=yes"), (Strings{"The Café"}));
    EXPECT_EQ(titles("place quiet&exact=yes"), Strings());
    EXPECT_EQ(titles("quiet pla&exact=yes"), Strings());
    EXPECT_EQ(titles("quiet pla&exact=no"), (Strings{"The Café"}));
}

TEST_F(BrowseEndpoints, SearchResultsArePaged)
{
    const Json all = m_viewer.get("search/epg_search?q=harbour");
    EXPECT_EQ(all["total"], "4");
    EXPECT_EQ(all["content"].size(), 4U);
    const Json page = m_viewer.get("search/epg_search?q=harbour&start=1&num=2");
    EXPECT_EQ(page["total"], "4");
    EXPECT_EQ(page["start"], "1");
    EXPECT_EQ(page["content"], Json({all["content"][1], all["content"][2]}));
}

TEST_F(BrowseEndpoints, SearchTreatsOperatorsAsWords)
{
    for (const char* question :
         {"\"", "*", "NOT", "AND", "title:", "a OR", "(", "^", "{x}", "-", "'", "NEAR(a b)", "\"\"\"*"}) {
        EXPECT_EQ(titles(question), Strings()) << question;
        EXPECT_EQ(titles(std::string(question) + "&exact=yes"), Strings()) << question;
    }
}

TEST_F(BrowseEndpoints, AnImportReplacesSearchResults)
{
    test::importListing(m_under.guide(), "<tv>" + programme("a", "201200", "<title>Other</title>") + "</tv>");
    EXPECT_EQ(titles("harbour"), Strings());
    EXPECT_EQ(m_viewer.get("search/epg_search?q=harbour")["total"], "0");
    EXPECT_EQ(titles("other"), (Strings{"Other"}));
}

}  // namespace
}  // namespace corvaned
