// Compares docs/contract.md and docs/reliability.md with the sources of the tests: every test that a page names exists,
// and every item of the contract that can be tested names a test.

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace W::test {
namespace {

namespace fs = std::filesystem;

std::string contentOf(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string pageOf(const char* name)
{
    return contentOf(fs::path(CORVANE_DOCS) / name);
}

/// "Suite.Name" of a line that begins a test; empty for other lines.
std::string testOfLine(const std::string& line)
{
    const std::size_t open = line.find('(');
    const std::size_t comma = line.find(", ");
    const std::size_t close = line.find(')');
    if (line.rfind("TEST", 0) != 0 || open > comma || comma > close || close == std::string::npos) {
        return {};
    }
    return line.substr(open + 1, comma - open - 1) + "." + line.substr(comma + 2, close - comma - 2);
}

std::set<std::string> testsOfSources()
{
    std::set<std::string> found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(CORVANE_TESTS)) {
        if (entry.path().extension() != ".cpp") {
            continue;
        }
        std::ifstream in(entry.path());
        for (std::string line; std::getline(in, line);) {
            found.insert(testOfLine(line));
        }
    }
    return found;
}

/// The words in back-ticks that look like "Suite.Name".
std::vector<std::string> testsNamedIn(const std::string& text)
{
    std::vector<std::string> named;
    for (std::size_t at = text.find('`'); at != std::string::npos; at = text.find('`', at)) {
        const std::size_t end = text.find('`', at + 1);
        if (end == std::string::npos) {
            break;
        }
        const std::string word = text.substr(at + 1, end - at - 1);
        const std::size_t dot = word.find('.');
        const bool isName = std::all_of(word.begin(), word.end(),
                                        [](unsigned char c) { return std::isalnum(c) != 0 || c == '_' || c == '.'; });
        if (isName && dot != std::string::npos && dot + 1 < word.size() && std::isupper(word[dot + 1]) != 0) {
            named.push_back(word);
        }
        at = end + 1;
    }
    return named;
}

TEST(ContractPage, NamesTestsThatExistAsDoesTheReliabilityPage)
{
    const std::set<std::string> tests = testsOfSources();
    ASSERT_GT(tests.size(), 100u);
    for (const char* page : {"contract.md", "reliability.md"}) {
        const std::vector<std::string> named = testsNamedIn(pageOf(page));
        EXPECT_GE(named.size(), 15u) << page;
        for (const std::string& test : named) {
            EXPECT_EQ(tests.count(test), 1u) << page << " names " << test;
        }
    }
}

/// Duties of the host and prohibitions cannot be tested here.
TEST(ContractPage, EveryItemExceptTheHostsDutiesNamesATest)
{
    const std::set<int> hostsDuties = {14, 17};
    std::map<int, std::string> items;
    std::istringstream in(pageOf("contract.md"));
    int current = 0;
    for (std::string line; std::getline(in, line);) {
        const std::size_t dot = line.find(". ");
        if (!line.empty() && std::isdigit(static_cast<unsigned char>(line[0])) != 0 && dot != std::string::npos) {
            EXPECT_EQ(std::stoi(line), current + 1);
            current = std::stoi(line);
        } else if (line.empty() || line[0] == '#') {
            continue;
        }
        items[current] += line + "\n";
    }
    items.erase(0);
    EXPECT_GE(items.size(), 22u);
    for (const auto& [number, text] : items) {
        EXPECT_EQ(testsNamedIn(text).empty(), hostsDuties.count(number) != 0) << text;
    }
}

}  // namespace
}  // namespace W::test
