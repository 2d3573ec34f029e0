// The table of live requests: references, growth, and what happens when all references are in use.

#include "RequestTable.h"

#include <deque>
#include <vector>

#include <gtest/gtest.h>

namespace W::test {
namespace {

using vorel::RequestTable;

struct RequestTableTest : ::testing::Test {
    std::deque<VorelRequestInfo> records;  ///< the tables own none

    /// Adds a record under the next reference. @return 0 if there is none
    UINT64 addNext(RequestTable& table, std::int32_t& counter)
    {
        if (!table.advance(counter)) {
            return 0;
        }
        records.emplace_back().reference = static_cast<UINT64>(counter);
        table.add(&records.back());
        return records.back().reference;
    }
};

TEST_F(RequestTableTest, HasNoReferenceLeftWhenAllAreInUse)
{
    RequestTable table(3);
    std::int32_t counter = 0;
    EXPECT_EQ(addNext(table, counter), 1u);
    EXPECT_EQ(addNext(table, counter), 2u);
    EXPECT_EQ(addNext(table, counter), 3u);
    EXPECT_EQ(addNext(table, counter), 0u);
    EXPECT_EQ(counter, 3) << "unchanged";
    EXPECT_NE(table.remove(2), nullptr);
    EXPECT_EQ(addNext(table, counter), 2u) << "1 and 3 are in use";
    EXPECT_EQ(addNext(table, counter), 0u);
}

TEST_F(RequestTableTest, FindsAndRemovesEveryRecordHoweverManyThereAre)
{
    constexpr UINT64 kCount = 5000;
    RequestTable table(10000000);
    std::int32_t counter = 9999000;
    std::vector<UINT64> references;
    for (UINT64 count = 0; count < kCount; ++count) {
        references.push_back(addNext(table, counter));
    }
    EXPECT_EQ(references[1000], 1u) << "starts again after ten million";
    EXPECT_EQ(table.size(), kCount);
    for (const UINT64 reference : references) {
        ASSERT_NE(table.find(reference), nullptr) << reference;
        EXPECT_EQ(table.find(reference)->reference, reference);
    }
    EXPECT_EQ(table.find(0), nullptr);
    EXPECT_EQ(table.find(kCount), nullptr);
    std::size_t seen = 0;
    table.forEach([&seen](const VorelRequestInfo& /*record*/) { ++seen; });
    EXPECT_EQ(seen, kCount);
    for (const UINT64 reference : references) {
        if (reference % 3 != 0) {
            EXPECT_NE(table.remove(reference), nullptr);
            EXPECT_EQ(table.remove(reference), nullptr);
        }
    }
    for (const UINT64 reference : references) {
        EXPECT_EQ(table.find(reference) != nullptr, reference % 3 == 0) << reference;
    }
}

}  // namespace
}  // namespace W::test
