#include "ContentCoding.h"

#include <gtest/gtest.h>

#include "ByteSource.h"

namespace corvaned {
namespace {

TEST(ContentCoding, GzipIsTakenWhereItIsWanted)
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

TEST(ContentCoding, PackedTextsUnpack)
{
    for (const std::string& text :
         {std::string(), std::string("x"), std::string(300000, 'a'), std::string("\0\xff", 2)}) {
        const std::string packed = gzipped(text);
        const std::unique_ptr<ByteSource> source = openMemory(packed, "packed");
        std::string unpacked(text.size() + 1, '\0');
        std::size_t filled = 0;
        while (const std::size_t count = source->read(unpacked.data() + filled, unpacked.size() - filled)) {
            filled += count;
        }
        unpacked.resize(filled);
        EXPECT_EQ(unpacked, text);
    }
}

}  // namespace
}  // namespace corvaned
