#include "Listing.h"

#include <cerrno>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "OperatorError.h"
#include "OperatorErrorOf.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::collect;
using test::Collected;
using test::refusalOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string programmeWith(const std::string& inner, const std::string& attributes = "")
{
    return "<programme start=\"20261120180000\" channel=\"c\" " + attributes + ">" + inner + "</programme>";
}

std::string listingOf(const std::string& inner)
{
    return "<?xml version=\"1.0\"?>\n<tv>" + inner + "</tv>";
}

std::vector<std::string> titlesOf(const Collected& collected)
{
    std::vector<std::string> titles;
    for (const ListingProgramme& programme : collected.programmes) {
        titles.push_back(programme.strings.front().title);
    }
    return titles;
}

struct DisplayNameRow {
    const char* children;
    const char* name;
    const char* number;
};

TEST(Listing, ANumericDisplayNameIsANumberOnlyIfThereIsAlsoAName)
{
    const DisplayNameRow rows[] = {
        {"<display-name>360</display-name>", "360", ""},
        {"<display-name>24</display-name><icon src='http://i.example/24'/>", "24", ""},
        {"<display-name>5.1</display-name><display-name>KXYZ</display-name>", "KXYZ", "5.1"},
        {"<display-name>KXYZ</display-name><display-name>5-1</display-name>", "KXYZ", "5-1"},
        {"<display-name>7</display-name><display-name>North</display-name><display-name>8</display-name>", "North",
         "7"},
        {"<display-name>360</display-name><display-name>24</display-name>", "360", "24"},
        {"<display-name>5.</display-name><display-name>6</display-name>", "5.", "6"},
        {"<display-name>1.2.3</display-name>", "1.2.3", ""},
        {"<display-name>360</display-name><lcn>7</lcn>", "360", "7"},
        {"<display-name>North</display-name><display-name>8</display-name><lcn>7</lcn>", "North", "7"},
        {"<lcn>7</lcn>", "c", "7"},
        {"", "c", ""},
    };
    for (const DisplayNameRow& row : rows) {
        const Collected collected = collect(listingOf("<channel id='c'>" + std::string(row.children) + "</channel>"));
        ASSERT_EQ(collected.channels.size(), 1U) << row.children;
        EXPECT_EQ(collected.channels[0].name, row.name) << row.children;
        EXPECT_EQ(collected.channels[0].number, row.number) << row.children;
    }
}

TEST(Listing, ChannelsAreRead)
{
    const Collected collected = collect(test::testData("evening.xml"));
    ASSERT_EQ(collected.channels.size(), 2U);
    EXPECT_EQ(collected.channels[0].id, "north.example");
    EXPECT_EQ(collected.channels[0].name, "North");
    EXPECT_EQ(collected.channels[0].number, "7");
    EXPECT_EQ(collected.channels[0].icon.url, "https://images.example/north.png");
    EXPECT_EQ(collected.channels[0].icon.width, 128);
    EXPECT_EQ(collected.channels[0].icon.height, 72);
    EXPECT_EQ(collected.channels[1].name, "South & Sons");
    EXPECT_EQ(collected.channels[1].number, "");
    EXPECT_EQ(collected.channels[1].icon.url, "");
}

TEST(Listing, ProgrammesAreRead)
{
    const Collected collected = collect(test::testData("evening.xml"));
    ASSERT_EQ(collected.programmes.size(), 4U);
    const ListingProgramme& ferry = collected.programmes[0];
    EXPECT_EQ(ferry.channel, "north.example");
    EXPECT_EQ(formatUtc(ferry.start), "2026-11-20T18:00:00Z");
    EXPECT_EQ(ferry.stop, ferry.start + 3600);
    ASSERT_EQ(ferry.strings.size(), 2U);
    EXPECT_EQ(ferry.strings[0].lang, "en");
    EXPECT_EQ(ferry.strings[0].title, "The Ferry");
    EXPECT_EQ(ferry.strings[0].episodeTitle, "Low Tide");
    EXPECT_EQ(ferry.strings[0].description, "Two lines, one paragraph.");
    EXPECT_EQ(ferry.strings[1].lang, "de");
    EXPECT_EQ(ferry.strings[1].title, "Die Fähre");
    EXPECT_THAT(ferry.genres, ElementsAre("Drama", "Series"));
    EXPECT_EQ(ferry.type, "series");
    EXPECT_EQ(ferry.season, 2);
    EXPECT_EQ(ferry.episode, 5);
    EXPECT_EQ(ferry.year, 2025);
    EXPECT_EQ(ferry.runtime, 52);
    EXPECT_EQ(ferry.image.url, "https://images.example/ferry.png");
    EXPECT_EQ(ferry.image.height, 450);

    const ListingProgramme& film = collected.programmes[1];
    EXPECT_EQ(film.stop, std::nullopt);
    EXPECT_EQ(film.type, "movie");
    EXPECT_EQ(film.runtime, 120);
    EXPECT_EQ(film.image.url, "https://images.example/poster.jpg");

    const ListingProgramme& untitled = collected.programmes[2];
    EXPECT_EQ(untitled.strings.front().title, "Only a second title");
    EXPECT_EQ(untitled.strings.front().episodeTitle, "");
    EXPECT_EQ(untitled.image.url, "");
    EXPECT_EQ(formatUtc(collected.programmes[3].start), "2026-11-20T19:00:00Z");
    EXPECT_THAT(collected.skipped, IsEmpty());
}

