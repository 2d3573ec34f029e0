// Exports a guide, imports the export into another database, and compares.
#include "Export.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Sample.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::rows;
using test::TestStore;
using ::testing::HasSubstr;

std::string exported(GuideFile& store)
{
    std::string listing;
    exportListing(*store.lease(), [&](std::string_view piece) { listing += piece; });
    return listing;
}

// The contents of the guide's tables, with names instead of the ids of sources and genres.
std::vector<std::string> guideOf(GuideFile& store)
{
    std::vector<std::string> all;
    const auto add = [&](std::string_view sql) {
        const std::vector<std::string> more = rows(store, sql);
        all.insert(all.end(), more.begin(), more.end());
    };
    add("SELECT listing_id, position, number, name, icon_url, icon_width, icon_height, details, is_number_listed "
        "FROM channel "
        "JOIN source ON source.id = source_id ORDER BY position");
    add("SELECT airing.id, listing_id, start, stop, clump, content_id, type, season, episode, year, runtime, "
        "image_url, "
        "image_width, image_height, translations, lang, title, ep_title, short_desc, series_id, rating FROM airing "
        "JOIN source ON source.id = source_id ORDER BY airing.id");
    add("SELECT * FROM translation ORDER BY airing_id, lang");
    add("SELECT airing_id, place, name FROM airing_genre JOIN genre ON genre.id = genre_id ORDER BY airing_id, place");
    add("SELECT content_id, place, job, role, name, details FROM credit JOIN person ON person.id = person_id ORDER BY "
        "1, 2");
    add("SELECT * FROM airing_details ORDER BY 1");
    return all;
}

void expectSameGuide(GuideFile& store, const std::string& what)
{
    TestStore copy;
    test::importListing(copy.guide, exported(store));
    const std::vector<std::string> guide = guideOf(store);
    ASSERT_FALSE(guide.empty()) << what;
    EXPECT_TRUE(guideOf(copy.guide) == guide) << what;
}

struct ExportRow {
    const char* what;
    const char* listing;
};

