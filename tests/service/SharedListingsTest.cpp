// Real listings, which were not made for these tests. They are in a folder beside the repository; without it the tests
// are skipped with a message.
#include <algorithm>
#include <filesystem>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "OperatorError.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::HasSubstr;

struct SharedListing {
    const char* file;
    std::int64_t channels;    // declared
    std::int64_t programmes;  // usable, including repeated ones
    std::int64_t skipped;
    std::int64_t repeated;
    const char* refusal;  // part of the message; null if the listing is imported
};

constexpr SharedListing kListings[] = {
    {"encodings/de-en-iso-8859-15.xml", 2, 87, 0, 0, nullptr},
    {"encodings/multilanguage-utf-16le-bom.xml", 1, 2, 0, 0, nullptr},
    {"encodings/ru-windows-1251.xml.gz", 14, 516, 0, 0, nullptr},
    {"features/caribbean-4-languages.xml", 1, 318, 0, 0, nullptr},
    {"features/chile.xml", 5, 294, 0, 0, nullptr},
    {"features/de-en-2015.xml", 2, 87, 0, 0, nullptr},
    {"features/ektotv-channel-only.xml", 0, 0, 0, 0,
     "the listings contain channels but no programmes; the guide is unchanged"},
    {"features/ektotv-comments.xml", 1, 1, 0, 0, nullptr},
    {"features/ektotv-example.xml", 2, 5, 0, 0, nullptr},
    {"features/emptycategory.xml", 0, 1, 0, 0, nullptr},
    {"features/epg-parser-basic.xml", 2, 2, 0, 0, nullptr},
    {"features/estonia-no-lang.xml", 3, 332, 0, 0, nullptr},
    {"features/etag-base.xml", 0, 1, 0, 0, nullptr},
    {"features/etag-description-change.xml", 0, 1, 0, 0, nullptr},
    {"features/etag-icon-change.xml", 0, 1, 0, 0, nullptr},
    {"features/etag-reordered.xml", 0, 1, 0, 0, nullptr},
    {"features/etag-title-change.xml", 0, 1, 0, 0, nullptr},
    {"features/etag-unknown-field.xml", 0, 1, 0, 0, nullptr},
    {"features/jellyfin-custom.xml", 1, 1, 0, 0, nullptr},
    {"features/jellyfin-schedulesdirect.xml", 2, 2, 0, 0, nullptr},
    {"features/multilanguage.xml", 1, 2, 0, 0, nullptr},
    {"features/norway-natgeo-2019.xml", 0, 24, 0, 0, nullptr},
    {"features/norway-nick-2021.xml", 0, 63, 0, 0, nullptr},
    {"features/norway-one-programme.xml", 0, 1, 0, 0, nullptr},
    {"features/norway-spring-forward-2021-utc.xml", 0, 32, 0, 0, nullptr},
    {"features/norway-spring-forward-2021.xml", 0, 31, 0, 0, nullptr},
    {"features/notitle.xml", 0, 1, 0, 0, nullptr},
    {"features/nz-all-elements.xml", 1, 2, 0, 0, nullptr},
    {"features/russia-iptvx.xml.gz", 1, 230, 0, 0, nullptr},
    {"features/webeweb-full.xml", 1, 1, 0, 0, nullptr},
    {"large/fr-2014-02.xml.gz", 21, 4767, 0, 0, nullptr},
    {"large/ie-2025-10-22-afternoon.xml.gz", 9, 2161, 0, 246, nullptr},
    {"large/ie-2025-10-22-morning.xml.gz", 9, 2139, 0, 119, nullptr},
    {"large/mixed-1day-2021-03.xml.gz", 98, 2691, 0, 0, nullptr},
    {"large/nz-2021-01.xml.gz", 85, 12636, 0, 0, nullptr},
    {"large/ru-2021-03-yandex.xml.gz", 14, 516, 0, 0, nullptr},
    {"large/tr-2024-12.xml.gz", 144, 4525, 0, 0, nullptr},
    {"large/uk-2023-04.xml.gz", 159, 13119, 0, 2055, nullptr},
    {"malformed/broken-unclosed-title.xml", 0, 0, 0, 0,
     "9: not well-formed: Opening and ending tag mismatch: title line 8 and programme"},
    {"malformed/fr-2021-03-raw-ampersand.xml.gz", 272, 9175, 30, 0, nullptr},
    {"malformed/not-xmltv-at-all.xml", 0, 0, 0, 0,
     "2: the document is <ProgramGuide>, not <tv>; this is not an XMLTV listing"},
    {"malformed/order-violates-dtd.xml", 1, 1, 0, 0, nullptr},
    {"malformed/zero-bytes.xml", 0, 0, 0, 0, "1: not well-formed: Document is empty"},
    {"xmltv-project/accents.xml", 0, 13, 0, 12, nullptr},
    {"xmltv-project/amp.xml", 0, 2, 0, 0, nullptr},
    {"xmltv-project/attrs.xml", 0, 1, 0, 0, nullptr},
    {"xmltv-project/augment-bbc-8days.xml", 1, 99, 0, 0, nullptr},
    {"xmltv-project/cast-image-url.xml", 0, 1, 0, 0, nullptr},
    {"xmltv-project/clump.xml", 0, 2, 0, 0, nullptr},
    {"xmltv-project/dups.xml", 0, 7, 0, 3, nullptr},
    {"xmltv-project/empty.xml", 0, 0, 0, 0,
     "the listings contain neither channels nor programmes; the guide is unchanged"},
    {"xmltv-project/intervals.xml", 0, 6, 0, 0, nullptr},
    {"xmltv-project/length.xml", 0, 1, 0, 0, nullptr},
    {"xmltv-project/overlap.xml", 0, 14, 0, 0, nullptr},
    {"xmltv-project/ratings.xml", 0, 4, 0, 0, nullptr},
    {"xmltv-project/simple.xml", 0, 2, 0, 0, nullptr},
    {"xmltv-project/sort.xml", 0, 4, 0, 0, nullptr},
    {"xmltv-project/test.xml", 2, 1, 0, 0, nullptr},
    {"xmltv-project/test_empty.xml", 0, 1, 0, 0, nullptr},
    {"xmltv-project/test_livre.xml", 0, 1, 0, 0, nullptr},
    {"xmltv-project/utf8.xml", 0, 2, 0, 0, nullptr},
};

