// Listings that attack by their size: huge strings, floods of elements, deep nesting, bombs. Each row states its
// outcome: refused with file and line and an unchanged guide, or imported with a warning for each loss. CORVANE_LONG=1
// uses the full sizes. DamagedListingTest.cpp has damaged listings and references to files, ListingTest.cpp common
// mistakes.
#include "HostileListing.h"

#include <cstdlib>
#include <fstream>

#include <fmt/format.h>

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::StartsWith;

const bool kLong = std::getenv("CORVANE_LONG") != nullptr;
const std::size_t kHuge = (kLong ? 100UL : 4UL) << 20;  // bytes

/// A listing of any size that is never in memory as a whole: pieces between a beginning and an end.
class PiecewiseSource final : public ByteSource {
public:
    /// @param piece  makes the piece of a number; pieces follow until `size` bytes are reached
    PiecewiseSource(std::string begin, std::function<std::string(std::size_t)> piece, std::size_t size, std::string end)
        : m_now(std::move(begin)), m_piece(std::move(piece)), m_size(size), m_end(std::move(end))
    {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        while (m_used == m_now.size() && !m_over) {
            m_used = 0;
            m_over = m_made >= m_size;
            m_now = m_over ? m_end : m_piece(m_number++);
            m_made += m_now.size();
        }
        const std::size_t count = m_now.copy(buffer, size, m_used);
        m_used += count;
        return count;
    }

private:
    std::string m_now;
    std::size_t m_used = 0;
    std::function<std::string(std::size_t)> m_piece;
    std::size_t m_number = 0;
    std::size_t m_made = 0;
    std::size_t m_size;
    std::string m_end;
    bool m_over = false;
};

std::function<std::string(std::size_t)> filler(const std::string& text)
{
    std::string block;
    while (block.size() < 60000) {
        block += text;
    }
    return [block](std::size_t) { return block; };
}

/// Pieces that differ by a number in the place of "{}".
std::function<std::string(std::size_t)> numbered(const char* form)
{
    return [form](std::size_t number) { return fmt::format(fmt::runtime(form), number); };
}

/// The most memory that the process has had since forgetPeak(), in KiB.
long peak()
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long kib = 0;
            status >> kib;
            return kib;
        }
    }
    return 0;
}

void forgetPeak()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

/// @param more  KiB of memory that an import took
void expectBounded(long more)
{
#if defined(__SANITIZE_ADDRESS__)
    static_cast<void>(more);  // sanitizers keep freed memory
#else
    EXPECT_LE(more, 24 << 10);
#endif
}

struct Flood {
    const char* what;
    std::string begin;
    std::function<std::string(std::size_t)> piece;
    std::string end;
    std::string refusal = {};
    std::vector<std::string> warnings = {};
    std::vector<std::string> titles = {"Good"};
};