constexpr ExportRow kListings[] = {
    {"numbers of the listing and numbers given", R"(<tv>
        <channel id="late"><display-name>Late</display-name></channel>
        <channel id="ten"><display-name>Ten</display-name><lcn>10</lcn></channel>
        <channel id="two"><display-name>Two</display-name><lcn>02</lcn></channel>
        <channel id="later"><display-name>Later</display-name></channel>
        <channel id="sub"><display-name>5.10</display-name><display-name>Sub</display-name></channel>
        <channel id="sub2"><display-name>5.2</display-name><display-name>Sub 2</display-name></channel>
        <programme start="20261120180000" stop="20261120190000" channel="ten"><title>T</title></programme></tv>)"},
    {"several names, in languages, with numbers anywhere", R"(<tv>
        <channel id="a"><display-name>7</display-name><display-name lang="de">Eins</display-name>
          <display-name lang="en">One</display-name><display-name>8</display-name><url system="s">http://a/?b&amp;c</url>
          <icon src="http://i.example/1"/><icon src="/local.png" width="4"/><url>http://second</url></channel>
        <channel id="b"><display-name lang="en">360</display-name><display-name>24</display-name></channel>
        <channel id="77"><lcn>5</lcn></channel>
        <programme start="20261120180000" stop="20261120190000" channel="a"><title>T</title></programme></tv>)"},
    {"names of digits", R"(<tv>
        <channel id="77"/><channel id="x"><display-name>5</display-name></channel>
        <channel id="88"/>
        <programme start="20261120180000" stop="20261120190000" channel="88"><title>T</title></programme></tv>)"},
    {"a numbered channel after one without", R"(<tv>
        <channel id="55"/><channel id="y"><display-name>Y</display-name></channel>
        <programme start="20261120180000" stop="20261120190000" channel="y"><title>T</title></programme></tv>)"},
    {"several languages, markup, every field", R"(<tv>
        <channel id="a &amp; b"><display-name>A &lt;B&gt; "C"</display-name>
          <icon src="http://i.example/a?x=1&amp;y=2" width="3" height="4"/></channel>
        <programme start="20261120180000 +0100" stop="20261120183000 +0100" channel="a &amp; b">
          <title lang="de">Käse &amp; Wein</title><title lang="en">Cheese</title><title>ohne</title>
          <sub-title lang="en">One &lt; Two</sub-title><desc lang="de">"Lang"</desc><desc lang="en">Long</desc>
          <credits><director>D. D.</director><actor role="The &lt;One&gt;">A. A.</actor><actor>B.</actor></credits>
          <date>1974</date><category>Movie</category><category>Food</category><length units="hours">2</length>
          <icon src="https://i.example/p.jpg" width="5" height="6"/>
          <episode-num system="xmltv_ns">1 . 4/10 . 0/2</episode-num>
          <rating system="X"><value>12+</value></rating>
        </programme></tv>)"},
    {"all that has no field of the guide", R"(<tv>
        <programme start="20261120180000 +0100" stop="20261120183000 +0100" channel="c" showview="1&amp;2" videoplus="3"
            vps-start="20261120175900 +0100" pdc-start="20261120180100 +0100">
          <title>T</title><title>Second</title><sub-title lang="fr">Sans titre</sub-title><desc lang="fr">Seule</desc>
          <credits><guest>G</guest><actor guest="yes" role="R">A<image type="person">http://i.example/a</image></actor>
            <director>D<url>http://d</url></director><adapter>Ad</adapter><editor>Ed</editor></credits>
          <date>20250203</date><category lang="en">Drama</category><category lang="de">Drama</category>
          <keyword lang="en">sea</keyword><keyword>storm</keyword><language lang="en">French</language>
          <orig-language>Latin</orig-language><length units="seconds">90</length>
          <icon src="http://i.example/1"/><icon src="http://i.example/2" width="1" height="2"/>
          <url>http://p/?a&amp;b</url><country lang="en">France</country>
          <episode-num system="xmltv_ns">1 . 4/10 . 0/2</episode-num><episode-num>S9E9</episode-num>
          <episode-num system="xmltv_ns">2.2.</episode-num><episode-num system="other">x &lt; y</episode-num>
          <video><present>yes</present><colour>no</colour><aspect>16:9</aspect><quality>HDTV</quality></video>
          <audio><present>yes</present><stereo>stereo</stereo></audio>
          <previously-shown start="20200101" channel="d"/><premiere lang="en">First</premiere><last-chance/><new/>
          <subtitles type="teletext"><language>English</language></subtitles><subtitles/>
          <rating system="A"><value>12</value><icon src="/12.png"/></rating><rating><value>PG</value></rating>
          <star-rating system="B"><value>4 / 5</value></star-rating>
          <review type="text" source="S" reviewer="R" lang="en">Good.</review>
          <image type="backdrop" size="2" orient="L" system="x">http://i.example/3</image>
          <image type="poster">http://i.example/4</image></programme></tv>)"},
    {"plain ratings and numbers beside others", R"(<tv>
        <programme start="20261120180000" stop="20261120190000" channel="c"><title>-</title>
          <episode-num system="xmltv_ns">1.2.</episode-num><episode-num system="xmltv_ns">3.4.</episode-num>
          <rating><value>1</value></rating><rating system="B"><value>2</value></rating>
          <image type="still">http://i.example/3</image></programme>
        <programme start="20261120190000" stop="20261120200000" channel="c"><title>T</title>
          <episode-num system="xmltv_ns">..</episode-num><episode-num>s2e3</episode-num></programme></tv>)"},
    {"content ids from the listing, part seasons", R"(<tv>
        <programme start="20261120180000" stop="20261120190000" channel="c"><title>S</title>
          <episode-num system="dd_progid">EP0001.0002</episode-num></programme>
        <programme start="20261120190000" stop="20261120200000" channel="c"><title>S</title>
          <episode-num system="xmltv_ns">.3.</episode-num></programme>
        <programme start="20261120200000" stop="20261120210000" channel="c"><title>S</title>
          <episode-num system="xmltv_ns">2..</episode-num></programme></tv>)"},
    {"one slot, several programmes; no stop; no title", R"(<tv>
        <programme start="20261120180000" stop="20261120190000" channel="c" clumpidx="1/2"><title>B</title></programme>
        <programme start="20261120180000" stop="20261120190000" channel="c" clumpidx="0/2"><title>A</title></programme>
        <programme start="20261120190000" channel="c"><title>open</title></programme>
        <programme start="20261120193000" channel="c"><desc>nothing else</desc></programme></tv>)"},
};

TEST(Export, AnExportGivesTheSameGuideWhenImported)
{
    for (const ExportRow& row : kListings) {
        TestStore store;
        test::importListing(store.guide, row.listing);
        expectSameGuide(store.guide, row.what);
    }
    TestStore sample;
    test::importSampleInto(sample.guide, 1795219200, Zone::named("+09:00"));
    expectSameGuide(sample.guide, "the sample");
}

// Each of these lines of the listing is one of the export, too, and none is there twice.
TEST(Export, KeepsElementsWithoutAColumn)
{
    TestStore store;
    test::importListing(store.guide, std::find_if(std::begin(kListings), std::end(kListings), [](const ExportRow& row) {
                                         return std::string(row.what) == "all that has no field of the guide";
                                     })->listing);
    const std::string listing = exported(store.guide);
    std::size_t at = listing.find("<programme");
    EXPECT_NE(listing.find(R"(<programme start="20261120170000 +0000" stop="20261120173000 +0000" )"
                           R"(pdc-start="20261120170100 +0000" vps-start="20261120165900 +0000" )"
                           R"(showview="1&amp;2" videoplus="3" channel="c">)"),
              std::string::npos)
        << listing;
    for (const char* const line : {
             "<title>T</title>",
             "<title>Second</title>",
             R"(<sub-title lang="fr">Sans titre</sub-title>)",
             R"(<desc lang="fr">Seule</desc>)",
             "<credits>",
             "<director>D<url>http://d</url></director>",
             R"(<actor role="R" guest="yes">A<image type="person">http://i.example/a</image></actor>)",
             "<adapter>Ad</adapter>",
             "<editor>Ed</editor>",
             "<guest>G</guest>",
             "</credits>",
             "<date>20250203</date>",
             R"(<category lang="en">Drama</category>)",
             R"(<category lang="de">Drama</category>)",
             R"(<keyword lang="en">sea</keyword>)",
             "<keyword>storm</keyword>",
             R"(<language lang="en">French</language>)",
             "<orig-language>Latin</orig-language>",
             R"(<length units="seconds">90</length>)",
             R"(<icon src="http://i.example/1"/>)",
             R"(<icon src="http://i.example/2" width="1" height="2"/>)",
             "<url>http://p/?a&amp;b</url>",
             R"(<country lang="en">France</country>)",
             R"(<episode-num system="xmltv_ns">1 . 4/10 . 0/2</episode-num>)",
             "<episode-num>S9E9</episode-num>",
             R"(<episode-num system="xmltv_ns">2.2.</episode-num>)",
             R"(<episode-num system="other">x &lt; y</episode-num>)",
             "<video><present>yes</present><colour>no</colour><aspect>16:9</aspect><quality>HDTV</quality></video>",
             "<audio><present>yes</present><stereo>stereo</stereo></audio>",
             R"(<previously-shown start="20200101" channel="d"/>)",
             R"(<premiere lang="en">First</premiere>)",
             "<last-chance/>",
             "<new/>",
             R"(<subtitles type="teletext"><language>English</language></subtitles>)",
             "<subtitles/>",
             R"(<rating system="A"><value>12</value><icon src="/12.png"/></rating>)",
             "<rating><value>PG</value></rating>",
             R"(<star-rating system="B"><value>4 / 5</value></star-rating>)",
             R"(<review type="text" source="S" reviewer="R" lang="en">Good.</review>)",
             R"(<image type="backdrop" size="2" orient="L" system="x">http://i.example/3</image>)",
             R"(<image type="poster">http://i.example/4</image>)",
         }) {
        const std::size_t found = listing.find(line, at);
        ASSERT_NE(found, std::string::npos) << line << " is missing or in another place:\n" << listing;
        EXPECT_EQ(listing.find(line, found + 1), std::string::npos) << line << " is there twice:\n" << listing;
        at = found;
    }
}

TEST(Export, LeavesOutWhatTheDocumentTypeDoesNotAllow)
{
    TestStore store;
    test::importListing(store.guide, R"(<tv><programme start="20261120180000" stop="20261120190000" channel="c">
        <title new="1">T</title><review>no type</review><subtitles type="laser"/><image size="9">http://i.example/1</image>
        <video><sharpness>very</sharpness></video><star-rating><icon src="x"/></star-rating><icon/><keyword/>
        <language>A</language><language>B</language><surprise>S</surprise></programme></tv>)");
    const std::string listing = exported(store.guide);
    EXPECT_THAT(listing, HasSubstr("    <title>T</title>\n    <language>A</language>\n    <episode-num "));
    EXPECT_THAT(listing,
                HasSubstr("</episode-num>\n    <subtitles/>\n    <image>http://i.example/1</image>\n  </prog"));
}

TEST(Export, ExportsOfRealListingsGiveTheSameGuide)
{
    const std::string folder = test::sharedListings();
    if (folder.empty()) {
        GTEST_SKIP() << "no folder of real listings; set CORVANE_TEST_DATA";
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder + "/large")) {
        TestStore store;
        const std::string path = entry.path();
        test::importListings(store.guide, {{path, [path] { return openFile(path); }}}, {});
        expectSameGuide(store.guide, path);
    }
}

}  // namespace
}  // namespace corvaned
