// Listings made to do harm: huge pieces, too many of anything, bombs, damage at every byte, texts that point outside.
// Each row states its outcome: refused with a message of file and line, the guide as it was, or taken, with a warning
// where something was lost. CORVANE_LONG=1 makes the huge ones huge. ListingTest.cpp has the usual slips.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>

#include "OperatorError.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::StartsWith;

const bool kLong = std::getenv("CORVANE_LONG") != nullptr;
const std::size_t kHuge = (kLong ? 100UL : 4UL) << 20;  // bytes

std::string programme(const std::string& inner, const std::string& start = "20261120180000")
{
    return "<programme start='" + start + "' channel='c'>" + inner + "</programme>";
}

const std::string kGood = programme("<title>Good</title>", "20261120190000");

/// A text of any size that is never in memory as a whole: pieces between a beginning and an end.
class PiecewiseSource final : public ByteSource {
public:
    /// @param piece  the text of a number; pieces follow until `size` bytes are reached
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
    static_cast<void>(more);  // what is freed is held back there
#else
    EXPECT_LE(more, 24 << 10);
#endif
}

/// What an import came to.
struct Outcome {
    std::string refusal;  // "" where it was taken
    std::vector<std::string> warnings;
    std::vector<std::string> titles;
    bool asBefore = false;
};

/// Imports into a database that holds the guide of one programme, "Old".
class HostileListing : public ::testing::Test {
protected:
    HostileListing() { renew(); }

    /// The guide of "Old" again, and nothing of what was imported meanwhile.
    void renew()
    {
        m_database = std::make_unique<test::TestStore>();
        test::importText(m_database->store, "<tv>" + programme("<title>Old</title>") + "</tv>");
        m_before = test::wholeGuide(m_database->store);
    }

    Outcome import(const std::function<std::unique_ptr<ByteSource>()>& open)
    {
        Outcome outcome;
        ImportOptions options;
        options.warn = [&](const std::string& line) { outcome.warnings.push_back(line); };
        try {
            importGuide(m_database->store, {{"listing", open}}, options);
        } catch (const OperatorError& error) {
            outcome.refusal = error.what();
        }
        outcome.titles = test::rows(m_database->store, "SELECT title FROM airing ORDER BY start");
        outcome.asBefore = test::wholeGuide(m_database->store) == m_before;
        return outcome;
    }

    Outcome importText(const std::string& text)
    {
        return import([&] { return openMemory(text, "listing"); });
    }

    /// Expects a refusal with that message and the guide as it was; or, where the message is empty, a guide of exactly
    /// these titles and these warnings.
    void expect(const Outcome& outcome, const std::string& refusal, const std::vector<std::string>& warnings = {},
                const std::vector<std::string>& titles = {"Good"})
    {
        EXPECT_THAT(outcome.refusal, refusal.empty() ? testing::Matcher<std::string>("") : StartsWith(refusal));
        EXPECT_THAT(outcome.warnings, ElementsAreArray(warnings));
        EXPECT_EQ(outcome.asBefore, !refusal.empty());
        if (refusal.empty()) {
            EXPECT_THAT(outcome.titles, ElementsAreArray(titles));
            renew();
        }
    }

    std::unique_ptr<test::TestStore> m_database;
    std::string m_before;
};

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
    const std::string tag = "listing:2: a tag or entity of more than 256 KiB; this is no XMLTV listing";
    const std::string text = "listing:2: skipped: <title> holds more than 64 KiB of text";
    const auto x = filler("x");
    return {
        {"title", programmeBegin + "<title>", x, "</title></programme>", "", {text}},
        {"title of references", programmeBegin + "<title>", filler("&#120;"), "</title></programme>", "", {text}},
        {"title of CDATA", programmeBegin + "<title>", filler("<![CDATA[x]]>"), "</title></programme>", "", {text}},
        {"lines in a title", programmeBegin + "<title>", filler("\n"), "</title></programme>", "", {text}},
        {"element that is not read", "<x>", x, "</x>"},
        {"text between programmes", "", x, ""},
        {"blanks between programmes", "", filler(" \t"), ""},
        {"comment", "<!--", x, "-->"},
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
        {"levels", "", filler("<x>"), "", "listing:2: elements more than 100 deep; this is no XMLTV listing"},
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
    };
}

TEST_F(HostileListing, AFloodOfAnythingIsRefusedOrCostsItsProgramme)
{
    long most = 0;
    for (const Flood& row : floods()) {
        SCOPED_TRACE(row.what);
        forgetPeak();
        const long before = peak();
        const Outcome outcome = import([&] {
            return std::make_unique<PiecewiseSource>("<tv>\n" + row.begin, row.piece, kHuge,
                                                     row.end + kGood + "</tv>\n");
        });
        most = std::max(most, peak() - before);
        expect(outcome, row.refusal, row.warnings, row.titles);
    }
    fmt::print("figure: listings of {} MiB: {} KiB of memory more at most\n", kHuge >> 20, most);
    expectBounded(most);
}

