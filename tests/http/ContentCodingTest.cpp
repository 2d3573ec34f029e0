#include "ContentCoding.h"

#include <gtest/gtest.h>

namespace http {
namespace {

TEST(ContentCoding, GzipFollowsAcceptEncoding)
{
    const struct {
        const char* header;
        bool gzip;
    } rows[] = {
        {"", false},
        {"gzip", true},
        {"GZip", true},
        {"gzip, deflate", true},
        {"deflate,gzip", true},
        {"x-gzip", true},
        {"gzip;q=1.0", true},
        {"gzip; q=0.5", true},
        {"gzip;Q=0.001", true},
        {"gzip;q=0", false},
        {"gzip;q=0.000", false},
        {"gzip;q=abc", false},
        {"gzip;q=0.3, identity;q=0.7", false},
        {"gzip;q=0.7, identity;q=0.3", true},
        {"*", true},
        {"*;q=0", false},
        {"*;q=0.5, gzip;q=0", false},
        {"identity", false},
        {"deflate", false},
        {"br", false},
        {"gzipped", false},
        {",,;;=,", false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(acceptsGzip(row.header), row.gzip) << row.header;
    }
}

TEST(ContentCoding, UnpacksWhatItPacked)
{
    for (const std::string& text :
         {std::string(), std::string("x"), std::string(300000, 'a'), std::string("\0\xff", 2)}) {
        GunzipError error{};
        EXPECT_EQ(gunzipped(gzipped(text), text.size(), error), text);
    }
    // Made by gzip(1).
    const std::string hello(
        "\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03\xcb\x48\xcd\xc9\xc9\x07\x00\x86\xa6\x10\x36\x05\x00\x00\x00", 25);
    GunzipError error{};
    EXPECT_EQ(gunzipped(hello, 5, error), "hello");
}

TEST(ContentCoding, RefusesMalformedAndOversizedContent)
{
    GunzipError error{};
    EXPECT_FALSE(gunzipped(gzipped(std::string(100'000, 'a')), 99'999, error));
    EXPECT_EQ(error, GunzipError::TooLarge);
    const std::string good = gzipped("hello");
    for (const std::string& bad : {std::string(), std::string("hello"), good.substr(0, good.size() - 1), good + "x"}) {
        EXPECT_FALSE(gunzipped(bad, 100, error)) << bad.size();
        EXPECT_EQ(error, GunzipError::Malformed);
    }
}

}  // namespace
}  // namespace http
