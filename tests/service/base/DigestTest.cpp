// Expected digests come from sha1sum.
#include "Digest.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

TEST(Digest, NumbersAreHashedLowestByteFirst)
{
    Digest digest;
    digest.add(std::int64_t{0x0102030405060708});
    EXPECT_EQ(digest.hex(), "bdf4f1e774ecc1fadcd82108d8d0cced4df641f3");
}

TEST(Digest, StringsAreHashedWithTheirLength)
{
    Digest digest;
    digest.add("abc");
    EXPECT_EQ(digest.hex(), "5ef511ce7f60fe75173361a87bb91d36e30e9193");
}

TEST(Digest, LongAndShortStringsKeepTheirOrder)
{
    Digest digest;
    digest.add("abc");
    digest.add(std::string(300, 'x'));
    for (int i = 0; i < 40; ++i) {
        digest.add("abc");
    }
    EXPECT_EQ(digest.hex(), "55ae4f2f8fb1507f0bdcf91465a8c2dcb5007302");
}

TEST(Digest, TheNextDigestBeginsEmpty)
{
    Digest digest;
    digest.add("something else");
    digest.hex();
    digest.add("abc");
    EXPECT_EQ(digest.hex(), "5ef511ce7f60fe75173361a87bb91d36e30e9193");
}

}  // namespace
}  // namespace corvaned