TEST_F(HostileListing, AFloodBehindTheEndIsTakenWhereItIsNothing)
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

TEST_F(HostileListing, NamesThatAreNoneAreNotKeptInMemory)
{
    const auto category = [](std::size_t size) {
        return "<tv>\n" + programme("<title>T</title><category>" + std::string(size, 'x') + "</category>") + kGood +
               "</tv>";
    };
    expect(importText(category(1024)), "", {}, {"T", "Good"});
    expect(importText(category(1025)), "", {"listing:2: skipped: <category> holds more than 1024 bytes"});
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
        importText("<tv><channel id='c'><display-name>" + digits + "</display-name></channel>" + kGood + "</tv>");
        EXPECT_THAT(test::rows(m_database->store, "SELECT number, name FROM channel"),
                    ElementsAre((digits == number ? digits : "1") + "|" + digits));
        renew();
    }
}

TEST_F(HostileListing, AThousandAttributesAreTheMost)
{
    const auto withAttributes = [](int count) {
        std::string text = "<x";
        for (int i = 0; i < count; ++i) {
            text += fmt::format(" a{}=''", i);
        }
        return text + "/>";
    };
    expect(importText("<tv>\n" + withAttributes(1000) + kGood + "</tv>"), "");
    expect(importText("<tv>\n" + withAttributes(1001) + kGood + "</tv>"), "listing:2: a tag with 1001 attributes");
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
        expect(importText(row.text), row.refusal);
    }
}

TEST_F(HostileListing, BombsDoNotGoOff)
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
    expect(importText(listing(entities, "&a11;")), "", {"listing:2: skipped: Entity 'a11' not defined"});
    expect(importText(listing(entities + "%p11;", "T")), "listing:1: not well-formed: PEReference: %p11; not found");
    expect(importText(listing(once, often)), "", {"listing:2: skipped: Entity 'a' not defined"});
    expect(importText(listing(itself, "&a;")), "", {"listing:2: skipped: Entity 'a' not defined"});
    expect(importText("<!DOCTYPE tv [" + entities + "<!ATTLIST x y CDATA '&a11;'>]>\n<tv><x/>" + kGood + "</tv>"), "");
    expectBounded(peak() - before);
}

TEST_F(HostileListing, APackedBombIsCutOffAtAGibibyte)
{
    if (!kLong) {
        GTEST_SKIP() << "unpacks two gibibytes; Listing.ABombOfCompressedBlanksIsCutOff has a smaller limit";
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
        expect(importText(bomb), "listing: more than 1024 MiB after unpacking; split the listing");
        fmt::print("figure: a bomb of {} KiB: {} KiB of memory more\n", bomb.size() >> 10, peak() - before);
        expectBounded(peak() - before);
    }
}

TEST_F(HostileListing, PackedTwiceIsNoListing)
{
    const std::string listing = "<tv>" + kGood + "</tv>";
    for (const std::string& packed :
         {test::gzipPacked(test::gzipPacked(listing)), test::xzPacked(test::xzPacked(listing)),
          test::gzipPacked(test::xzPacked(listing))}) {
        EXPECT_THAT(importText(packed).refusal, StartsWith("listing:1: "));
    }
}

TEST_F(HostileListing, ControlCharactersCostTheProgrammeOrTheListing)
{
    const std::string nul = "listing:2: a NUL character, which no text holds: the file is damaged; fetch it again";
    for (int code = 0; code < 0x20; ++code) {
        if (code == '\t' || code == '\n' || code == '\r') {
            continue;
        }
        SCOPED_TRACE(code);
        const std::string c(1, static_cast<char>(code));
        const auto listing = [](const std::string& inner) { return "<tv>\n" + inner + "\n" + kGood + "\n</tv>"; };
        using Lines = std::vector<std::string>;
        const Lines none;
        const auto refused = [&](const std::string& text) {
            const Outcome outcome = importText(text);
            EXPECT_THAT(outcome.refusal, StartsWith(code == 0 ? nul : "listing:2: not well-formed: "));
            EXPECT_TRUE(outcome.asBefore);
        };
        expect(importText(listing(programme("<title>a" + c + "b</title>"))), code == 0 ? nul : "",
               code == 0 ? none : Lines{fmt::format("listing:2: skipped: PCDATA invalid Char value {}", code)});
        expect(importText(listing(c)), code == 0 ? nul : "");
        refused(listing("<programme start='20261120180000' channel='c" + c + "'/>"));
        refused(listing("<!-- " + c + " -->"));
        refused(listing("<pro" + c + "gramme/>"));
        refused("<tv>\n</tv>" + c);
    }
}

