// The bytes that the executor sends, and its results for all kinds of replies.
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "Exchange.h"
#include "Gzip.h"
#include "HttpWire.h"
#include "RawServer.h"
#include "Scratch.h"
#include "TlsServer.h"

namespace W::host {
namespace {

using namespace std::string_literals;

HttpHeader headers(const std::vector<HttpHeader::Line>& lines)
{
    HttpHeader header;
    for (const auto& [name, value] : lines) {
        header.add(name, value);
    }
    return header;
}

class ExecutorWire : public ExecutorTest {
protected:
    std::string host() const { return "Host: 127.0.0.1:" + std::to_string(m_server.port()) + "\r\n"; }
    RawServer m_server{answering("body")};
};

TEST_F(ExecutorWire, GetSendsTheRequestsHeadersOnly)
{
    Exchange exchange(HTTP_GET, m_server.url("/a/b?x=1"),
                      headers({{"Zeta", "1"}, {"alpha", "two words"}, {"Empty", ""}, {"Blank", "  "}, {"M", "a;b"}}));
    ASSERT_EQ(run(exchange), session::kCompleted);
    EXPECT_EQ(exchange.code(), 200);
    EXPECT_EQ(exchange.payload(), "body");
    EXPECT_EQ(m_server.requests().at(0), "GET /a/b?x=1 HTTP/1.1\r\n" + host() +
                                             "Zeta: 1\r\nalpha: two words\r\nEmpty:\r\nBlank:\r\nM: a;b\r\n\r\n");
}

TEST_F(ExecutorWire, RequestsWithoutHeadersSendNone)
{
    Exchange exchange(HTTP_GET, m_server.url("/"));
    ASSERT_EQ(run(exchange), session::kCompleted);
    EXPECT_EQ(m_server.requests().at(0), "GET / HTTP/1.1\r\n" + host() + "\r\n");
}

TEST_F(ExecutorWire, UrlsReachTheRequestLineByteForByte)
{
    const struct {
        std::string path;
        UrlEncoding encoding;
        std::string target;
    } rows[] = {
        {"", UrlEncoding::AsGiven, "/"},
        {"?&lang=en", UrlEncoding::AsGiven, "/?&lang=en"},
        {"/x?&lang=en&headend=&device=N", UrlEncoding::AsGiven, "/x?&lang=en&headend=&device=N"},
        {"/a/../b/./c//d", UrlEncoding::AsGiven, "/a/../b/./c//d"},
        {"/%41%zz%2f+,;=:@!$&'()*[]", UrlEncoding::AsGiven, "/%41%zz%2f+,;=:@!$&'()*[]"},
        {"/caf\xC3\xA9?q=\"<>\\^{|}`", UrlEncoding::AsGiven, "/caf\xC3\xA9?q=\"<>\\^{|}`"},
        {"/x?q=C#", UrlEncoding::AsGiven, "/x?q=C#"},
        {"/x?q=a b\tc\x7F", UrlEncoding::PercentEncode, "/x?q=a%20b%09c%7F"},
        {"/caf\xC3\xA9?q=\"<>\\^{|}`", UrlEncoding::PercentEncode, "/caf%C3%A9?q=%22%3C%3E%5C%5E%7B%7C%7D%60"},
        {"/%41%zz%2f+,;=:@!$&'()*[]~-._#?", UrlEncoding::PercentEncode, "/%41%zz%2f+,;=:@!$&'()*[]~-._#?"},
        {"/a\r\nX: y", UrlEncoding::PercentEncode, "/a%0D%0AX:%20y"},
        {"/a\0b"s, UrlEncoding::PercentEncode, "/a%00b"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        Exchange exchange(HTTP_GET, m_server.url(row.path));
        if (row.encoding == UrlEncoding::PercentEncode) {
            exchange->setEncoding();
        }
        ASSERT_EQ(run(exchange), session::kCompleted);
        const std::string request = m_server.requests().back();
        EXPECT_EQ(request.substr(0, request.find("\r\n")), "GET " + row.target + " HTTP/1.1");
    }
}

TEST_F(ExecutorWire, InvalidRequestsAreNotSent)
{
    const std::string good = m_server.url("/");
    const struct {
        std::string what;
        std::string url;
        HttpHeader header;
    } rows[] = {
        {"blank in the URL", m_server.url("/a b"), {}},
        {"CR LF in the URL", m_server.url("/a\r\nX: y"), {}},
        {"NUL in the URL", m_server.url("/a\0b"s), {}},
        {"file scheme", "file:///etc/passwd", {}},
        {"ftp scheme", "ftp://127.0.0.1/", {}},
        {"no scheme", "/openapi/service", {}},
        {"no URL", "", {}},
        {"no host", "http:///x", {}},
        {"blank in the host", "http://127.0.0.1 evil/x", {}},
        {"bad port", "http://127.0.0.1:port/", {}},
        {"CR in a value", good, headers({{"A", "b\rc"}})},
        {"LF in a value", good, headers({{"A", "b\nInjected: 1"}})},
        {"NUL in a value", good, headers({{"A", "b\0c"s}})},
        {"LF in a name", good, headers({{"A\nB", "c"}})},
        {"NUL in a name", good, headers({{"A\0B"s, "c"}})},
        {"colon in a name", good, headers({{"A: b\tX", "c"}})},
        {"no name", good, headers({{"", "c"}})},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        Exchange exchange(HTTP_GET, row.url, row.header);
        EXPECT_EQ(run(exchange), session::kNotSendable);
        EXPECT_EQ(exchange.code(), 0);
    }
    EXPECT_THAT(m_server.requests(), testing::IsEmpty());
}

TEST_F(ExecutorWire, BodiesHaveALengthAndNoDefaultType)
{
    const std::string large(3 << 20, 'x');
    const struct {
        HTTP_REQUEST_TYPE type;
        const char* verb;
        std::string body;
        bool withLength;
    } rows[] = {
        {HTTP_PUT, "PUT", "country=US&id=7", true}, {HTTP_PUT, "PUT", "", true},        {HTTP_PUT, "PUT", large, true},
        {HTTP_PUT, "PUT", "a\0b"s, true},           {HTTP_POST, "POST", "x", true},     {HTTP_POST, "POST", "", true},
        {HTTP_DELETE, "DELETE", "", false},         {HTTP_DELETE, "DELETE", "x", true}, {HTTP_GET, "GET", "", false},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.verb) + " with " + std::to_string(row.body.size()));
        Exchange exchange(row.type, m_server.url("/p"), headers({{"Token", "t"}}), row.body);
        ASSERT_EQ(run(exchange), session::kCompleted);
        const std::string length =
            row.withLength ? "Content-Length: " + std::to_string(row.body.size()) + "\r\n" : std::string();
        const std::string expected =
            std::string(row.verb) + " /p HTTP/1.1\r\n" + host() + "Token: t\r\n" + length + "\r\n" + row.body;
        EXPECT_TRUE(m_server.requests().back() == expected) << m_server.requests().back().substr(0, 200);
    }
}

TEST_F(ExecutorWire, UploadsStreamTheirFile)
{
    const ScratchDirectory scratch;
    for (const std::size_t size : {std::size_t{0}, std::size_t{5}, std::size_t{2} << 20}) {
        SCOPED_TRACE(size);
        const std::string text(size, 'u');
        std::ofstream(scratch.file("up"), std::ios::binary) << text;
        Exchange exchange(HTTP_PUT, m_server.url("/up"), Exchange::TransferFile{scratch.file("up")},
                          headers({{"T", "1"}}));
        exchange->setOptionFileUpload();
        ASSERT_EQ(run(exchange), session::kCompleted);
        EXPECT_EQ(exchange.payload(), "body");
        const std::string expected =
            "PUT /up HTTP/1.1\r\n" + host() + "T: 1\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" + text;
        EXPECT_TRUE(m_server.requests().back() == expected) << m_server.requests().back().substr(0, 200);
    }
    for (const std::string& path : {scratch.file("missing"), scratch.file("")}) {
        Exchange exchange(HTTP_PUT, m_server.url("/up"), Exchange::TransferFile{path});
        exchange->setOptionFileUpload();
        EXPECT_EQ(run(exchange), session::kFileTrouble) << path;
    }
}

TEST_F(ExecutorWire, HandlesForgetThePreviousRequest)
{
    Exchange put(HTTP_PUT, m_server.url("/p"), headers({{"Accept-encoding", "gzip"}}), "text");
    ASSERT_EQ(run(put), session::kCompleted);
    Exchange get(HTTP_GET, m_server.url("/g"));
    ASSERT_EQ(run(get), session::kCompleted);
    EXPECT_EQ(m_server.requests().back(), "GET /g HTTP/1.1\r\n" + host() + "\r\n");
    EXPECT_EQ(m_server.connections(), 1) << "connections are reused";
}

TEST_F(ExecutorTest, RepliesAreDecodedIfTheRequestNamesTheEncoding)
{
    const std::string text(100'000, 'g');
    const std::string packed = test::gzipped(text);
    const RawServer server([&](RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            connection.answer(packed, "Content-Encoding: gzip\r\n");
        }
    });
    Exchange asked(HTTP_GET, server.url("/"), headers({{"Accept-encoding", "gzip, deflate"}}));
    ASSERT_EQ(run(asked), session::kCompleted);
    EXPECT_TRUE(asked.payload() == text);
    EXPECT_EQ(server.requests().at(0), "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(server.port()) +
                                           "\r\nAccept-encoding: gzip, deflate\r\n\r\n");
    Exchange plain(HTTP_GET, server.url("/"));
    ASSERT_EQ(run(plain), session::kCompleted);
    EXPECT_TRUE(plain.payload() == packed);
}

TEST_F(ExecutorTest, TheCapCountsDecodedBytes)
{
    HttpLimits limits;
    limits.payloadCap = 1000;
    use(limits);
    const RawServer server([&](RawServer::RawConnection& connection) {
        while (const auto request = connection.readRequest()) {
            if (request->find("/bomb") != std::string::npos) {
                connection.answer(test::gzipped(std::string(1'000'000, 0)), "Content-Encoding: gzip\r\n");
            } else {
                connection.answer(std::string(request->find("/fits") != std::string::npos ? 1000 : 1001, 'x'));
            }
        }
    });
    Exchange fits(HTTP_GET, server.url("/fits"));
    EXPECT_EQ(run(fits), session::kCompleted);
    EXPECT_EQ(fits.payload().size(), 1000U);
    Exchange over(HTTP_GET, server.url("/over"));
    EXPECT_EQ(run(over), session::kOutOfMemory);
    EXPECT_EQ(over.payload(), "");
    Exchange bomb(HTTP_GET, server.url("/bomb"), headers({{"Accept-encoding", "gzip"}}));
    EXPECT_EQ(run(bomb), session::kOutOfMemory);
    EXPECT_EQ(bomb.payload(), "");
}

TEST_F(ExecutorTest, DownloadsWriteOnlySuccessfulReplies)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        const std::string request = connection.readRequest().value_or("");
        if (request.find("/good") != std::string::npos) {
            connection.answer("fresh");
        } else if (request.find("/continued") != std::string::npos) {
            connection.send("HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nfresh");
        } else if (request.find("/empty") != std::string::npos) {
            connection.answer("");
        } else if (request.find("/cut") != std::string::npos) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart");
        } else {
            connection.send("HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nerror");
        }
    });
    const ScratchDirectory scratch;
    const std::string path = scratch.file("down");
    const struct {
        const char* url;
        SESSION_STATUS status;
        int code;
        const char* content;
    } rows[] = {
        {"/good", session::kCompleted, 200, "fresh"},  {"/continued", session::kCompleted, 200, "fresh"},
        {"/empty", session::kCompleted, 200, ""},      {"/cut", session::kBrokeOff, 200, "part"},
        {"/missing", session::kCompleted, 404, "old"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        std::ofstream(path) << "old";
        Exchange exchange(HTTP_GET, server.url(row.url), Exchange::TransferFile{path});
        EXPECT_EQ(run(exchange), row.status);
        EXPECT_EQ(exchange.code(), row.code);
        EXPECT_EQ(exchange.payload(), "");
        EXPECT_EQ(readFile(path), row.content);
    }
    std::filesystem::remove(path);
    Exchange missing(HTTP_GET, server.url("/missing"), Exchange::TransferFile{path});
    EXPECT_EQ(run(missing), session::kCompleted);
    EXPECT_FALSE(std::filesystem::exists(path));
    for (const std::string& unwritable : {scratch.file("no/such/directory"), scratch.file(""), "/dev/full"s}) {
        Exchange exchange(HTTP_GET, server.url("/good"), Exchange::TransferFile{unwritable});
        EXPECT_EQ(run(exchange), session::kFileTrouble) << unwritable;
    }
}

