// The list in which results reach a callback.

#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "WContainer.h"
#include "WVLGenre.h"

// As the library exports it.
extern template class W::WContainer<W::WVLGenre>;

namespace W::test {
namespace {

std::list<WVLGenre> genres(const std::vector<std::string>& ids)
{
    std::list<WVLGenre> list;
    for (const std::string& id : ids) {
        list.emplace_back().setGenreID(id);
    }
    return list;
}

TEST(Container, IsEmptyAtFirst)
{
    const WContainer<WVLGenre> container;
    EXPECT_EQ(container.getCount(), 0);
    EXPECT_TRUE(container.getData().empty());
}

TEST(Container, CopiesAListAndKeepsTheCount)
{
    WContainer<WVLGenre> container;
    const std::list<WVLGenre> list = genres({"a", "b"});
    container.setData(list);
    EXPECT_EQ(container.getCount(), 0);
    EXPECT_EQ(container.getData().size(), 2u);
    EXPECT_NE(&container.getData().front(), &list.front());
    container.setCount(2);
    EXPECT_EQ(container.getCount(), 2);
    container.data().pop_front();
    EXPECT_EQ(container.getData().front().getGenreID(), "b");
}

TEST(Container, HasCountMinusOneAfterClear)
{
    WContainer<WVLGenre> container;
    container.data() = genres({"a"});
    container.setCount(1);
    container.clear();
    EXPECT_EQ(container.getCount(), -1);
    EXPECT_TRUE(container.getData().empty());
}

}  // namespace
}  // namespace W::test