TEST_F(HostileListing, BytesThatAreNotUtf8CostTheProgramme)
{
    const struct {
        const char* bytes;
        const char* inTag;  // why a tag that holds them has the listing refused; "" where it costs its record only
    } rows[] = {
        {"\x80", ""},                                                  // continues nothing
        {"\xc3", ""},                                                  // is not continued
        {"\xe2\x82", ""},                                              // is continued once instead of twice
        {"\xf0\x9f\x98", ""},                                          // twice instead of three times
        {"\xc0\x80", ""},                                              // NUL in two bytes
        {"\xc1\xbf", ""},                                              // a letter in two bytes
        {"\xe0\x80\xaf", ""},                                          // a slash in three bytes
        {"\xf0\x80\x80\xaf", ""},                                      // in four
        {"\xed\xa0\x80", "invalid character in attribute value"},      // half a surrogate pair
        {"\xed\xbf\xbf", "invalid character in attribute value"},      // the other half
        {"\xef\xbf\xbe", "invalid character in attribute value"},      // no character
        {"\xf4\x90\x80\x80", "invalid character in attribute value"},  // beyond the last character
        {"\xf8\x88\x80\x80\x80", ""},
        {"\xfc\x84\x80\x80\x80\x80", ""},
        {"\xfe", ""},
        {"\xff", ""},
    };
    const auto listing = [](const std::string& record) {
        return "<?xml version='1.0' encoding='UTF-8'?><tv>\n" + record + "\n" + kGood + "</tv>";
    };
    const auto expectCost = [](const Outcome& outcome) {
        EXPECT_EQ(outcome.refusal, "");
        EXPECT_THAT(outcome.titles, ElementsAre("Good"));
        EXPECT_THAT(outcome.warnings, ElementsAre(StartsWith("listing:2: skipped: ")));
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        const std::string bytes = row.bytes;
        expectCost(importText(listing(programme("<title>a" + bytes + "b</title>"))));
        expectCost(importText(listing(programme("<title>" + bytes + "</title>"))));
        renew();
        const Outcome inTag =
            importText(listing("<programme start='20261120180000' channel='" + bytes + "'></programme>"));
        if (std::string(row.inTag).empty()) {
            expectCost(inTag);
        } else {
            EXPECT_EQ(inTag.refusal, std::string("listing:2: not well-formed: ") + row.inTag);
            EXPECT_TRUE(inTag.asBefore);
        }
    }
}

TEST_F(HostileListing, CutOffAtAnyByteItIsRefused)
{
    const std::string plain =
        "\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE tv SYSTEM \"xmltv.dtd\" [<!ENTITY e 'x'>]>\n"
        "<!-- written by hand -->\n<tv generator-info-name='t'>\n<channel id='c'><display-name>C &amp; D</display-name>"
        "<icon src='https://images.example/c.png' width='16'/></channel>\n" +
        programme(
            "<title lang='de'>F\u00e4hre</title><desc><![CDATA[a < b]]></desc><credits><actor role='r'>A</actor>"
            "</credits>&#233;") +
        "\n<?x y?>" + kGood + "\n</tv>";
    int refused = 0;
    const auto cut = [&](const std::string& text, const std::string& message) {
        for (std::size_t size = 0; size < text.size(); ++size) {
            SCOPED_TRACE(size);
            const Outcome outcome = importText(text.substr(0, size));
            EXPECT_THAT(outcome.refusal,
                        testing::AnyOf(testing::MatchesRegex("listing:[0-9]+: .+"), EndsWith(message)));
            EXPECT_TRUE(outcome.asBefore);
            ++refused;
            if (HasFailure()) {
                return;
            }
        }
    };
    cut(plain, "");
    cut(test::gzipPacked(plain), "listing: the gzip data end in the middle; fetch the file again");
    cut(test::xzPacked(plain), "listing: the xz data end in the middle; fetch the file again");
    fmt::print("figure: listings cut off: {} refused\n", refused);
    EXPECT_GT(refused, 1000);
    const Outcome whole = importText(plain);
    EXPECT_EQ(whole.refusal, "");
    EXPECT_THAT(whole.titles, ElementsAre("F\u00e4hre", "Good"));
}