TEST_F(ExecutorTest, RedirectsAreNotFollowedAndCookiesNotKept)
{
    const RawServer server([](RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            connection.send(
                "HTTP/1.1 302 Found\r\nLocation: /elsewhere\r\nSet-Cookie: a=b\r\nContent-Length: 0\r\n\r\n");
        }
    });
    for (int i = 0; i < 2; ++i) {
        Exchange exchange(HTTP_GET, server.url("/"));
        EXPECT_EQ(run(exchange), session::kCompleted);
        EXPECT_EQ(exchange.code(), 302);
    }
    for (const std::string& request : server.requests()) {
        EXPECT_THAT(request, testing::Not(testing::HasSubstr("elsewhere")));
    }
    EXPECT_EQ(server.requests().at(0), server.requests().at(1));
}

TEST_F(ExecutorTest, FailuresHaveTheirSessionStatus)
{
    HttpLimits limits;
    limits.stallTimeout = std::chrono::milliseconds(300);
    limits.totalTimeout = std::chrono::milliseconds(1500);
    use(limits);
    const RawServer server([](RawServer::RawConnection& connection) {
        const std::string request = connection.readRequest().value_or("");
        const auto asks = [&](const char* path) { return request.find(path) != std::string::npos; };
        if (asks("/reset")) {
            connection.reset();
        } else if (asks("/garbage")) {
            connection.send("this is not HTTP\r\n\r\n");
        } else if (asks("/cut")) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n12345");
        } else if (asks("/chunk")) {
            connection.send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n");
        } else if (asks("/coding")) {
            connection.answer("not gzip", "Content-Encoding: gzip\r\n");
        } else if (asks("/silent")) {
            connection.waitForEnd();
        } else if (asks("/drip")) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");
            for (int i = 0; i < 40; ++i) {
                connection.send(".");
                std::this_thread::sleep_for(std::chrono::milliseconds(100));  // less than the stall time-out
            }
        }
    });
    int refusing = 0;
    {
        const RawServer gone(answering(""));
        refusing = gone.port();
    }
    const RawServer noTls([](RawServer::RawConnection& connection) {
        connection.send("HTTP/1.1 400 Bad Request\r\n\r\n");
        connection.waitForEnd();
    });
    const struct {
        std::string url;
        SESSION_STATUS status;
    } rows[] = {
        {"http://127.0.0.1:" + std::to_string(refusing) + "/", session::kNoConnection},
        {"http://no-such-name.invalid/", session::kNoConnection},
        {"https://127.0.0.1:" + std::to_string(noTls.port()) + "/", session::kTlsFailed},
        {server.url("/reset"), session::kBrokeOff},
        {server.url("/close"), session::kBrokeOff},
        {server.url("/garbage"), session::kBrokeOff},
        {server.url("/cut"), session::kBrokeOff},
        {server.url("/chunk"), session::kBrokeOff},
        {server.url("/coding"), session::kBrokeOff},
        {server.url("/silent"), session::kTimedOut},
        {server.url("/drip"), session::kTimedOut},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.url);
        Exchange exchange(HTTP_GET, row.url, headers({{"Accept-Encoding", "gzip"}}));
        EXPECT_EQ(run(exchange), row.status);
        EXPECT_EQ(exchange.payload(), "");
    }
}

