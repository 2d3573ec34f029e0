// The tools of the XMLTV project, from Debian's xmltv-util, accept exports of real listings, and their output is the
// same guide.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "Export.h"
#include "OperatorError.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

constexpr const char* kTools = "/usr/bin/";
constexpr const char* kDocumentType = "/usr/share/xmltv/xmltv.dtd";

support::ProcessResult tool(const std::string& name, std::vector<std::string> arguments)
{
    return support::runProcess({kTools + name, std::move(arguments), {}}, "", std::chrono::seconds(300));
}

// The guide without its order, and so without the channel numbers that follow from the order because the listing has
// none.
std::vector<std::string> guideOf(GuideFile& store)
{
    std::vector<std::string> all = test::rows(store,
                                              "SELECT listing_id, CASE WHEN is_number_listed THEN number END, name, "
                                              "icon_url, icon_width, icon_height FROM channel "
                                              "JOIN source ON source.id = source_id ORDER BY listing_id");
    const auto add = [&](std::string_view sql) {
        const std::vector<std::string> more = test::rows(store, sql);
        all.insert(all.end(), more.begin(), more.end());
    };
    add("SELECT listing_id, start, stop, clump, content_id, type, season, episode, year, runtime, image_url, "
        "image_width, image_height, translations, lang, title, ep_title, short_desc, series_id, rating FROM airing "
        "JOIN source ON source.id = source_id ORDER BY listing_id, start, content_id");
    add("SELECT listing_id, start, content_id, translation.lang, translation.title, translation.ep_title, "
        "translation.short_desc FROM translation JOIN airing ON airing.id = airing_id "
        "JOIN source ON source.id = source_id ORDER BY 1, 2, 3, 4");
    add("SELECT listing_id, start, content_id, place, genre.name FROM airing_genre JOIN airing ON airing.id = "
        "airing_id "
        "JOIN genre ON genre.id = genre_id JOIN source ON source.id = source_id ORDER BY 1, 2, 3, 4");
    add("SELECT content_id, place, job, role, name FROM credit JOIN person ON person.id = person_id ORDER BY 1, 2");
    return all;
}

// Complaints that are about the listing and not about the form: the tool wants channel ids like domain names, and
// programmes for every channel.
bool isOfTheListing(const std::string& complaint)
{
    for (const char* const part : {"Invalid channel-id '", "No programme entries found for ", " found."}) {
        if (complaint.find(part) != std::string::npos) {
            return true;
        }
    }
    return complaint.empty();
}

// Whether the complaint is about a number in the listing itself, which exports keep.
bool isOfANumberIn(const std::string& listing, const std::string& complaint)
{
    constexpr std::string_view kComplaint = "Invalid episode-number '";
    const std::size_t begin = complaint.find(kComplaint);
    if (begin == std::string::npos) {
        return false;
    }
    const std::size_t number = begin + kComplaint.size();
    return listing.find(">" + complaint.substr(number, complaint.rfind('\'') - number) + "</episode-num>") !=
           std::string::npos;
}

// Whether the complaint, of three lines, is about a replacement character that the listing itself encodes twice.
bool isOfAnEncodingIn(const std::string& listing, const std::string& complaint)
{
    constexpr std::string_view kEncodedTwice = "\xC3\xAF\xC2\xBF\xC2\xBD";
    const bool isComplaint = complaint == "file contains misencoded characters" ||
                             complaint.compare(0, 10, "look here ") == 0 ||
                             complaint.find_first_not_of(" ^") == std::string::npos;
    return isComplaint && listing.find(kEncodedTwice) != std::string::npos;
}

std::string contentOf(const std::string& path)
{
    const std::unique_ptr<ByteSource> source = openFile(path);
    std::string content;
    char piece[1 << 16];
    while (const std::size_t count = source->read(piece, sizeof piece)) {
        content.append(piece, count);
    }
    return content;
}

std::size_t countOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; ++at) {
        ++count;
    }
    return count;
}

class XmltvTools : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = test::sharedListings();
        if (m_folder.empty()) {
            GTEST_SKIP() << "the folder of real listings is absent; set CORVANE_TEST_DATA";
        }
        if (!std::filesystem::exists(std::string(kTools) + "tv_sort")) {
            GTEST_SKIP() << "tv_sort is absent; install xmltv-util";
        }
    }

    // Files of all listings that can be imported.
    void forEachListing(
        const std::function<void(const std::string& listing, GuideFile& store, const std::string& exported)>& test)
    {
        int count = 0;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_folder)) {
            const std::string path = entry.path();
            if (path.find(".xml") == std::string::npos) {
                continue;
            }
            test::TestStore db;
            try {
                test::importListings(db.guide, {{path, [path] { return openFile(path); }}}, {});
            } catch (const OperatorError&) {
                continue;  // SharedListingsTest.cpp lists them
            }
            SCOPED_TRACE(path);
            const std::string exported = db.file.path() + ".xml";
            std::string listing;
            exportListing(*db.guide.lease(), [&](std::string_view piece) { listing += piece; });
            test::writeFile(exported, listing);
            test(path, db.guide, exported);
            ++count;
        }
        EXPECT_GT(count, 40);
    }

    std::string m_folder;
};

TEST_F(XmltvTools, AcceptExports)
{
    forEachListing([](const std::string& path, GuideFile&, const std::string& exported) {
        const std::string listing = contentOf(path);
        const support::ProcessResult result = tool("tv_validate_file", {"--dtd-file", kDocumentType, exported});
        std::istringstream lines(result.output + result.errors);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(isOfTheListing(line) || isOfANumberIn(listing, line) || isOfAnEncodingIn(listing, line) ||
                        line == "Validated ok.")
                << line;
        }
        EXPECT_NE(result.output + result.errors, "");
    });
}

TEST_F(XmltvTools, SortedExportsAreTheSameGuide)
{
    forEachListing([](const std::string&, GuideFile& store, const std::string& exported) {
        const std::string sorted = exported + ".sorted";
        const support::ProcessResult result = tool("tv_sort", {"--output", sorted, exported});
        ASSERT_EQ(result.exitCode, 0) << result.errors;
        test::TestStore copy;
        test::importListings(copy.guide, {{sorted, [sorted] { return openFile(sorted); }}}, {});
        EXPECT_TRUE(guideOf(copy.guide) == guideOf(store));
    });
}

TEST_F(XmltvTools, FindTheProgrammesOfAChannel)
{
    forEachListing([](const std::string&, GuideFile& store, const std::string& exported) {
        const std::vector<std::string> busiest =
            test::rows(store,
                       "SELECT listing_id, count(*) FROM airing JOIN source ON source.id = source_id GROUP BY 1 "
                       "ORDER BY 2 DESC LIMIT 1");
        const std::size_t bar = busiest.at(0).rfind('|');
        const support::ProcessResult result = tool("tv_grep", {"--channel-id", busiest[0].substr(0, bar), exported});
        EXPECT_EQ(result.exitCode, 0) << result.errors;
        EXPECT_EQ(std::to_string(countOf(result.output, "<programme ")), busiest[0].substr(bar + 1)) << busiest[0];
    });
}

}  // namespace
}  // namespace corvaned
