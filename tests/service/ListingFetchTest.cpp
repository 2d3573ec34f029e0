// Listings from a scripted server: whole, in parts, changed meanwhile, endless, or not at all.
#include "ListingFetch.h"

#include <algorithm>
#include <chrono>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ChildProcess.h"
#include "OperatorErrorOf.h"
#include "RawServer.h"
#include "ServiceProgram.h"
#include "TestSupport.h"

namespace corvaned {
namespace {

using test::ServiceProgram;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using W::host::RawServer;

// No test may use a proxy of the environment.
const int kWithoutProxy = ::setenv("no_proxy", "*", 1);

std::string reply(const std::string& status, const std::string& headers, const std::string& body)
{
    return "HTTP/1.1 " + status + "\r\n" + headers + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
           body;
}

// Sends the replies in their order, each on its own connection; an empty one closes the connection at once.
RawServer::Script replies(std::vector<std::string> all)
{
    return [all](RawServer::RawConnection& connection) {
        const auto number = static_cast<std::size_t>(connection.number());
        if (number < all.size() && !all[number].empty() && connection.readRequest()) {
            connection.send(all[number]);
        }
    };
}

// The beginning of a reply whose Content-Length is larger than its body.
std::string cut(const std::string& headers, const std::string& body, std::size_t promised)
{
    return "HTTP/1.1 200 OK\r\n" + headers + "Content-Length: " + std::to_string(promised) + "\r\n\r\n" + body;
}

FetchOptions quickOptions()
{
    FetchOptions options;
    options.limits.pause = std::chrono::milliseconds(1);
    return options;
}

std::string contentOf(const FetchedListing& listing)
{
    const std::unique_ptr<ByteSource> source = listing.open();
    std::string content;
    char piece[7];
    for (std::size_t count = 1; count > 0; content.append(piece, count)) {
        count = source->read(piece, sizeof piece);
    }
    return content;
}

std::string fetched(const RawServer& server, const FetchOptions& options = quickOptions())
{
    return contentOf(fetchListing(server.url("/guide.xml"), {}, options));
}

std::string refusal(const std::string& url, const FetchOptions& options = quickOptions())
{
    return test::operatorErrorOf([&] { fetchListing(url, {}, options); });
}

constexpr const char* kTag = "ETag: \"v1\"\r\n";
constexpr const char* kWhole = "0123456789abcdefghij";

TEST(ListingFetch, FetchesTheWholeListingAndItsVersion)
{
    RawServer server(
        replies({reply("200 OK", "ETag: \"v1\"\r\nLast-Modified: Sat, 21 Nov 2026 08:00:00 GMT\r\n", kWhole)}));
    const FetchedListing listing = fetchListing(server.url("/guide.xml"), {}, quickOptions());
    EXPECT_FALSE(listing.isUnchanged);
    EXPECT_EQ(contentOf(listing), kWhole);
    EXPECT_EQ(contentOf(listing), kWhole);
    EXPECT_EQ(listing.validators.etag, "\"v1\"");
    EXPECT_EQ(listing.validators.lastModified, "Sat, 21 Nov 2026 08:00:00 GMT");
    EXPECT_THAT(server.requests().at(0), StartsWith("GET /guide.xml HTTP/1.1\r\n"));
    EXPECT_THAT(server.requests().at(0), Not(HasSubstr("If-")));
    EXPECT_THAT(server.requests().at(0), Not(HasSubstr("Range")));
}

TEST(ListingFetch, UnpacksTheListing)
{
    RawServer server(replies({reply("200 OK", "", test::gzipPacked("<tv/>"))}));
    EXPECT_EQ(fetched(server), "<tv/>");
}

TEST(ListingFetch, AsksForAnotherVersionThanTheKnownOne)
{
    struct ValidatorCase {
        Validators known;
        const char* header;
    };
    for (const ValidatorCase& row : {ValidatorCase{{"\"v1\"", "date"}, "\r\nIf-None-Match: \"v1\"\r\n"},
                                     ValidatorCase{{"", "Sat, 21 Nov 2026 08:00:00 GMT"},
                                                   "\r\nIf-Modified-Since: Sat, 21 Nov 2026 08:00:00 GMT\r\n"}}) {
        RawServer unchanged(replies({"HTTP/1.1 304 Not Modified\r\n\r\n"}));
        const FetchedListing none = fetchListing(unchanged.url(), row.known, quickOptions());
        EXPECT_TRUE(none.isUnchanged);
        EXPECT_EQ(none.validators.etag, row.known.etag);
        EXPECT_THAT(unchanged.requests().at(0), HasSubstr(row.header));
        EXPECT_EQ(unchanged.connections(), 1);

        RawServer changed(replies({reply("200 OK", "ETag: \"v2\"\r\n", "new")}));
        const FetchedListing other = fetchListing(changed.url(), row.known, quickOptions());
        EXPECT_FALSE(other.isUnchanged);
        EXPECT_EQ(contentOf(other), "new");
        EXPECT_EQ(other.validators.etag, "\"v2\"");
    }
}

struct BrokenRow {
    const char* what;
    std::vector<std::string> replies;
    const char* whole;
    const char* lastRequest;  // contains this
};

TEST(ListingFetch, ResumesABrokenTransferOrRestartsIt)
{
    const std::string rest = "HTTP/1.1 206 Partial Content\r\nETag: \"v1\"\r\nContent-Length: 10\r\n";
    const BrokenRow rows[] = {
        {"the rest",
         {cut(kTag, "0123456789", 20), rest + "Content-Range: bytes 10-19/20\r\n\r\nabcdefghij"},
         kWhole,
         "\r\nRange: bytes=10-\r\nIf-Range: \"v1\"\r\n"},
        {"the rest, in two parts",
         {cut(kTag, "01234", 20),
          "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 5-19/20\r\nContent-Length: 15\r\n\r\n56789",
          rest + "Content-Range: bytes 10-19/20\r\n\r\nabcdefghij"},
         kWhole,
         "\r\nRange: bytes=10-\r\nIf-Range: \"v1\"\r\n"},
        {"by date",
         {cut("Last-Modified: Sat, 21 Nov 2026 08:00:00 GMT\r\n", "0123456789", 20),
          rest + "Content-Range: bytes 10-19/20\r\n\r\nabcdefghij"},
         kWhole,
         "\r\nIf-Range: Sat, 21 Nov 2026 08:00:00 GMT\r\n"},
        {"no reply at all, then the rest",
         {cut(kTag, "0123456789", 20), "", rest + "Content-Range: bytes 10-19/20\r\n\r\nabcdefghij"},
         kWhole,
         "\r\nRange: bytes=10-\r\n"},
        {"another version meanwhile",
         {cut(kTag, "0123456789", 20), reply("200 OK", "ETag: \"v2\"\r\n", "another one")},
         "another one",
         "\r\nRange: bytes=10-\r\n"},
        {"a part that was not asked for",
         {cut(kTag, "0123456789", 20),
          "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes 8-19/20\r\nContent-Length: 12\r\n\r\n89abcdefghij",
          reply("200 OK", kTag, kWhole)},
         kWhole,
         "GET /guide.xml HTTP/1.1\r\n"},
        {"a listing that has become shorter",
         {cut(kTag, "0123456789", 20), reply("416 Range Not Satisfiable", "", ""), reply("200 OK", kTag, "short")},
         "short",
         "GET /guide.xml HTTP/1.1\r\n"},
        {"no version", {cut("", "0123456789", 20), reply("200 OK", "", kWhole)}, kWhole, "GET /guide.xml HTTP/1.1\r\n"},
        {"a weak version",
         {cut("ETag: W/\"v1\"\r\n", "0123456789", 20), reply("200 OK", "", kWhole)},
         kWhole,
         "GET /guide.xml HTTP/1.1\r\n"},
    };
    for (const BrokenRow& row : rows) {
        SCOPED_TRACE(row.what);
        RawServer server(replies(row.replies));
        std::vector<std::string> warnings;
        FetchOptions options = quickOptions();
        options.warn = [&](const std::string& line) { warnings.push_back(line); };
        EXPECT_EQ(fetched(server, options), row.whole);
        EXPECT_EQ(static_cast<std::size_t>(server.connections()), row.replies.size());
        EXPECT_EQ(warnings.size(), row.replies.size() - 1);
        const std::string last = server.requests().back();
        EXPECT_THAT(last, HasSubstr(row.lastRequest));
        if (std::string(row.lastRequest).find("Range") == std::string::npos &&
            std::string(row.lastRequest).find("If-") == std::string::npos) {
            EXPECT_THAT(last, Not(HasSubstr("Range")));
        }
    }
}

TEST(ListingFetch, ReportsAListingThatStaysIncomplete)
{
    RawServer server(replies({cut(kTag, "0", 20), cut(kTag, "0", 20), cut(kTag, "0", 20), cut(kTag, "0", 20), ""}));
    EXPECT_THAT(refusal(server.url("/guide.xml")), StartsWith("cannot fetch " + server.url("/guide.xml") + ": "));
    EXPECT_EQ(server.connections(), 4);
}

TEST(ListingFetch, ReportsAnEmptyPortAfterAllAttempts)
{
    const int socket = W::host::bindLoopback();
    const std::string url = "http://127.0.0.1:" + std::to_string(W::host::portOf(socket)) + "/x";
    EXPECT_THAT(refusal(url), StartsWith("cannot fetch " + url + ": Failed to connect"));
    ::close(socket);
}

TEST(ListingFetch, StopsAtItsLimits)
{
    FetchOptions options = quickOptions();
    options.limits.bytes = 1 << 20;
    const RawServer::Script endless = [](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send("HTTP/1.1 200 OK\r\n\r\n");
        while (connection.send(std::string(100'000, ' ')) == 100'000) {
        }
    };
    RawServer flood(endless);
    EXPECT_EQ(refusal(flood.url("/x"), options), "cannot fetch " + flood.url("/x") + ": it has more than 1 MiB");
    EXPECT_EQ(flood.connections(), 1);

    options.limits.attempts = 1;
    options.limits.stallTime = std::chrono::seconds(1);
    RawServer silent([](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send(cut(kTag, "0", 20));
        connection.waitForEnd();
    });
    EXPECT_THAT(refusal(silent.url("/x"), options), HasSubstr("; try again later"));

    options.limits.stallTime = std::chrono::seconds(60);
    options.limits.wholeTime = std::chrono::seconds(1);
    EXPECT_THAT(refusal(silent.url("/x"), options), HasSubstr("; try again later"));
}

struct FetchStatusRow {
    const char* reply;
    const char* message;
};

TEST(ListingFetch, ReportsTheStatusOfTheServer)
{
    const FetchStatusRow rows[] = {
        {"404 Not Found", "status 404; check the address"},
        {"401 Unauthorized", "status 401; check user, password and key in the address"},
        {"503 Service Unavailable", "status 503; try again later"},
        {"204 No Content", "status 204; try again later"},
        {"304 Not Modified", "status 304; try again later"},
    };
    for (const FetchStatusRow& row : rows) {
        RawServer server(replies({reply(row.reply, "", "")}));
        EXPECT_EQ(refusal(server.url("/x")),
                  "cannot fetch " + server.url("/x") + ": the server answers with " + row.message);
        EXPECT_EQ(server.connections(), 1);
    }
}

TEST(ListingFetch, FollowsRedirectionsToTheWebOnly)
{
    RawServer server(replies({reply("302 Found", "Location: /other.xml\r\nETag: \"of the redirection\"\r\n", ""),
                              reply("200 OK", "ETag: \"v1\"\r\n", kWhole)}));
    const FetchedListing listing = fetchListing(server.url("/guide.xml"), {}, quickOptions());
    EXPECT_EQ(contentOf(listing), kWhole);
    EXPECT_EQ(listing.validators.etag, "\"v1\"");
    EXPECT_THAT(server.requests().back(), StartsWith("GET /other.xml "));

    RawServer sly(replies({reply("302 Found", "Location: file:///etc/passwd\r\n", "")}));
    EXPECT_THAT(refusal(sly.url("/x")), StartsWith("cannot fetch "));
}

TEST(ListingFetch, MessagesHideSecretsInTheAddress)
{
    EXPECT_EQ(addressForMessages("https://me:pw@tv.example/a/b.xml?key=1#x"), "https://tv.example/a/b.xml");
    EXPECT_EQ(addressForMessages("http://tv.example"), "http://tv.example");
    EXPECT_EQ(addressForMessages("http://tv.example?key=@1"), "http://tv.example");
    EXPECT_TRUE(isListingAddress("HTTPS://tv.example/"));
    EXPECT_FALSE(isListingAddress("file:///etc/passwd"));
    EXPECT_FALSE(isListingAddress("guide.xml"));
}

TEST(ListingFetch, LeavesNoFile)
{
    TemporaryDatabase folder;
    const std::string scratch = std::filesystem::path(folder.path()).parent_path().string();
    ::setenv("TMPDIR", scratch.c_str(), 1);
    RawServer server(replies({reply("200 OK", "", kWhole)}));
    const FetchedListing listing = fetchListing(server.url(), {}, quickOptions());
    ::unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(scratch));
    EXPECT_EQ(contentOf(listing), kWhole);
}

// --- the command

std::string listingWith(const std::string& title)
{
    return "<tv><programme channel='c' start='20991120180000' stop='20991120190000'><title>" + title +
           "</title></programme></tv>";
}

support::ProcessResult import(const std::string& database, std::vector<std::string> more)
{
    std::vector<std::string> arguments = {"import", "--db", database};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return support::runProcess({CORVANED_PROGRAM, arguments, {"no_proxy=*"}});
}

TEST(ImportOfAddresses, AnUnchangedListingCostsOneExchange)
{
    TemporaryDatabase db;
    RawServer server(replies({reply("200 OK", kTag, listingWith("One")), "HTTP/1.1 304 Not Modified\r\n\r\n",
                              reply("200 OK", "ETag: \"v2\"\r\n", listingWith("Two"))}));
    const std::string url = server.url("/guide.xml?key=secret");
    const support::ProcessResult first = import(db.path(), {url});
    EXPECT_EQ(first.exitCode, 0) << first.errors;
    EXPECT_THAT(first.output, StartsWith(server.url("/guide.xml") + ": 0 channels, 1 programme\n"));
    const support::ProcessResult second = import(db.path(), {url});
    EXPECT_EQ(second.exitCode, 0) << second.errors;
    EXPECT_THAT(second.output, StartsWith(db.path() + ": unchanged since the last import ("));
    EXPECT_THAT(server.requests().at(1), HasSubstr("\r\nIf-None-Match: \"v1\"\r\n"));
    const support::ProcessResult third = import(db.path(), {url});
    EXPECT_EQ(third.exitCode, 0) << third.errors;
    EXPECT_EQ(server.connections(), 3);
    GuideFile store(db.path());
    EXPECT_EQ(test::rows(store, "SELECT title FROM airing"), std::vector<std::string>{"Two"});
    EXPECT_EQ(test::readFile(db.path()).find("secret"), std::string::npos);
}

TEST(ImportOfAddresses, BothListingsAreFetchedIfOneHasChanged)
{
    TemporaryDatabase db;
    RawServer one(replies({reply("200 OK", kTag, listingWith("One")), "HTTP/1.1 304 Not Modified\r\n\r\n",
                           reply("200 OK", kTag, listingWith("One"))}));
    RawServer two(replies({reply("200 OK", "ETag: \"a\"\r\n", listingWith("Two")),
                           reply("200 OK", "ETag: \"b\"\r\n", listingWith("Three"))}));
    EXPECT_EQ(import(db.path(), {one.url(), two.url()}).exitCode, 0);
    EXPECT_EQ(import(db.path(), {one.url(), two.url()}).exitCode, 0);
    GuideFile store(db.path());
    EXPECT_THAT(test::rows(store, "SELECT title FROM airing ORDER BY id"), ::testing::ElementsAre("One", "Three"));
    EXPECT_THAT(one.requests().back(), Not(HasSubstr("If-None-Match")));
}

TEST(ImportOfAddresses, AGuideOfOtherListingsCountsAsChanged)
{
    TemporaryDatabase db;
    const std::string file = db.path() + ".xml";
    test::writeFile(file, listingWith("Other"));
    RawServer server(replies({reply("200 OK", kTag, listingWith("One")), reply("200 OK", kTag, listingWith("One")),
                              reply("200 OK", kTag, listingWith("One"))}));
    EXPECT_EQ(import(db.path(), {server.url()}).exitCode, 0);
    EXPECT_EQ(import(db.path(), {file}).exitCode, 0);
    EXPECT_EQ(import(db.path(), {server.url()}).exitCode, 0);
    EXPECT_EQ(import(db.path(), {"--today", server.url()}).exitCode, 0);
    for (const std::string& request : server.requests()) {
        EXPECT_THAT(request, Not(HasSubstr("If-None-Match")));
    }
}

TEST(ImportOfAddresses, AFailedFetchChangesNothing)
{
    TemporaryDatabase db;
    RawServer server(replies(
        {reply("200 OK", kTag, listingWith("One")), reply("404 Not Found", "", ""), reply("200 OK", "", "<html/>")}));
    EXPECT_EQ(import(db.path(), {server.url()}).exitCode, 0);
    const auto guide = [&] {
        GuideFile store(db.path());
        return test::wholeGuide(store);
    };
    const std::string before = guide();
    const support::ProcessResult missing = import(db.path(), {server.url()});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.errors,
              "corvaned: cannot fetch " + server.url() + ": the server answers with status 404; check the address\n");
    const support::ProcessResult page = import(db.path(), {server.url()});
    EXPECT_EQ(page.exitCode, 1);
    EXPECT_THAT(page.errors, HasSubstr("the document is <html>, not <tv>"));
    EXPECT_EQ(guide(), before);
    RawServer absent(replies({reply("404 Not Found", "", "")}));
    EXPECT_EQ(import(db.path() + ".new", {absent.url()}).exitCode, 1);
    EXPECT_FALSE(std::filesystem::exists(db.path() + ".new"));
}

TEST(ImportOfAddresses, RepeatsWithGrowingPausesUntilItIsStopped)
{
    TemporaryDatabase db;
    RawServer server(
        replies({reply("200 OK", kTag, listingWith("One")), reply("500 Oops", "", ""), reply("500 Oops", "", ""),
                 "HTTP/1.1 304 Not Modified\r\n\r\n", reply("500 Oops", "", "")}));
    support::ChildProcess program(
        {CORVANED_PROGRAM, {"import", "--db", db.path(), "--every", "2s", server.url()}, {"no_proxy=*"}});
    ASSERT_TRUE(server.waitForRequests(5));
    EXPECT_THAT(program.readLine(), HasSubstr(": 0 channels, 1 programme"));
    EXPECT_THAT(program.readLine(), HasSubstr(" now holds 1 channel and 1 programme"));
    EXPECT_THAT(program.readLine(), HasSubstr(": unchanged since the last import ("));
    const std::string errors = program.errors();
    const std::size_t first = errors.find("status 500; try again later\ncorvaned: trying again in 1 s\n");
    ASSERT_NE(first, std::string::npos) << errors;
    EXPECT_NE(errors.find("corvaned: trying again in 2 s\n", first), std::string::npos) << errors;
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(std::chrono::seconds(5)), 0);
}

TEST(ImportOfAddresses, StopsAtOnceWhileAFetchHangs)
{
    TemporaryDatabase db;
    RawServer server([](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.waitForEnd();
    });
    for (const int signal : {SIGTERM, SIGINT}) {
        support::ChildProcess program(
            {CORVANED_PROGRAM, {"import", "--db", db.path(), "--every", "6h", server.url()}, {"no_proxy=*"}});
        ASSERT_TRUE(server.waitForRequests(signal == SIGTERM ? 1 : 2));
        program.signal(signal);
        EXPECT_EQ(program.wait(std::chrono::seconds(5)), 0);
    }
}

TEST(ImportOfAddresses, RefusesIntervalsThatCannotBeRead)
{
    for (const char* const interval : {"6", "h", "0s", "-1h", "6 h", "6w", "1.5h", "99999999999d", ""}) {
        const support::ProcessResult result = import("/nonexistent/x.db", {"--every", interval, "http://127.0.0.1:1/"});
        EXPECT_EQ(result.exitCode, 2) << interval << result.errors;
        EXPECT_THAT(result.errors, HasSubstr("--every")) << interval;
    }
    const support::ProcessResult twice = import("/nonexistent/x.db", {"--every", "1h", "-"});
    EXPECT_EQ(twice.exitCode, 1);
    EXPECT_THAT(twice.errors, HasSubstr("standard input can be read once only"));
}

}  // namespace
}  // namespace corvaned