std::vector<Flood> floods()
{
    const std::string programmeBegin = programme("").substr(0, programme("").find("</"));
    const std::string tag = "listing:2: a tag, comment or entity of more than 256 KiB; take it out of the listing";
    const std::string text = "listing:2: skipped: <title> has more than 64 KiB of text";
    const auto x = filler("x");
    return {
        {"title", programmeBegin + "<title>", x, "</title></programme>", "", {text}},
        {"title of references", programmeBegin + "<title>", filler("&#120;"), "</title></programme>", "", {text}},
        {"title of CDATA", programmeBegin + "<title>", filler("<![CDATA[x]]>"), "</title></programme>", "", {text}},
        {"lines in a title", programmeBegin + "<title>", filler("\n"), "</title></programme>", "", {text}},
        {"element that is not read", "<x>", x, "</x>"},
        {"text between programmes", "", x, ""},
        {"blanks between programmes", "", filler(" \t"), ""},
        {"comment", "<!--", x, "-->", tag},
        {"comments", "", filler("<!-- x -->"), ""},
        {"instruction", "<?x ", x, "?>", tag},
        {"start time", "<programme channel='c' start='", x, "'/>", tag},
        {"channel", "<programme start='20261120180000' channel='", x, "'/>", tag},
        {"attribute name", "<programme ", x, "=''/>", tag},
        {"element name", "<", x, "/>", tag},
        {"blanks in a start tag", "<x", filler(" "), "/>", tag},
        {"blanks in an end tag", "<x></x", filler(" "), ">", tag},
        {"zeros in a reference", "<x>&#", filler("0"), "65;</x>", tag},
        {"entity name", "<x>&", x, ";</x>", tag},
        {"attributes of one tag", "<x ", numbered("a{}='' "), "/>", tag},
        {"namespaces of one tag", "<x ", numbered("xmlns:a{}='u' "), "/>", tag},
        {"element names", "", numbered("<n{}/>"), "", "listing:2: more than 5000 names of elements and attributes"},
        {"attribute names", "", numbered("<x n{}=''/>"), "", "listing:2: more than 5000 names of elements"},
        {"levels", "", filler("<x>"), "", "listing:2: elements more than 100 deep; this is not an XMLTV listing"},
        {"channels", "", numbered("<channel id='{}'/>"), "", "listing: more than 100000 channels; import a part"},
        {"languages",
         programmeBegin,
         numbered("<title lang='{}'>T</title>"),
         "</programme>",
         "",
         {"listing:2: skipped: the programme is in more than 100 languages"}},
        {"categories",
         programmeBegin + "<title>Kept</title>",
         numbered("<category>{}</category>"),
         "</programme>",
         "",
         {},
         {"Kept", "Good"}},
        {"people",
         programmeBegin + "<title>Kept</title><credits>",
         numbered("<actor>{}</actor>"),
         "</credits></programme>",
         "",
         {},
         {"Kept", "Good"}},
        {"keywords",
         programmeBegin + "<title>Lost</title>",
         numbered("<keyword>{}</keyword>"),
         "</programme>",
         "",
         {"listing:2: skipped: more than 256 KiB of keywords, addresses and the like"}},
        {"roles",
         programmeBegin + "<title>Lost</title><credits>",
         filler("<actor role='" + std::string(9'000, 'r') + "'>A</actor>"),
         "</credits></programme>",
         "",
         {"listing:2: skipped: <credits> has more than 1024 KiB"}},
    };
}

TEST_F(HostileListing, AFloodOfAnythingIsRefusedOrCostsItsProgramme)
{
    long most = 0;
    for (const Flood& row : floods()) {
        SCOPED_TRACE(row.what);
        forgetPeak();
        const long before = peak();
        const ImportOutcome outcome = import([&] {
            return std::make_unique<PiecewiseSource>("<tv>\n" + row.begin, row.piece, kHuge,
                                                     row.end + kGood + "</tv>\n");
        });
        most = std::max(most, peak() - before);
        expect(outcome, row.refusal, row.warnings, row.titles);
    }
    fmt::print("figure: listings of {} MiB: {} KiB of memory more at most\n", kHuge >> 20, most);
    expectBounded(most);
}

TEST_F(HostileListing, AFloodAfterTheEndIsAcceptedIfItIsEmpty)
{
    const struct {
        const char* what;
        std::string begin;
        const char* filler;
        const char* end;
        const char* refusal;
    } rows[] = {
        {"blanks", "</tv>", " ", "", ""},
        {"lines", "</tv>", "\n", "", ""},
        {"a comment", "</tv><!--", "x", "-->", ""},
        {"comments", "</tv>", "<!-- x -->", "", ""},
        {"text", "</tv>", "x", "", "listing:2: not well-formed: Extra content at the end of the document"},
        {"another listing", "</tv><tv>", "<x/>", "</tv>", "listing:2: not well-formed: Extra content at the end"},
    };
    constexpr std::size_t kSize = 4UL << 20;  // of blanks in one piece the parser takes ten million
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        expect(import([&] {
                   return std::make_unique<PiecewiseSource>("<tv>\n" + kGood + row.begin, filler(row.filler), kSize,
                                                            row.end);
               }),
               row.refusal);
    }
}

TEST_F(HostileListing, CategoriesAndNumbersAreBounded)
{
    const auto category = [](std::size_t size) {
        return "<tv>\n" + programme("<title>T</title><category>" + std::string(size, 'x') + "</category>") + kGood +
               "</tv>";
    };
    expect(importListing(category(1024)), "", {}, {"T", "Good"});
    expect(importListing(category(1025)), "", {"listing:2: skipped: <category> has more than 1024 bytes"});
    const auto genres = [&](int count) {
        return import([count] {
            return std::make_unique<PiecewiseSource>(
                "<tv>\n" + kGood,
                [count](std::size_t number) {
                    std::string text;
                    for (std::size_t i = number * 100; i < std::min<std::size_t>(count, number * 100 + 100); ++i) {
                        text += fmt::format("<category>{}</category>", i);
                    }
                    return text.empty() ? std::string(1 << 20, ' ')
                                        : programme(fmt::format("<title>{}</title>", number) + text);
                },
                1 << 20, "</tv>");
        });
    };
    EXPECT_EQ(genres(20000).refusal, "");
    renew();
    expect(genres(20001), "listing: more than 20000 genres; import a part of the listing");

    const std::string number(32, '7');
    for (const std::string& digits : {number, number + "7"}) {
        importListing("<tv><channel id='c'><display-name>C</display-name><display-name>" + digits +
                      "</display-name></channel>" + kGood + "</tv>");
        EXPECT_THAT(test::rows(m_database->guide, "SELECT number, name FROM channel"),
                    ElementsAre((digits == number ? digits : "1") + "|C"));
        renew();
    }
}

TEST_F(HostileListing, MoreThanAThousandAttributesAreRefused)
{
    const auto withAttributes = [](int count) {
        std::string text = "<x";
        for (int i = 0; i < count; ++i) {
            text += fmt::format(" a{}=''", i);
        }
        return text + "/>";
    };
    expect(importListing("<tv>\n" + withAttributes(1000) + kGood + "</tv>"), "");
    expect(importListing("<tv>\n" + withAttributes(1001) + kGood + "</tv>"), "listing:2: a tag with 1001 attributes");
}

TEST_F(HostileListing, TenThousandLevelsAreRefused)
{
    const auto times = [](const char* text, int count) {
        std::string all;
        for (int i = 0; i < count; ++i) {
            all += text;
        }
        return all;
    };
    constexpr int kLevels = 10000;
    const std::string deep = times("<a>\n", kLevels) + times("</a>", kLevels);
    const struct {
        const char* what;
        std::string text;
        const char* refusal;
    } rows[] = {
        {"records", "<tv>" + deep + kGood + "</tv>", "listing:100: elements more than 100 deep"},
        {"fields", "<tv>" + programme(deep) + kGood + "</tv>", "listing:99: elements more than 100 deep"},
        {"roots", times("<tv>\n", kLevels), "listing:101: elements more than 100 deep"},
        {"a declaration",
         "<!DOCTYPE tv [<!ELEMENT tv " + times("(", kLevels) + "a" + times(")", kLevels) + ">]>\n<tv/>",
         "listing:1: not well-formed: "},
        {"sections", "<!DOCTYPE tv [" + times("<![INCLUDE[", kLevels) + times("]]>", kLevels) + "]>\n<tv/>",
         "listing:1: not well-formed: "},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        expect(importListing(row.text), row.refusal);
    }
}

TEST_F(HostileListing, EntityBombsAreNotExpanded)
{
    std::string entities = "<!ENTITY a0 'aaaaaaaaaa'><!ENTITY % p0 '<!-- x -->'>";
    for (int i = 1; i < 12; ++i) {
        entities += fmt::format("<!ENTITY a{} '", i);
        for (int n = 0; n < 10; ++n) {
            entities += fmt::format("&a{};", i - 1);
        }
        entities += fmt::format("'><!ENTITY % p{0} '&#37;p{1};&#37;p{1};&#37;p{1};&#37;p{1};'>", i, i - 1);
    }
    const std::string once = "<!ENTITY a '" + std::string(500000, 'a') + "'>";
    const std::string itself = "<!ENTITY a '&b;'><!ENTITY b '&a;'>";
    std::string often;
    for (int i = 0; i < 1000; ++i) {
        often += "&a;";
    }
    const auto listing = [](const std::string& declarations, const std::string& title) {
        return "<!DOCTYPE tv [" + declarations + "]>\n<tv>" + programme("<title>" + title + "</title>") + kGood +
               "</tv>";
    };
    forgetPeak();
    const long before = peak();
    expect(importListing(listing(entities, "&a11;")), "", {"listing:2: skipped: Entity 'a11' not defined"});
    expect(importListing(listing(entities + "%p11;", "T")), "listing:1: not well-formed: PEReference: %p11; not found");
    expect(importListing(listing(once, often)), "", {"listing:2: skipped: Entity 'a' not defined"});
    expect(importListing(listing(itself, "&a;")), "", {"listing:2: skipped: Entity 'a' not defined"});
    expect(importListing("<!DOCTYPE tv [" + entities + "<!ATTLIST x y CDATA '&a11;'>]>\n<tv><x/>" + kGood + "</tv>"),
           "");
    expectBounded(peak() - before);
}

TEST_F(HostileListing, RefusesMoreThanAGibibyteUnpacked)
{
    if (!kLong) {
        GTEST_SKIP() << "unpacks two gibibytes; Listing.CompressedBlanksAreCutOffAtTheLimit has a smaller limit";
    }
    const std::string blanks((32 << 20), ' ');
    for (const auto& pack : {test::gzipPacked, test::xzPacked}) {
        const std::string member = pack(blanks);
        std::string bomb = pack("<tv>");
        for (int i = 0; i < 33; ++i) {
            bomb += member;
        }
        forgetPeak();
        const long before = peak();
        expect(importListing(bomb), "listing: more than 1024 MiB after unpacking; split the listing");
        fmt::print("figure: a bomb of {} KiB: {} KiB of memory more\n", bomb.size() >> 10, peak() - before);
        expectBounded(peak() - before);
    }
}

TEST_F(HostileListing, RejectsListingsCompressedTwice)
{
    const std::string listing = "<tv>" + kGood + "</tv>";
    for (const std::string& packed :
         {test::gzipPacked(test::gzipPacked(listing)), test::xzPacked(test::xzPacked(listing)),
          test::gzipPacked(test::xzPacked(listing))}) {
        EXPECT_THAT(importListing(packed).refusal, StartsWith("listing:1: "));
    }
}

}  // namespace
}  // namespace corvaned
