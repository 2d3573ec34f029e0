// docs/statuses.md against the numbers of the boundary and the tables of the plug-in.

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include <gtest/gtest.h>
#include <json/value.h>

#include "FakeHost.h"
#include "VorelService.h"

namespace W::test {
namespace {

std::string contentOf(const std::string& path)
{
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    EXPECT_FALSE(text.str().empty()) << path << " cannot be read";
    return text.str();
}

/// The first two cells of every row of the table whose first heading is given.
std::multimap<std::string, std::string> rowsOf(const std::string& heading)
{
    std::istringstream page(contentOf(CORVANE_STATUSES_PAGE));
    std::multimap<std::string, std::string> rows;
    bool inTable = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("| " + heading + " |", 0) == 0) {
            inTable = true;
        } else if (line.rfind('|', 0) != 0) {
            inTable = false;
        } else if (inTable && line.rfind("|---", 0) != 0) {
            const std::size_t middle = line.find(" | ");
            const std::size_t end = line.find(" |", middle + 3);
            rows.emplace(line.substr(2, middle - 2), line.substr(middle + 3, end - middle - 3));
        }
    }
    EXPECT_FALSE(rows.empty()) << "no table " << heading;
    return rows;
}

/// The constants of type WSTATUS in the header of the numbers, by name.
std::map<std::string, int> constants()
{
    static const std::string kDeclaration = "constexpr WSTATUS ";
    std::istringstream header(contentOf(CORVANE_TYPES_HEADER));
    std::map<std::string, int> found;
    for (std::string line; std::getline(header, line);) {
        const std::size_t begin = line.find(kDeclaration);
        const std::size_t equals = line.find(" = ");
        if (begin != std::string::npos && equals != std::string::npos) {
            const std::size_t name = begin + kDeclaration.size();
            found[line.substr(name, equals - name)] = std::stoi(line.substr(equals + 3));
        }
    }
    EXPECT_GE(found.size(), 16u);
    return found;
}

std::string only(const std::multimap<std::string, std::string>& rows, const std::string& key)
{
    const auto found = rows.find(key);
    if (found == rows.end()) {
        return rows.count("any other") == 1 ? rows.find("any other")->second : "missing";
    }
    EXPECT_EQ(rows.count(key), 1u) << key;
    return found->second;
}

std::set<int> statedStatuses()
{
    std::set<int> statuses;
    for (const auto& [status, seen] : rowsOf("Status")) {
        if (status != "below -500") {
            statuses.insert(std::stoi(status));
        }
    }
    return statuses;
}

TEST(StatusPage, NamesEveryStatusOfTheBoundary)
{
    const std::set<int> stated = statedStatuses();
    for (const auto& [name, number] : constants()) {
        EXPECT_TRUE(number == status::kServiceError || stated.count(number) == 1) << name << " " << number;
    }
}

TEST(StatusPage, NamesNoOtherStatus)
{
    std::set<int> known;
    for (int gstatus = 0; gstatus <= 700; ++gstatus) {
        known.insert(VorelService::getWlibSTATUS(gstatus));
    }
    for (const auto& [name, number] : constants()) {
        known.insert(number);
    }
    for (const int status : statedStatuses()) {
        EXPECT_EQ(known.count(status), 1u) << status;
        EXPECT_STRNE(WSTATUS2STRING(status), "unknown status") << status;
    }
    for (const int status : known) {
        EXPECT_TRUE(statedStatuses().count(status) == 1 || status == status::kServiceError) << status;
    }
}

TEST(StatusPage, StatesWhatHttpCodesBecome)
{
    const auto rows = rowsOf("HTTP code");
    for (int code = 0; code <= 700; ++code) {
        const std::string expected =
            VorelService::HasHTTPOKStatus(code)
                ? "read"
                : std::to_string(VorelService::getWlibSTATUS(VorelService::getVorelSTATUS(code)));
        EXPECT_EQ(only(rows, std::to_string(code)), expected) << code;
    }
}

TEST(StatusPage, StatesWhatExchangesBecome)
{
    const auto rows = rowsOf("Exchange status");
    for (int session = 1; session <= 700; ++session) {
        EXPECT_EQ(only(rows, std::to_string(session)), std::to_string(VorelService::getWlibSTATUS(session))) << session;
    }
}

TEST(StatusPage, StatesWhatErrorCodesBecome)
{
    const FakeHost host;
    for (const auto& [code, status] : rowsOf("Code")) {
        Json::Value err;
        err["code"] = code.substr(1, code.size() - 2);
        std::string message;
        EXPECT_EQ(std::to_string(VorelService::ExtractErrorCodeInInt("FAIL", err, message)), status) << code;
    }
}

}  // namespace
}  // namespace W::test
