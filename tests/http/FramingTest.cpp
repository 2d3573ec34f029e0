// Requests whose framing is wrong or ambiguous are refused and the connection is closed, so that a proxy and the server
// cannot disagree about where a request ends (RFC 9112).
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TestServer.h"

namespace http {
namespace {

using namespace std::string_literals;
using test::RawClient;
using test::TestServer;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

struct FramingCase {
    const char* name;
    std::string request;
    const char* status;
};

std::string put(const std::string& headers, const std::string& body = "")
{
    return "PUT /a HTTP/1.1\r\nHost: here\r\n" + headers + "\r\n" + body;
}

TEST(Framing, AmbiguousRequestsAreRefusedAndTheConnectionIsClosed)
{
    const TestServer server;
    const FramingCase rows[] = {
        {"both lengths", put("Content-Length: 3\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), "400"},
        {"two lengths", put("Content-Length: 3\r\nContent-Length: 4\r\n", "abcd"), "400"},
        {"the same length twice", put("Content-Length: 3\r\nContent-Length: 3\r\n", "abc"), "400"},
        {"a list of lengths", put("Content-Length: 3, 3\r\n", "abc"), "400"},
        {"length +3", put("Content-Length: +3\r\n", "abc"), "400"},
        {"length 0x3", put("Content-Length: 0x3\r\n", "abc"), "400"},
        {"length -1", put("Content-Length: -1\r\n", "abc"), "400"},
        {"length abc", put("Content-Length: abc\r\n", "abc"), "400"},
        {"empty length", put("Content-Length:\r\n", "abc"), "400"},
        {"length of 20 digits", put("Content-Length: 18446744073709551617\r\n", "a"), "400"},
        {"blank before the colon", put("Transfer-Encoding : chunked\r\n", "0\r\n\r\n"), "400"},
        {"two codings", put("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", "0\r\n\r\n"), "400"},
        {"chunked twice", put("Transfer-Encoding: chunked, chunked\r\n", "0\r\n\r\n"), "501"},
        {"gzip and chunked", put("Transfer-Encoding: gzip, chunked\r\n", "0\r\n\r\n"), "501"},
        {"unknown coding", put("Transfer-Encoding: xchunked\r\n", "0\r\n\r\n"), "400"},
        {"identity", put("Transfer-Encoding: identity\r\n", "0\r\n\r\n"), "400"},
        {"chunked in HTTP/1.0", "PUT /a HTTP/1.0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n", "400"},
        {"folded header", put("X: a\r\n b\r\n"), "400"},
        {"folded first header", "GET /a HTTP/1.1\r\n Host: here\r\n\r\n", "400"},
        {"bare LF", "GET /a HTTP/1.1\nHost: here\n\n", "400"},
        {"bare LF after a header", "GET /a HTTP/1.1\r\nHost: here\nX: y\r\n\r\n", "400"},
        {"bare CR in a header", put("X: a\rb\r\n"), "400"},
        {"NUL in a header", put("X: a\0b\r\n"s), "400"},
        {"NUL in the path", "GET /a\0b HTTP/1.1\r\nHost: here\r\n\r\n"s, "400"},
        {"ESC in a header", put("X: a\x1b[2Jb\r\n"), "400"},
        {"two Hosts", "GET /a HTTP/1.1\r\nHost: here\r\nHost: there\r\n\r\n", "400"},
        {"no Host", "GET /a HTTP/1.1\r\n\r\n", "400"},
        {"Host with a path", "GET /a HTTP/1.1\r\nHost: here/there\r\n\r\n", "400"},
        {"no colon", put("Nonsense\r\n"), "400"},
        {"empty name", put(": value\r\n"), "400"},
        {"blank in a name", put("A b: value\r\n"), "400"},
        {"two blanks in the request line", "GET  /a HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"blank in the target", "GET /a b HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"no target", "GET HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"target without a path", "GET a HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"CONNECT", "CONNECT here:443 HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"no version", "GET /a\r\nHost: here\r\n\r\n", "400"},
        {"HTTP/2", "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", "400"},
        {"HTTP/1.2", "GET /a HTTP/1.2\r\nHost: here\r\n\r\n", "505"},
        {"lower-case version", "GET /a http/1.1\r\nHost: here\r\n\r\n", "400"},
        {"method with a control character", "G\x01T /a HTTP/1.1\r\nHost: here\r\n\r\n", "400"},
        {"TLS to a plain port", "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03\r\n\r\n"s, "400"},
        {"chunk size with a sign", put("Transfer-Encoding: chunked\r\n", "+3\r\nabc\r\n0\r\n\r\n"), "400"},
        {"chunk size 0x3", put("Transfer-Encoding: chunked\r\n", "0x3\r\nabc\r\n0\r\n\r\n"), "400"},
        {"chunk size too large", put("Transfer-Encoding: chunked\r\n", "fffffffffffffffff\r\nabc\r\n0\r\n\r\n"), "400"},
        {"chunk longer than its size", put("Transfer-Encoding: chunked\r\n", "3\r\nabcd\r\n0\r\n\r\n"), "400"},
        {"chunk ended by LF", put("Transfer-Encoding: chunked\r\n", "3\nabc\n0\n\n"), "400"},
        {"unknown expectation", put("Expect: pizza\r\n"), "417"},
    };
    for (const FramingCase& row : rows) {
        const RawClient client(server.port());
        client.send(row.request + TestServer::get("/smuggled"));
        const std::string reply = client.receiveAll();
        EXPECT_THAT(reply, StartsWith(fmt::format("HTTP/1.1 {} ", row.status))) << row.name;
        EXPECT_THAT(reply, HasSubstr("Connection: close\r\n")) << row.name;
        EXPECT_EQ(reply.find("/smuggled"), std::string::npos) << row.name << " was read as two requests: " << reply;
        EXPECT_EQ(reply.find("Content-Length: ", reply.find("Content-Length: ") + 1), std::string::npos)
            << row.name << " got two replies: " << reply;
    }
    EXPECT_EQ(server.requests(), 0);
}

TEST(Framing, ProperRequestsAreAnsweredOneByOne)
{
    const TestServer server;
    const struct {
        const char* name;
        std::string request;
        const char* answer;
    } rows[] = {
        {"PUT without a body", put(""), "PUT /a \n"},
        {"length 3", put("Content-Length: 3\r\n", "abc"), "PUT /a abc\n"},
        {"no blank after the colon", put("Content-Length:3\r\n", "abc"), "PUT /a abc\n"},
        {"chunks", put("Transfer-Encoding: Chunked\r\n", "3\r\nabc\r\n2;x=y\r\nde\r\n0\r\n\r\n"), "PUT /a abcde\n"},
        {"chunks and a trailer", put("Transfer-Encoding: chunked\r\n", "1\r\na\r\n0\r\nHost: there\r\n\r\n"),
         "PUT /a a\n"},
        {"a body on GET is dropped", "GET /b HTTP/1.1\r\nHost: here\r\nContent-Length: 5\r\n\r\nGET /", "GET /b \n"},
        {"chunks on GET are dropped",
         "GET /b HTTP/1.1\r\nHost: here\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", "GET /b \n"},
        {"an empty line before", "\r\n" + TestServer::get("/c"), "GET /c \n"},
        {"absolute form", "GET http://here:1/d?e HTTP/1.1\r\nHost: here\r\n\r\n", "GET /d \n"},
        {"bytes above ASCII", "GET /\xc3\xa4 HTTP/1.1\r\nHost: here\r\n\r\n", "GET /\xc3\xa4 \n"},
        {"unknown method", "BREW /pot HTTP/1.1\r\nHost: here\r\n\r\n", "BREW /pot \n"},
        {"OPTIONS *", "OPTIONS * HTTP/1.1\r\nHost: here\r\n\r\n", "OPTIONS * \n"},
        {"empty Host", "GET /e HTTP/1.1\r\nHost:\r\n\r\n", "GET /e \n"},
    };
    const RawClient client(server.port());
    for (const auto& row : rows) {
        client.send(row.request);
        const std::string wanted = std::string(row.answer).substr(0, std::string(row.answer).size() - 1);
        EXPECT_THAT(client.receive(1, "\r\n\r\n" + wanted), EndsWith("\r\n\r\n" + wanted)) << row.name;
    }
}

TEST(Framing, AcceptsRequestsOneByteAtATime)
{
    const TestServer server;
    const RawClient client(server.port());
    const std::string request = put("Transfer-Encoding: chunked\r\n", "3\r\nabc\r\n0\r\n\r\n");
    for (const char c : request) {
        client.send({&c, 1});
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_THAT(client.receive(1, "abc"), StartsWith("HTTP/1.1 200 OK\r\n"));
}

TEST(Framing, HttpVersionDecidesKeepAlive)
{
    const TestServer server;
    const struct {
        const char* request;
        bool closes;
    } rows[] = {
        {"GET /a HTTP/1.0\r\n\r\n", true},
        {"GET /a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", false},
        {"GET /a HTTP/1.1\r\nHost: here\r\nConnection: x, Close\r\n\r\n", true},
        {"GET /a HTTP/1.1\r\nHost: here\r\n\r\n", false},
    };
    for (const auto& row : rows) {
        const RawClient client(server.port());
        client.send(row.request);
        if (row.closes) {
            EXPECT_THAT(client.receiveAll(), EndsWith("GET /a (closed)")) << row.request;
        } else {
            client.send(TestServer::get("/b"));
            EXPECT_THAT(client.receive(1, "GET /b "), EndsWith("GET /b ")) << row.request;
        }
    }
}

TEST(Framing, ContinueIsSentBeforeTheBody)
{
    const TestServer server;
    const RawClient client(server.port());
    client.send(put("Content-Length: 1\r\nExpect: 100-continue\r\n"));
    EXPECT_EQ(client.receive(1, "\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("x");
    EXPECT_THAT(client.receive(1, "PUT /a x"), StartsWith("HTTP/1.1 200 OK\r\n"));
    const RawClient tooLarge(server.port());
    tooLarge.send(put("Content-Length: 99999999\r\nExpect: 100-continue\r\n"));
    EXPECT_THAT(tooLarge.receiveAll(), StartsWith("HTTP/1.1 413 ")) << "refused before it is sent";
}

TEST(Framing, EachExceededLimitHasItsStatus)
{
    const TestServer server([](ServerLimits& limits) {
        limits.requestLineBytes = 300;
        limits.headerBytes = 1000;
        limits.headerCount = 10;
        limits.bodyBytes = 2000;
    });
    std::string fields;
    for (int i = 0; i < 10; ++i) {
        fields += fmt::format("X{}: y\r\n", i);
    }
    const FramingCase rows[] = {
        {"request line", TestServer::get("/" + std::string(300, 'a')), "414"},
        {"endless request line", "GET /" + std::string(5000, 'a'), "414"},
        {"header bytes", put("X: " + std::string(1000, 'a') + "\r\n"), "431"},
        {"endless header", "GET / HTTP/1.1\r\nX: " + std::string(5000, 'a'), "431"},
        {"header fields", put(fields), "431"},
        {"body", put("Content-Length: 2001\r\n"), "413"},
        {"chunks",
         put("Transfer-Encoding: chunked\r\n", "7d0\r\n" + std::string(2000, 'a') + "\r\n1\r\na\r\n0\r\n\r\n"), "413"},
        {"one chunk", put("Transfer-Encoding: chunked\r\n", "ffffff\r\n" + std::string(3000, 'a')), "413"},
        {"endless chunk line", put("Transfer-Encoding: chunked\r\n", "1;" + std::string(30000, 'a')), "400"},
    };
    for (const FramingCase& row : rows) {
        const RawClient client(server.port());
        client.send(row.request);
        EXPECT_THAT(client.receiveAll(), StartsWith(fmt::format("HTTP/1.1 {} ", row.status))) << row.name;
    }
}

}  // namespace
}  // namespace http
