#include "Arguments.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

constexpr ParameterRule kRules[] = {
    {"name", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"ids", ParameterPlace::Query, ParameterKind::List, Presence::Required},
    {"hours", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1, 24},
    {"sizes", ParameterPlace::Query, ParameterKind::Numbers, Presence::Optional},
    {"from", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
    {"DUID", ParameterPlace::Header, ParameterKind::String, Presence::Required},
};

http::Request requestOf(std::multimap<std::string, std::string> query, const std::string& device = "d")
{
    http::Request request;
    request.method = "GET";
    request.path = "/";
    request.query = std::move(query);
    request.headers.set("DUID", device);
    return request;
}

TEST(Arguments, AreReadByTheirRows)
{
    const Arguments arguments(kRules, requestOf({{"ids", "a,b,,c,"},
                                                 {"hours", "24"},
                                                 {"sizes", "1,2"},
                                                 {"from", "2026-11-21T01:30:00Z"},
                                                 {"unknown", "ignored"}}));
    EXPECT_EQ(arguments.string("name"), "");
    EXPECT_EQ(arguments.list("ids"), (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_EQ(arguments.number("hours"), 24);
    EXPECT_EQ(arguments.number("from"), 1795224600);
    EXPECT_EQ(arguments.string("DUID"), "d");
    EXPECT_THROW(arguments.string("unknown"), std::out_of_range);
}

TEST(Arguments, AbsentNumbersGetTheEndpointsDefault)
{
    const Arguments arguments(kRules, requestOf({{"ids", "a"}, {"hours", ""}}));
    EXPECT_EQ(arguments.number("hours", 6), 6);
    EXPECT_EQ(arguments.number("from", -1), -1);
}

TEST(Arguments, FaultsNameTheParameter)
{
    const struct {
        std::multimap<std::string, std::string> query;
        const char* device;
        ServiceCode code;
        const char* message;
    } rows[] = {
        {{}, "d", ServiceCode::MissingValue, "parameter 'ids' is missing"},
        {{{"ids", ""}}, "d", ServiceCode::MissingValue, "parameter 'ids' is missing"},
        {{{"ids", ",,"}}, "d", ServiceCode::MissingValue, "parameter 'ids' is missing"},
        {{{"ids", "a"}}, "", ServiceCode::MissingValue, "header 'DUID' is missing"},
        {{{"ids", "a"}, {"hours", "0"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'hours' is '0'; it must be a number from 1 to 24"},
        {{{"ids", "a"}, {"hours", "25"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'hours' is '25'; it must be a number from 1 to 24"},
        {{{"ids", "a"}, {"hours", "1x"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'hours' is '1x'; it must be a number from 1 to 24"},
        {{{"ids", "a"}, {"hours", "99999999999999999999"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'hours' is '99999999999999999999'; it must be a number from 1 to 24"},
        {{{"ids", "a"}, {"sizes", "1,two"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'sizes' is 'two'; it must be a number from 0 to 2147483647"},
        {{{"ids", "a"}, {"sizes", "-1"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'sizes' is '-1'; it must be a number from 0 to 2147483647"},
        {{{"ids", "a"}, {"from", "now"}},
         "d",
         ServiceCode::BadValue,
         "parameter 'from' is 'now'; it must be a time such as 2026-11-21T01:30:00Z"},
    };
    for (const auto& row : rows) {
        try {
            const Arguments arguments(kRules, requestOf(row.query, row.device));
            ADD_FAILURE() << "not refused: " << row.message;
        } catch (const Refusal& refusal) {
            EXPECT_STREQ(refusal.what(), row.message);
            EXPECT_EQ(refusal.code(), row.code) << row.message;
        }
    }
}

constexpr ParameterRule kPutRules[] = {
    {"id", ParameterPlace::Path, ParameterKind::String, Presence::Required},
    {"type", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"device", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};

http::Request putOf(std::string_view body, const std::string& path = "/user/favorite")
{
    http::Request request = requestOf({});
    request.method = "PUT";
    request.path = path;
    request.body = body;
    return request;
}

TEST(Arguments, PutParametersAreReadFromTheBodyToo)
{
    const Arguments arguments(kPutRules, putOf("country=US&device=X&type=50% a+b&typed=no&type=second"), "7");
    EXPECT_EQ(arguments.string("id"), "7");
    EXPECT_EQ(arguments.string("type"), "50% a+b") << "bodies are not escaped";
    EXPECT_EQ(arguments.string("device"), "X");
}

TEST(Arguments, TheQueryOverridesTheBody)
{
    http::Request request = putOf("type=body&device=D");
    request.query.emplace("type", "query");
    const Arguments arguments(kPutRules, request, "7");
    EXPECT_EQ(arguments.string("type"), "query");
    EXPECT_EQ(arguments.string("device"), "D");
}

TEST(Arguments, OtherMethodsIgnoreTheBody)
{
    http::Request request = putOf("type=body");
    request.method = "DELETE";
    EXPECT_EQ(Arguments(kPutRules, request, "7").string("type"), "");
}

TEST(Arguments, MayBeAppendedToThePath)
{
    EXPECT_EQ(properPath("/user/favorite&device=N"), "/user/favorite");
    EXPECT_EQ(properPath("/user/favorite"), "/user/favorite");
    EXPECT_EQ(Arguments(kPutRules, putOf("type=channel", "/user/favorite&device=N"), "7").string("device"), "N");
    EXPECT_EQ(Arguments(kPutRules, putOf("&&=&type", "/user/favorite&"), "7").string("type"), "");
}

TEST(Arguments, PathParametersAreRequired)
{
    EXPECT_THROW(Arguments(kPutRules, putOf(""), ""), Refusal);
}

}  // namespace
}  // namespace corvaned