TEST(Listing, ReadsEpisodeNumbersOfEachSystem)
{
    const struct {
        const char* element;
        int season;
        int episode;
    } rows[] = {
        {R"(<episode-num system="xmltv_ns">0.0.</episode-num>)", 1, 1},
        {R"(<episode-num system="xmltv_ns">.4.</episode-num>)", 0, 5},
        {R"(<episode-num system="xmltv_ns"> 2/3 . 11/12 . 0/2 </episode-num>)", 3, 12},
        {R"(<episode-num system="xmltv_ns">-1.5</episode-num>)", 0, 6},
        {R"(<episode-num system="xmltv_ns"></episode-num>)", 0, 0},
        {R"(<episode-num system="xmltv_ns">99999999999.1</episode-num>)", 1, 2},
        {R"(<episode-num system="onscreen">S03E07</episode-num>)", 3, 7},
        {R"(<episode-num>s3e7</episode-num>)", 3, 7},
        {R"(<episode-num system="onscreen">Episode 7</episode-num>)", 0, 0},
        {R"(<episode-num system="onscreen">se</episode-num>)", 0, 0},
        {R"(<episode-num system="imdb.com">title/tt1s1e1</episode-num>)", 0, 0},
    };
    for (const auto& row : rows) {
        const Collected collected = collect(listingOf(programmeWith(std::string("<title>T</title>") + row.element)));
        ASSERT_EQ(collected.programmes.size(), 1U) << row.element;
        EXPECT_EQ(collected.programmes[0].season, row.season) << row.element;
        EXPECT_EQ(collected.programmes[0].episode, row.episode) << row.element;
    }
}

TEST(Listing, AStopNotAfterTheStartCountsAsMissing)
{
    for (const char* stop : {"20261120180000", "20261120170000"}) {
        const Collected collected =
            collect(listingOf(programmeWith("<title>T</title>", std::string("stop=\"") + stop + "\"")));
        ASSERT_EQ(collected.programmes.size(), 1U);
        EXPECT_EQ(collected.programmes[0].stop, std::nullopt) << stop;
    }
}

TEST(Listing, BrokenRecordsAreSkippedWithTheirLine)
{
    const Collected collected = collect(
        "<tv>\n"
        "<channel><display-name>No id</display-name></channel>\n"
        "<programme start='20261120180000'><title>A</title></programme>\n"
        "<programme channel='c'><title>B</title></programme>\n"
        "<programme channel='c' start='soon'><title>C</title></programme>\n"
        "<programme channel='c' start='20261120180000' stop='later'><title>D</title></programme>\n"
        "<programme channel='c' start='20261120180000 XYZ'><title>E</title></programme>\n"
        "<programme channel='c'\n start='20261120180000'>\n<title>" +
        std::string(70000, 'x') +
        "</title></programme>\n"
        "<programme channel='c' start='20261120180000'><title>Good</title></programme>\n"
        "<advert channel='c'><title>Not a record</title></advert>\n"
        "</tv>");
    EXPECT_THAT(
        collected.skipped,
        ElementsAre("2: the channel has no id", "3: the programme names no channel", "4: the programme has no start",
                    "5: start 'soon' is not a time of the form YYYYMMDDhhmmss",
                    "6: stop 'later' is not a time of the form YYYYMMDDhhmmss",
                    "7: start '20261120180000 XYZ' names an unknown zone", "9: <title> has more than 64 KiB of text"));
    EXPECT_THAT(titlesOf(collected), ElementsAre("Good"));
}

