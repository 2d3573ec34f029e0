// Requests that would cost too much: their limits, and the replies that clients get.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GuideSearch.h"
#include "Sample.h"
#include "Session.h"
#include "Viewers.h"

namespace corvaned {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

std::string repeated(const std::string& word, std::size_t times)
{
    std::string text;
    for (std::size_t i = 0; i < times; ++i) {
        text += (text.empty() ? "" : " ") + word + std::to_string(i);
    }
    return text;
}

class SearchLimits : public ::testing::Test {
protected:
    void SetUp() override { test::importSampleInto(under.guide(), under.now(), Zone::named("+00:00")); }

    test::ServiceUnderTest under{"2026-11-20T20:30:00Z"};
    test::Viewer viewer{under, "tv"};
};

TEST_F(SearchLimits, RefusesTooManyWords)
{
    EXPECT_EQ(viewer.get("search/epg_search", "q=" + repeated("w", guide::kMostSearchWords)).at("total"), "0");
    for (const std::size_t words : {17U, 400U, 800U, 2000U}) {
        EXPECT_EQ(viewer.refusal("GET", "search/epg_search", "q=" + repeated("w", words)),
                  "101: parameter 'q' has " + std::to_string(words) + " words; at most 16 are searched for");
    }
    // The words count, whatever separates them.
    EXPECT_THAT(viewer.refusal("GET", "search/epg_search", "q=a-b.c/d_e,f:g;h!i*j(k)l'm\"n^o+p~q"),
                HasSubstr("has 17 words"));
}

TEST_F(SearchLimits, RefusesTooLongWords)
{
    EXPECT_EQ(viewer.get("search/epg_search", "q=" + std::string(64, 'a')).at("total"), "0");
    EXPECT_EQ(viewer.refusal("GET", "search/epg_search", "q=" + std::string(65, 'a')),
              "101: parameter 'q' has a word of more than 64 bytes");
}

class StatementLimits : public SearchLimits {
protected:
    http::Reply ask(ServiceSettings settings, bool abandoned)
    {
        settings.zone = Zone::named("+00:00");
        settings.now = [this] { return under.now(); };
        Service service(under.guide(), under.viewers(), settings);
        http::Request request;
        request.method = "GET";
        request.path = "/openapi/service/vorel/browse/content/list";
        request.query = {{"num", "1000"}};
        request.headers.set("Token", sessionToken(test::openTestSession(under.viewers(), "tv", under.now(), 3600), ""));
        request.abandoned = std::make_shared<std::atomic<bool>>(abandoned);
        return service.answer(request);
    }
};

TEST_F(StatementLimits, ALongStatementGives503)
{
    ServiceSettings settings;
    EXPECT_EQ(ask(settings, false).status, 200);
    settings.statementTime = std::chrono::milliseconds(0);
    const http::Reply reply = ask(settings, false);
    EXPECT_EQ(reply.status, 503);
    EXPECT_EQ(
        reply.body,
        R"({"rsp":{"stat":"FAIL","err":{"code":"503","msg":"the service takes too long to answer this; try again )"
        R"(later"}}})");
    EXPECT_THAT(reply.note, StartsWith("a statement took too long: "));
    EXPECT_THAT(reply.note, HasSubstr("(in: SELECT airing."));
}

TEST_F(StatementLimits, AStatementEndsWhenTheClientLeaves)
{
    const http::Reply reply = ask({}, true);
    EXPECT_EQ(reply.status, 503);
    EXPECT_THAT(reply.note, StartsWith("the client has left: "));
}

}  // namespace
}  // namespace corvaned
