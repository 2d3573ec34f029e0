#include "ReplyFinish.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace http {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

struct FinishedAnswer {
    std::string head;
    std::string body;
};

FinishedAnswer answerTo(const HeaderFields& headers, const std::string& method = "GET",
                        const std::string& tag = "\"t\"", bool isShared = false,
                        const std::string& content = "0123456789")
{
    Request request;
    request.method = method;
    request.headers = headers;
    Reply reply;
    if (!tag.empty()) {
        reply.headers.set("ETag", tag);
    }
    if (isShared) {
        reply.sharedBody = std::make_shared<const std::string>(content);
    } else {
        reply.body = content;
    }
    const OutgoingReply out = finishReply(request, std::move(reply), true);
    return {out.head, std::string(out.content())};
}

HeaderFields fields(std::initializer_list<HeaderFields::Field> list)
{
    HeaderFields made;
    for (const auto& [name, value] : list) {
        made.add(name, value);
    }
    return made;
}

TEST(ReplyFinish, SendsASingleRangeOnly)
{
    const struct {
        const char* range;
        const char* status;
        const char* contentRange;
        const char* body;
    } rows[] = {
        {"bytes=0-3", "206 Partial Content", "bytes 0-3/10", "0123"},
        {"bytes=4-", "206 Partial Content", "bytes 4-9/10", "456789"},
        {"bytes=-3", "206 Partial Content", "bytes 7-9/10", "789"},
        {"bytes=-30", "206 Partial Content", "bytes 0-9/10", "0123456789"},
        {"bytes=9-999", "206 Partial Content", "bytes 9-9/10", "9"},
        {"Bytes=0-0", "206 Partial Content", "bytes 0-0/10", "0"},
        {"bytes=10-", "416 Range Not Satisfiable", "bytes */10", ""},
        {"bytes=-0", "416 Range Not Satisfiable", "bytes */10", ""},
        {"bytes=0-1,3-4", "200 OK", "", "0123456789"},
        {"bytes=-,-,-", "200 OK", "", "0123456789"},
        {"bytes=-", "200 OK", "", "0123456789"},
        {"bytes=3-1", "200 OK", "", "0123456789"},
        {"bytes=a-b", "200 OK", "", "0123456789"},
        {"bytes=+1-2", "200 OK", "", "0123456789"},
        {"bytes=99999999999999999999-", "200 OK", "", "0123456789"},
        {"lines=1-2", "200 OK", "", "0123456789"},
    };
    for (const auto& row : rows) {
        for (const bool isShared : {false, true}) {
            const FinishedAnswer answer = answerTo(fields({{"Range", row.range}}), "GET", "", isShared);
            EXPECT_THAT(answer.head, StartsWith(std::string("HTTP/1.1 ") + row.status + "\r\n")) << row.range;
            EXPECT_EQ(answer.body, row.body) << row.range;
            EXPECT_THAT(answer.head, HasSubstr("Content-Length: " + std::to_string(answer.body.size()) + "\r\n"));
            if (*row.contentRange != '\0') {
                EXPECT_THAT(answer.head, HasSubstr(std::string("Content-Range: ") + row.contentRange + "\r\n"));
            }
        }
    }
    EXPECT_THAT(answerTo(fields({{"Range", "bytes=0-3"}}), "PUT").head, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(answerTo(fields({{"Range", "bytes=0-0"}}), "GET", "", false, "").head, StartsWith("HTTP/1.1 416 "));
}

TEST(ReplyFinish, RangesRequireTheSameVersion)
{
    EXPECT_THAT(answerTo(fields({{"Range", "bytes=0-3"}, {"If-Range", "\"t\""}})).head, StartsWith("HTTP/1.1 206 "));
    EXPECT_THAT(answerTo(fields({{"Range", "bytes=0-3"}, {"If-Range", "\"u\""}})).head, StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(answerTo(fields({{"Range", "bytes=0-3"}, {"If-Range", "\"t\""}}), "GET", "").head,
                StartsWith("HTTP/1.1 200 "));
}

TEST(ReplyFinish, MatchingTagGets304)
{
    for (const char* list : {"\"t\"", "W/\"t\"", "\"a\", \"t\"", "*"}) {
        const FinishedAnswer answer = answerTo(fields({{"If-None-Match", list}}));
        EXPECT_THAT(answer.head, AllOf(StartsWith("HTTP/1.1 304 "), Not(HasSubstr("Content-Length")))) << list;
        EXPECT_EQ(answer.body, "") << list;
    }
    EXPECT_EQ(answerTo(fields({{"If-None-Match", "\"other\""}})).body, "0123456789");
}

TEST(ReplyFinish, CompressesLargeContent)
{
    const HeaderFields gzip = fields({{"Accept-Encoding", "gzip"}});
    EXPECT_THAT(answerTo(gzip).head, Not(HasSubstr("Content-Encoding")));
    const FinishedAnswer packed = answerTo(gzip, "GET", "\"t\"", false, std::string(10000, 'x'));
    EXPECT_THAT(packed.head, AllOf(HasSubstr("Content-Encoding: gzip\r\n"), HasSubstr("ETag: W/\"t\"\r\n"),
                                   HasSubstr("Vary: Accept-Encoding\r\n")));
    EXPECT_LT(packed.body.size(), 100U);
    const FinishedAnswer part = answerTo(fields({{"Accept-Encoding", "gzip"}, {"Range", "bytes=0-599"}}), "GET",
                                         "\"t\"", false, std::string(10000, 'x'));
    EXPECT_EQ(part.body, std::string(600, 'x'));
    EXPECT_THAT(part.head, Not(HasSubstr("Content-Encoding")));
}

TEST(ReplyFinish, HeadHasTheHeadersOfGet)
{
    const FinishedAnswer answer = answerTo({}, "HEAD");
    EXPECT_THAT(answer.head, HasSubstr("Content-Length: 10\r\n"));
    EXPECT_EQ(answer.body, "");
}

TEST(ReplyFinish, HeaderValuesCannotInjectLines)
{
    EXPECT_THAT(answerTo({}, "GET", "a\r\nSet-Cookie: b").head, HasSubstr("ETag: aSet-Cookie: b\r\n"));
}

}  // namespace
}  // namespace http