TEST_F(ExecutorTest, CertificatesAreVerified)
{
    const ScratchDirectory scratch;
    const struct {
        const char* what;
        Certificate certificate;
        bool trusted;
        SESSION_STATUS status;
        const char* payload;
    } rows[] = {
        {"trusted", {}, true, session::kCompleted, "secret"},
        {"self-signed", {}, false, session::kTlsFailed, ""},
        {"of another host", {"127.0.0.2", 3600}, true, session::kTlsFailed, ""},
        {"expired", {"127.0.0.1", -3600}, true, session::kTlsFailed, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        const TlsServer server(row.certificate, scratch.file("ca.pem"));
        HttpLimits limits;
        if (row.trusted) {
            limits.caFile = scratch.file("ca.pem");
        }
        use(limits);
        Exchange exchange(HTTP_GET, server.url());
        EXPECT_EQ(run(exchange), row.status);
        EXPECT_EQ(exchange.payload(), row.payload);
        EXPECT_TRUE(server.wasOfferedHttp2());
        use(HttpLimits());
    }
}

TEST_F(ExecutorTest, CutHandshakeIsTlsFailure)
{
    const RawServer server([](RawServer::RawConnection&) {});
    Exchange exchange(HTTP_GET, "https" + server.url("/").substr(4));
    EXPECT_EQ(run(exchange), session::kTlsFailed);
}

}  // namespace
}  // namespace W::host