TEST(Listing, ReadsDeclaredEncodings)
{
    const struct {
        const char* encoding;
        std::string title;
    } rows[] = {
        {"ISO-8859-1", "Caf\xe9"},
        {"ISO-8859-15", "Caf\xe9"},
        {"windows-1252", "Caf\xe9"},
        {"UTF-8", "Caf\xc3\xa9"},
    };
    for (const auto& row : rows) {
        const Collected collected = collect(std::string("<?xml version='1.0' encoding='") + row.encoding + "'?><tv>" +
                                            programmeWith("<title>" + row.title + "</title>") + "</tv>");
        EXPECT_THAT(titlesOf(collected), ElementsAre("Café")) << row.encoding;
    }
    EXPECT_THAT(titlesOf(collect("\xef\xbb\xbf" + listingOf(programmeWith("<title>T</title>")).substr(22))),
                ElementsAre("T"));
    EXPECT_THAT(refusalOf("<?xml version='1.0' encoding='no-such'?><tv/>"), HasSubstr("not well-formed"));
}

TEST(Listing, HtmlEntitiesNeedNoDeclaration)
{
    const std::string programme =
        programmeWith("<title>Quoi&nbsp;: l&rsquo;&eacute;t&eacute; &amp; &lt;3 &#233;&#xe9;</title>");
    for (const char* doctype : {"", "<!DOCTYPE tv SYSTEM \"http://127.0.0.1:9/xmltv.dtd\">"}) {
        const Collected collected =
            collect(std::string("<?xml version='1.0'?>") + doctype + "<tv>" + programme + "</tv>");
        EXPECT_THAT(titlesOf(collected), ElementsAre("Quoi\u00a0: l\u2019été & <3 éé")) << doctype;
    }
}

TEST(Listing, AnErrorCostsOnlyItsProgramme)
{
    const struct {
        const char* slip;
        const char* reason;
    } rows[] = {
        {"<title>Salt & Vinegar</title>", "a bare '&'; it must be written &amp;"},
        {"<title>Q&A</title>", "a '&' that does not begin an entity; it must be written &amp;"},
        {"<title>&unheard;</title>", "Entity 'unheard' not defined"},
        {"<title>a &#1; b</title>", "xmlParseCharRef: invalid xmlChar value 1"},
        {"<title>a \x01 b</title>", "PCDATA invalid Char value 1"},
        {"<title>a\xffz</title>", "Input is not proper UTF-8, indicate encoding ! Bytes: 0xFF 0x7A 0x3C 0x2F"},
        {"<title>T</title><icon src='http://x/?a=1&b=2'/>",
         "a '&' that does not begin an entity; it must be written &amp;"},
        {"<title>T</title><unheard-of>&</unheard-of>", "a bare '&'; it must be written &amp;"},
    };
    for (const auto& row : rows) {
        for (const char* doctype : {"", "<!DOCTYPE tv SYSTEM 'xmltv.dtd'>"}) {
            const Collected collected = collect(
                std::string(doctype) + "<tv><channel id='c'><display-name>A &amp; B</display-name></channel>\n" +
                programmeWith("<title>Before &amp; well</title>") + "\n" + programmeWith(row.slip) + "\n" +
                programmeWith("<title>After &amp; &lt;wéll&gt;</title>", "clumpidx='1&amp;/2'") + "</tv>");
            EXPECT_THAT(titlesOf(collected), ElementsAre("Before & well", "After & <wéll>")) << row.slip << doctype;
            EXPECT_THAT(collected.skipped, ElementsAre(std::string("3: ") + row.reason)) << row.slip << doctype;
        }
    }
}

TEST(Listing, HtmlEntitiesInAttributesAreRead)
{
    const Collected collected = collect(
        "<tv xmlns:x='&amp;&nbsp;'>" +
        programmeWith("<title lang='a&eacute;&amp;&lt;'>A &lt; B</title>", "x:y='&rsquo;' clumpidx='1&#47;2'") +
        "<!-- &amp; --><channel id='Caf&eacute; &amp; Bar' x='&quot;' xmlns:z='&lt;'>&nbsp;<display-name>&lt;&gt;"
        "</display-name></channel></tv>");
    EXPECT_THAT(collected.skipped, ElementsAre());
    ASSERT_EQ(collected.programmes.size(), 1U);
    EXPECT_EQ(collected.programmes[0].strings[0].lang, "aé&<");
    EXPECT_EQ(collected.programmes[0].strings[0].title, "A < B");
    ASSERT_EQ(collected.channels.size(), 1U);
    EXPECT_EQ(collected.channels[0].id, "Café & Bar");
    EXPECT_EQ(collected.channels[0].name, "<>");
}

