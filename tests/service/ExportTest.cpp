// Exports a guide, imports the export into another database, and compares.
#include "Export.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Sample.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::rows;
using test::TestStore;

std::string exported(Store& store)
{
    const TemporaryDatabase folder;
    const std::string path = folder.path() + ".xml";
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    exportListing(*store.lease(), file);
    EXPECT_EQ(std::fclose(file), 0);
    return test::readFile(path);
}

// The contents of the guide's tables, with names instead of the ids of sources and genres.
std::vector<std::string> guideOf(Store& store)
{
    std::vector<std::string> all;
    const auto add = [&](std::string_view sql) {
        const std::vector<std::string> more = rows(store, sql);
        all.insert(all.end(), more.begin(), more.end());
    };
    add("SELECT listing_id, position, number, name, icon_url, icon_width, icon_height FROM channel "
        "JOIN source ON source.id = source_id ORDER BY position");
    add("SELECT airing.id, listing_id, start, stop, clump, content_id, type, season, episode, year, runtime, "
        "image_url, "
        "image_width, image_height, translations, lang, title, ep_title, short_desc, series_id, rating FROM airing "
        "JOIN source ON source.id = source_id ORDER BY airing.id");
    add("SELECT * FROM translation ORDER BY airing_id, lang");
    add("SELECT airing_id, place, name FROM airing_genre JOIN genre ON genre.id = genre_id ORDER BY airing_id, place");
    add("SELECT content_id, place, job, role, name FROM credit JOIN person ON person.id = person_id ORDER BY 1, 2");
    return all;
}

void expectSameGuide(Store& store, const std::string& what)
{
    TestStore copy;
    test::importText(copy.store, exported(store));
    const std::vector<std::string> guide = guideOf(store);
    ASSERT_FALSE(guide.empty()) << what;
    EXPECT_TRUE(guideOf(copy.store) == guide) << what;
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
        <channel id="later"><display-name>Later</display-name></channel></tv>)"},
    {"names of digits", R"(<tv>
        <channel id="77"/><channel id="x"><display-name>5</display-name></channel>
        <channel id="88"/></tv>)"},
    {"a numbered channel after one without", R"(<tv>
        <channel id="55"/><channel id="y"><display-name>Y</display-name></channel></tv>)"},
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

TEST(Export, ImportedAgainGivesTheSameGuide)
{
    for (const ExportRow& row : kListings) {
        TestStore store;
        test::importText(store.store, row.listing);
        expectSameGuide(store.store, row.what);
    }
    TestStore sample;
    importSample(sample.store, 1795219200, Zone::named("+09:00"));
    expectSameGuide(sample.store, "the sample");
}

TEST(Export, OfRealListingsGivesTheSameGuide)
{
    const std::string folder = test::sharedListings();
    if (folder.empty()) {
        GTEST_SKIP() << "no folder of real listings; set CORVANE_TEST_DATA";
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder + "/large")) {
        TestStore store;
        const std::string path = entry.path();
        importGuide(store.store, {{path, [path] { return openFile(path); }}}, {});
        expectSameGuide(store.store, path);
    }
}

}  // namespace
}  // namespace corvaned
