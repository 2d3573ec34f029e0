// Damaged listings (invalid bytes, cut off at any byte) and listings that refer to other files. Each row states its
// outcome. HostileListingTest.cpp has listings that are too large.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "HostileListing.h"

namespace corvaned {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::EndsWith;
using ::testing::StartsWith;

TEST_F(HostileListing, ControlCharactersCostTheProgrammeOrTheListing)
{
    const std::string nul = "listing:2: a NUL character: the file is damaged; download it again";
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
            const ImportOutcome outcome = importListing(text);
            EXPECT_THAT(outcome.refusal, StartsWith(code == 0 ? nul : "listing:2: not well-formed: "));
            EXPECT_TRUE(outcome.asBefore);
        };
        expect(importListing(listing(programme("<title>a" + c + "b</title>"))), code == 0 ? nul : "",
               code == 0 ? none : Lines{fmt::format("listing:2: skipped: PCDATA invalid Char value {}", code)});
        expect(importListing(listing(c)), code == 0 ? nul : "");
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
        const char* inTag;  // why the listing is refused if a tag contains them; "" if only the record is lost
    } rows[] = {
        {"\x80", ""},                                                  // a continuation byte without a first byte
        {"\xc3", ""},                                                  // a first byte without its continuation
        {"\xe2\x82", ""},                                              // one continuation byte instead of two
        {"\xf0\x9f\x98", ""},                                          // two instead of three
        {"\xc0\x80", ""},                                              // NUL in two bytes
        {"\xc1\xbf", ""},                                              // a letter in two bytes
        {"\xe0\x80\xaf", ""},                                          // a slash in three bytes
        {"\xf0\x80\x80\xaf", ""},                                      // a slash in four bytes
        {"\xed\xa0\x80", "invalid character in attribute value"},      // half a surrogate pair
        {"\xed\xbf\xbf", "invalid character in attribute value"},      // the other half
        {"\xef\xbf\xbe", "invalid character in attribute value"},      // a code point that is not a character
        {"\xf4\x90\x80\x80", "invalid character in attribute value"},  // beyond the last character
        {"\xf8\x88\x80\x80\x80", ""},
        {"\xfc\x84\x80\x80\x80\x80", ""},
        {"\xfe", ""},
        {"\xff", ""},
    };
    const auto listing = [](const std::string& record) {
        return "<?xml version='1.0' encoding='UTF-8'?><tv>\n" + record + "\n" + kGood + "</tv>";
    };
    const auto expectCost = [](const ImportOutcome& outcome) {
        EXPECT_EQ(outcome.refusal, "");
        EXPECT_THAT(outcome.titles, ElementsAre("Good"));
        EXPECT_THAT(outcome.warnings, ElementsAre(StartsWith("listing:2: skipped: ")));
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        const std::string bytes = row.bytes;
        expectCost(importListing(listing(programme("<title>a" + bytes + "b</title>"))));
        expectCost(importListing(listing(programme("<title>" + bytes + "</title>"))));
        renew();
        const ImportOutcome inTag =
            importListing(listing("<programme start='20261120180000' channel='" + bytes + "'></programme>"));
        if (std::string(row.inTag).empty()) {
            expectCost(inTag);
        } else {
            EXPECT_EQ(inTag.refusal, std::string("listing:2: not well-formed: ") + row.inTag);
            EXPECT_TRUE(inTag.asBefore);
        }
    }
}

TEST_F(HostileListing, RefusesListingsCutOffAtAnyByte)
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
            const ImportOutcome outcome = importListing(text.substr(0, size));
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
    cut(test::gzipPacked(plain), "listing: the gzip data is cut off; download the file again");
    cut(test::xzPacked(plain), "listing: the xz data is cut off; download the file again");
    fmt::print("figure: listings cut off: {} refused\n", refused);
    EXPECT_GT(refused, 1000);
    const ImportOutcome whole = importListing(plain);
    EXPECT_EQ(whole.refusal, "");
    EXPECT_THAT(whole.titles, ElementsAre("F\u00e4hre", "Good"));
}

/// Counts the connection attempts to a port of this machine.
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

TEST_F(HostileListing, ReferencesAreNotOpened)
{
    TemporaryDatabase folder;
    const std::string base = folder.path().substr(0, folder.path().rfind('/'));
    const std::string secret = base + "/secret.txt";
    test::writeFile(secret, "<!ENTITY inner 'secret'>");
    test::writeFile(base + "/listing.xml", "");
    // Opening this for reading would block until there is a writer.
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
        {"unparsed entity",
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
            const ImportOutcome outcome = import([&] { return openFile(base + "/listing.xml"); });
            EXPECT_THAT(opened(), ElementsAre("listing.xml"));
            EXPECT_EQ(listener.connections(), 0);
            EXPECT_EQ(outcome.refusal, row.refusal);
            if (outcome.refusal.empty()) {
                EXPECT_THAT(outcome.titles, ElementsAreArray(row.titles));
                EXPECT_EQ(outcome.warnings.size(), 2 - row.titles.size());
            }
            EXPECT_EQ(test::wholeGuide(m_database->guide).find("secret'"), std::string::npos);
        }
    }
    close(watch);
}

}  // namespace
}  // namespace corvaned
