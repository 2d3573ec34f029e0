// Runs the tests; at the end, every operation of docs/operations.md must have been called by one of them.
#include <cstring>
#include <fstream>

#include <gmock/gmock.h>

#include "Television.h"

namespace W::test {
namespace {

/// Headings are "## 4 getGenreList".
std::set<std::string> documentedOperations()
{
    std::set<std::string> names;
    std::ifstream page(CORVANE_OPERATIONS_PAGE);
    for (std::string line; std::getline(page, line);) {
        const std::size_t name = line.rfind(' ') + 1;
        if (line.rfind("## ", 0) == 0 && std::isdigit(static_cast<unsigned char>(line[3])) != 0) {
            names.insert(line.substr(name));
        }
    }
    names.insert("getTodaySchedule");  // reads a file and has no key
    return names;
}

class OperationsCalled : public testing::Environment {
public:
    void TearDown() override
    {
        // Only some tests ran.
        if (std::strcmp(testing::GTEST_FLAG(filter).c_str(), "*") != 0) {
            return;
        }
        EXPECT_EQ(documentedOperations().size(), 50U);
        EXPECT_EQ(Television::called(), documentedOperations());
    }
};

}  // namespace
}  // namespace W::test

int main(int argc, char** argv)
{
    testing::InitGoogleMock(&argc, argv);
    testing::AddGlobalTestEnvironment(new W::test::OperationsCalled);
    return RUN_ALL_TESTS();
}
