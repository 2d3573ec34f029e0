#include "UrlDecoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace http {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

TEST(UrlDecoding, DecodesPercentEncoding)
{
    const struct {
        const char* text;
        std::string path;
        std::string query;
    } rows[] = {
        {"", "", ""},
        {"a+b", "a+b", "a b"},
        {"%41%62%7a", "Abz", "Abz"},
        {"%e2%82%AC", "\xe2\x82\xac", "\xe2\x82\xac"},
        {"%00", std::string(1, '\0'), std::string(1, '\0')},
        {"%", "%", "%"},
        {"%4", "%4", "%4"},
        {"%zz%4g", "%zz%4g", "%zz%4g"},
        {"%2541", "%41", "%41"},
        {"100%", "100%", "100%"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(percentDecoded(row.text, Plus::IsPlus), row.path) << row.text;
        EXPECT_EQ(percentDecoded(row.text, Plus::IsBlank), row.query) << row.text;
    }
}

TEST(UrlDecoding, ReadsQueries)
{
    EXPECT_THAT(parseQuery("b=2&a=1&a=0&c&d=&%65=x%26y&&f=g=h"),
                ElementsAre(Pair("a", "1"), Pair("a", "0"), Pair("b", "2"), Pair("c", ""), Pair("d", ""),
                            Pair("e", "x&y"), Pair("f", "g=h")));
    EXPECT_TRUE(parseQuery("").empty());
    EXPECT_TRUE(parseQuery("&&").empty());
}

}  // namespace
}  // namespace http
