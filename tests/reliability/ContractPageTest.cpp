// docs/contract.md and docs/reliability.md against the sources of the tests: every test that a page names is there, and
// every sentence of the contract that a test can hold names one.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace W::test {
namespace {

namespace fs = std::filesystem;

std::string textOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// "Suite.Name" of every test that stands in a source.
std::set<std::string> testsOfSources()
{
    std::set<std::string> found;
    const std::regex test(R"(\nTEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\))");
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(CORVANE_TESTS)) {
        if (entry.path().extension() != ".cpp")
            continue;
        const std::string text = textOf(entry.path());
        for (std::sregex_iterator match(text.begin(), text.end(), test), end; match != end; ++match)
            found.insert((*match)[1].str() + "." + (*match)[2].str());
    }
    return found;
}

std::vector<std::string> testsOfPage(const std::string& page)
{
    std::vector<std::string> named;
    const std::regex name(R"(`(\w+\.[A-Z]\w+)`)");
    const std::string text = textOf(fs::path(CORVANE_DOCS) / page);
    for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match)
        named.push_back((*match)[1].str());
    return named;
}

TEST(ContractPage, NamesTestsThatExist)
{
    const std::set<std::string> tests = testsOfSources();
    ASSERT_GT(tests.size(), 100u);
    const std::vector<std::string> named = testsOfPage("contract.md");
    EXPECT_GE(named.size(), 20u);
    for (const std::string& test : named)
        EXPECT_EQ(tests.count(test), 1u) << test;
}

/// What only the host can keep, or what forbids something, has no test.
TEST(ContractPage, EverySentenceButTheHostsOwnDutiesNamesATest)
{
    const std::set<int> hostsDuties = {13, 14, 17};
    const std::string text = textOf(fs::path(CORVANE_DOCS) / "contract.md");
    const std::regex item(R"(\n(\d+)\. ([^#]*?)(?=\n\d+\. |\n\n|$))");
    int last = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), item), end; match != end; ++match) {
        const int number = std::stoi((*match)[1].str());
        EXPECT_EQ(number, last + 1);
        last = number;
        const bool namesOne = (*match)[2].str().find("[`") != std::string::npos;
        EXPECT_EQ(namesOne, hostsDuties.count(number) == 0) << number << ". " << (*match)[2].str();
    }
    EXPECT_GE(last, 22);
}

}  // namespace
}  // namespace W::test