// The parser's errors do not tell text from tags, so an error between two records looks like one in a tag.
TEST(Listing, AnErrorBetweenRecordsCostsAtMostTheNextRecord)
{
    for (const char* slip : {"&", "&unheard;", "<!-- caf\xe9 -->"}) {
        const auto between = [&](const std::string& after) {
            return collect("<tv source-info-name='A & B'>" + programmeWith("<title>Before</title>") + slip + after +
                           programmeWith("<title>Next</title>") + programmeWith("<title>After</title>") + "</tv>");
        };
        EXPECT_THAT(titlesOf(between("")), ElementsAre("Before", "After")) << slip;
        EXPECT_THAT(titlesOf(between("\n")), ElementsAre("Before", "Next", "After")) << slip;
    }
}

TEST(Listing, FindsEveryStringThatIsNotUtf8)
{
    const Collected collected = collect(
        listingOf(programmeWith("<title>a\xe9z</title>") + "\n" + programmeWith("<title>caf\u00e9</title>") + "\n" +
                  programmeWith("<title>b\xe9z</title>") + "\n" + programmeWith("<title>T</title>", "x='\xe9'") + "\n" +
                  programmeWith("<title>c\xe9z</title>") + programmeWith("<title>na\u00efve</title>")));
    EXPECT_THAT(titlesOf(collected), ElementsAre("caf\u00e9", "na\u00efve"));
    EXPECT_EQ(collected.skipped.size(), 4U);
}

TEST(Listing, AnErrorInAStartTagCostsOnlyThatRecord)
{
    const Collected collected = collect(
        "<tv><channel id='Tea & Cake'><display-name>x</display-name></channel>\n"
        "<channel id='Tea &amp; Toast'><display-name>Tea &amp; Toast</display-name></channel>\n"
        "<programme start='20261120180000' channel='Tea & Cake'><title>Lost</title></programme>\n"
        "<programme start='20261120180000' channel='Tea &amp; Toast'><title>Kept</title></programme>\n"
        "stray & text\n"
        "<programme start='20261120190000' channel='Tea &amp; Toast'><title>Kept too</title></programme></tv>");
    ASSERT_EQ(collected.channels.size(), 1U);
    EXPECT_EQ(collected.channels[0].id, "Tea & Toast");
    EXPECT_THAT(titlesOf(collected), ElementsAre("Kept", "Kept too"));
    EXPECT_EQ(collected.programmes[0].channel, "Tea & Toast");
    EXPECT_EQ(collected.skipped.size(), 2U);
}

TEST(Listing, ReportsTheLineThatIsNotWellFormed)
{
    const struct {
        const char* text;
        const char* message;
    } rows[] = {
        {"", "listing:1: not well-formed: Document is empty"},
        {"no xml", "listing:1: not well-formed: Start tag expected, '<' not found"},
        {"<tv>\n<channel id='c'>", "listing:2: not well-formed: "},
        {"<tv>\n<programme start='20261120180000' channel='c'>\n<title>T</programme></tv>",
         "listing:3: not well-formed: Opening and ending tag mismatch: title line 3 and programme"},
        {"<tv>\n</tv>\n<tv/>", "listing:3: not well-formed: Extra content at the end of the document"},
        {"<tv>\n<title>a < b</title></tv>", "listing:2: not well-formed: "},
        {"<tv>\n<channel id='a' id='b'/></tv>", "listing:2: not well-formed: "},
        {"<html>\n</html>", "listing:1: the document is <html>, not <tv>; this is not an XMLTV listing"},
        {"<tv>\n<!-- a \x01 comment --></tv>", "listing:2: not well-formed: "},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(refusalOf(row.text), HasSubstr(row.message)) << row.text;
    }
    std::string deep;
    for (int i = 0; i < 5000; ++i) {
        deep += "<a>";
    }
    EXPECT_EQ(refusalOf("<tv>" + deep), "listing:1: elements more than 100 deep; this is not an XMLTV listing");
}

TEST(Listing, RecognizesCompressedListingsByTheirFirstBytes)
{
    const std::string plain = test::testData("evening.xml");
    const std::string half = plain.substr(0, plain.size() / 2);
    for (const std::string& packed : {test::gzipPacked(plain), test::xzPacked(plain),
                                      test::gzipPacked(half) + test::gzipPacked(plain.substr(half.size())),
                                      test::xzPacked(half) + test::xzPacked(plain.substr(half.size()))}) {
        EXPECT_EQ(collect(packed).programmes.size(), 4U);
    }
}