TEST(SharedListings, EachFileIsImportedOrRefusedAsAWhole)
{
    const std::string folder = test::sharedListings();
    if (folder.empty()) {
        GTEST_SKIP() << "the folder of real listings is absent; set CORVANE_TEST_DATA";
    }
    std::set<std::string> pinned;
    for (const SharedListing& row : kListings) {
        pinned.insert(row.file);
        const std::string path = folder + "/" + row.file;
        test::TestStore db;
        try {
            const ImportReport report = test::importListings(db.guide, {{path, [path] { return openFile(path); }}}, {});
            EXPECT_EQ(row.refusal, nullptr) << row.file;
            EXPECT_EQ(report.listings[0].channels, row.channels) << row.file;
            EXPECT_EQ(report.listings[0].programmes, row.programmes) << row.file;
            EXPECT_EQ(report.listings[0].skipped, row.skipped) << row.file;
            EXPECT_EQ(report.listings[0].repeated, row.repeated) << row.file;
            EXPECT_EQ(test::rows(db.guide, "SELECT count(*) FROM airing").at(0),
                      std::to_string(row.programmes - row.repeated))
                << row.file;
            EXPECT_EQ(test::rows(db.guide, "SELECT count(*) FROM airing WHERE stop <= start").at(0), "0") << row.file;
        } catch (const OperatorError& error) {
            ASSERT_NE(row.refusal, nullptr) << row.file << ": " << error.what();
            EXPECT_THAT(error.what(), HasSubstr(row.refusal)) << row.file;
            EXPECT_EQ(test::rows(db.guide, "SELECT count(*) FROM channel").at(0), "0") << row.file;
        }
    }
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        const std::string file = std::filesystem::relative(entry.path(), folder).string();
        if (file.find(".xml") != std::string::npos) {
            EXPECT_EQ(pinned.count(file), 1U) << file << " is not pinned";
        }
    }
}

class SharedListingsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = test::sharedListings();
        if (m_folder.empty()) {
            GTEST_SKIP() << "the folder of real listings is absent; set CORVANE_TEST_DATA";
        }
    }

    std::vector<std::string> imported(const std::string& file, std::string_view sql)
    {
        const std::string path = m_folder + "/" + file;
        test::importListings(m_db.guide, {{path, [path] { return openFile(path); }}}, {});
        return test::rows(m_db.guide, sql);
    }

    std::string m_folder;
    test::TestStore m_db;
};

TEST_F(SharedListingsTest, EncodingsGiveTheSameStrings)
{
    constexpr std::string_view kAirings =
        "SELECT source_id, start, stop, title, ep_title, short_desc FROM airing ORDER BY 1, 2, 4";
    EXPECT_EQ(imported("encodings/ru-windows-1251.xml.gz", kAirings),
              imported("large/ru-2021-03-yandex.xml.gz", kAirings));
    EXPECT_EQ(imported("encodings/de-en-iso-8859-15.xml", kAirings), imported("features/de-en-2015.xml", kAirings));
    EXPECT_EQ(imported("encodings/multilanguage-utf-16le-bom.xml", kAirings),
              imported("features/multilanguage.xml", kAirings));
}

TEST_F(SharedListingsTest, TheHourThatSummerTimeSkipsIsNotAGap)
{
    // The listing has the first of these with +0100 and the others with +0200.
    const std::vector<std::string> starts = imported("features/norway-spring-forward-2021.xml",
                                                     "SELECT datetime(start, 'unixepoch') FROM airing ORDER BY start");
    ASSERT_GT(starts.size(), 4U);
    EXPECT_EQ(starts[0], "2021-03-28 00:40:00");
    EXPECT_EQ(starts[1], "2021-03-28 01:30:00");
    EXPECT_EQ(starts[2], "2021-03-28 01:35:00");
    EXPECT_EQ(starts[3], "2021-03-28 02:15:00");
}

TEST_F(SharedListingsTest, ALaterBuildOfASourceReplacesTheEarlier)
{
    imported("large/ie-2025-10-22-morning.xml.gz", "SELECT 1 LIMIT 0");
    const std::vector<std::string> sources = test::rows(m_db.guide, "SELECT * FROM source ORDER BY id");
    const std::vector<std::string> later =
        imported("large/ie-2025-10-22-afternoon.xml.gz", "SELECT count(*) FROM airing");
    EXPECT_EQ(later.at(0), "1915");
    EXPECT_EQ(test::rows(m_db.guide, "SELECT * FROM source ORDER BY id"), sources);
}

}  // namespace
}  // namespace corvaned