/// Counts the connections that anybody has tried to make to a port of this machine.
class Listener {
public:
    Listener()
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(m_socket, 5) != 0 ||
            getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("no port");
        }
        m_url = fmt::format("http://127.0.0.1:{}", ntohs(address.sin_port));
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
    ~Listener() { close(m_socket); }

    const std::string& url() const { return m_url; }
    int connections() const
    {
        int count = 0;
        for (int each = 0; (each = accept(m_socket, nullptr, nullptr)) >= 0; ++count) {
            close(each);
        }
        return count;
    }

private:
    int m_socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    std::string m_url;
};

TEST_F(HostileListing, NothingThatItPointsToIsOpened)
{
    TemporaryDatabase folder;
    const std::string base = folder.path().substr(0, folder.path().rfind('/'));
    const std::string secret = base + "/secret.txt";
    test::writeFile(secret, "<!ENTITY inner 'secret'>");
    test::writeFile(base + "/listing.xml", "");
    // Whoever opened this for reading would wait for a writer, and the test with it.
    const std::string pipe = base + "/pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const Listener listener;
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, base.c_str(), IN_OPEN), 0);
    const auto opened = [&] {
        std::vector<std::string> names;
        alignas(inotify_event) char events[4096];
        const ssize_t size = read(watch, events, sizeof events);
        for (ssize_t at = 0; at < size;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(events + at);
            names.emplace_back(event->name);
            at += static_cast<ssize_t>(sizeof *event + event->len);
        }
        return names;
    };
    test::readFile(secret);
    ASSERT_THAT(opened(), ElementsAre("secret.txt")) << "the watch sees nothing";

    const struct {
        const char* what;
        const char* prologue;
        const char* inner;
        std::vector<std::string> titles;
        const char* refusal = "";
    } rows[] = {
        {"document type", "<!DOCTYPE tv SYSTEM '{}'>", "<title>T</title>", {"T", "Good"}},
        {"public document type", "<!DOCTYPE tv PUBLIC '-//X//Y' '{}'>", "<title>T</title>", {"T", "Good"}},
        {"entity", "<!DOCTYPE tv [<!ENTITY e SYSTEM '{}'>]>", "<title>a&e;b</title>", {"Good"}},
        {"entity in an attribute", "<!DOCTYPE tv [<!ENTITY e SYSTEM '{}'>]>", "<title lang='&e;'>T</title>", {"Good"}},
        {"parameter entity",
         "<!DOCTYPE tv [<!ENTITY % p SYSTEM '{}'> %p;]>",
         "<title>&inner;</title>",
         {},
         "listing:1: not well-formed: PEReference: %p; not found"},
        {"entity that is no text",
         "<!DOCTYPE tv [<!NOTATION n SYSTEM '{}'><!ENTITY e SYSTEM '{}' NDATA n>]>",
         "<title>&e;</title>",
         {"Good"}},
        {"inclusion",
         "",
         "<title>T</title><i:include xmlns:i='http://www.w3.org/2001/XInclude' href='{}' parse='text'/>",
         {"T", "Good"}},
        {"style sheet", "<?xml-stylesheet type='text/xsl' href='{}'?>", "<title>T</title>", {"T", "Good"}},
        {"schema",
         "",
         "<title xmlns:s='http://www.w3.org/2001/XMLSchema-instance' s:schemaLocation='u {}'>T</title>",
         {"T", "Good"}},
        {"base", "", "<title xml:base='{}'>T</title><icon src='secret.txt'/>", {"T", "Good"}},
    };
    const std::string targets[] = {secret, "file://" + secret, "secret.txt",
                                   pipe,   "file://" + pipe,   listener.url() + "/x"};
    for (const auto& row : rows) {
        for (const std::string& target : targets) {
            SCOPED_TRACE(std::string(row.what) + " " + target);
            const auto put = [&](std::string text) {
                for (std::size_t at = 0; (at = text.find("{}")) != std::string::npos;) {
                    text.replace(at, 2, target);
                }
                return text;
            };
            test::writeFile(base + "/listing.xml",
                            put(row.prologue) + "<tv>" + programme(put(row.inner)) + kGood + "</tv>");
            opened();
            const Outcome outcome = import([&] { return openFile(base + "/listing.xml"); });
            EXPECT_THAT(opened(), ElementsAre("listing.xml"));
            EXPECT_EQ(listener.connections(), 0);
            EXPECT_EQ(outcome.refusal, row.refusal);
            if (outcome.refusal.empty()) {
                EXPECT_THAT(outcome.titles, ElementsAreArray(row.titles));
                EXPECT_EQ(outcome.warnings.size(), 2 - row.titles.size());
            }
            EXPECT_EQ(test::wholeGuide(m_database->store).find("secret'"), std::string::npos);
        }
    }
    close(watch);
}

}  // namespace
}  // namespace corvaned