TEST(Listing, DamagedCompressionIsRefused)
{
    const std::string plain = test::testData("evening.xml");
    const std::string gzip = test::gzipPacked(plain);
    const std::string xz = test::xzPacked(plain);
    EXPECT_EQ(refusalOf(gzip.substr(0, gzip.size() / 2)), "listing: the gzip data is cut off; download the file again");
    EXPECT_EQ(refusalOf(xz.substr(0, xz.size() / 2)), "listing: the xz data is cut off; download the file again");
    EXPECT_THAT(refusalOf(gzip.substr(0, 2)), HasSubstr("listing: the gzip data is cut off"));
    EXPECT_THAT(refusalOf(gzip.substr(0, 20) + std::string(50, '\xff')),
                HasSubstr("listing: the gzip data is damaged"));
    EXPECT_THAT(refusalOf(xz.substr(0, 30) + std::string(50, '\xff')),
                HasSubstr("listing: the xz data cannot be unpacked"));
}

TEST(Listing, CompressedBlanksAreCutOffAtTheLimit)
{
    constexpr std::uint64_t kLimit = 4 << 20;
    const std::string bomb = test::gzipPacked("<tv>" + std::string(5 << 20, ' ') + "</tv>");
    Collected collected;
    EXPECT_EQ(test::operatorErrorOf([&] { readListing(*openMemory(bomb, "bomb"), "bomb", collected, kLimit); }),
              "bomb: more than 4 MiB after unpacking; split the listing");
}

TEST(Listing, DeclarationsBeforeTheListingAreBounded)
{
    EXPECT_THAT(refusalOf("<!DOCTYPE tv [<!-- " + std::string(2 << 20, 'x') + "-->]><tv/>"),
                HasSubstr("no <tv> in the first 1024 KiB"));
}

TEST(Listing, EntitiesThatExpandWithoutEndCostTheirProgrammeOnly)
{
    std::string doctype = "<!DOCTYPE tv [<!ENTITY a0 'aaaaaaaaaa'>";
    for (int i = 1; i < 12; ++i) {
        doctype += "<!ENTITY a" + std::to_string(i) + " '";
        for (int n = 0; n < 10; ++n) {
            doctype += "&a" + std::to_string(i - 1) + ";";
        }
        doctype += "'>";
    }
    const Collected collected = collect(doctype + "]><tv>" + programmeWith("<title>&a11;</title>") +
                                        programmeWith("<title>T</title>") + "</tv>");
    EXPECT_THAT(titlesOf(collected), ElementsAre("T"));
    EXPECT_THAT(collected.skipped, ElementsAre("1: Entity 'a11' not defined"));
}

TEST(Listing, ExternalEntitiesAreNeverOpened)
{
    // A pipe without a writer: opening it for reading would block.
    TemporaryDatabase folder;
    const std::string pipe = folder.path() + ".pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 5), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));

    const Collected collected =
        collect("<!DOCTYPE tv SYSTEM '" + url + "/xmltv.dtd' [<!ENTITY file SYSTEM 'file://" + pipe +
                "'><!ENTITY net SYSTEM '" + url + "/entity'><!ENTITY % more SYSTEM '" + url + "/more'> %more;]><tv>" +
                programmeWith("<title>a&file;b</title>") + programmeWith("<title>a&net;b</title>") +
                programmeWith("<title>T</title>") + "</tv>");
    EXPECT_THAT(titlesOf(collected), ElementsAre("T"));
    EXPECT_EQ(collected.skipped.size(), 2U);
    EXPECT_EQ(accept(listener, nullptr, nullptr), -1) << "the listing's address was contacted";
    EXPECT_EQ(errno, EAGAIN);
    close(listener);
}

TEST(Listing, PassesOnExceptionsOfTheSink)
{
    struct Full : Collected {
        void addProgramme(const ListingProgramme&) override { throw std::runtime_error("disk full"); }
    };
    Full full;
    const std::string text = listingOf(programmeWith("<title>T</title>") + programmeWith("<title>U</title>"));
    EXPECT_THROW(readListing(*openMemory(text, "listing"), "listing", full), std::runtime_error);
}

TEST(Listing, ReportsUnreadableFiles)
{
    TemporaryDatabase folder;
    EXPECT_THROW(openFile(folder.path() + "-missing"), OperatorError);
    EXPECT_THROW(openFile("/tmp"), OperatorError);
    test::writeFile(folder.path() + ".xml", test::testData("evening.xml"));
    Collected collected;
    readListing(*openFile(folder.path() + ".xml"), "file", collected);
    EXPECT_EQ(collected.programmes.size(), 4U);
}

}  // namespace
}  // namespace corvaned
