// The status tables, stated independently of the product's, and the error codes of replies.

#include <climits>
#include <set>

#include <gtest/gtest.h>
#include <json/value.h>

#include "FakeHost.h"
#include "VorelService.h"

namespace W::test {
namespace {

TEST(Status, MapsHttpCodes)
{
    for (int code = 0; code <= 700; ++code) {
        int expected = 255;
        switch (code) {
            case 200:
            case 201:
            case 304:
                expected = 0;
                break;
            case 400:
            case 403:
                expected = 141;
                break;
            case 401:
                expected = 142;
                break;
            case 404:
            case 410:
                expected = 45;
                break;
            case 409:
            case 412:
                expected = 44;
                break;
            case 500:
                expected = 43;
                break;
            default:
                break;
        }
        EXPECT_EQ(VorelService::getVorelSTATUS(code), expected) << code;
        EXPECT_EQ(VorelService::HasHTTPOKStatus(code), code == 200 || code == 204) << code;
    }
}

TEST(Status, MapsServiceCodes)
{
    const std::set<std::string> noSession = {"206", "207", "600"};
    const std::set<std::string> badArgument = {"100", "101", "102", "103", "104", "105", "106", "107",
                                               "108", "109", "110", "209", "210", "211", "212"};
    const std::set<std::string> unavailable = {"204", "205", "208", "500", "501", "502", "601", "603"};
    const std::set<std::string> unreachable = {"602", "610"};
    for (int code = 0; code <= 700; ++code) {
        const std::string text = std::to_string(code);
        const int expected = noSession.count(text)     ? 142
                             : badArgument.count(text) ? 1
                             : unavailable.count(text) ? 101
                             : unreachable.count(text) ? 21
                                                       : 255;
        EXPECT_EQ(VorelService::getVorelSTATUS(text), expected) << text;
    }
    EXPECT_EQ(VorelService::getVorelSTATUS("OK"), 0);
    EXPECT_EQ(VorelService::getVorelSTATUS("ok"), 255);
    EXPECT_EQ(VorelService::getVorelSTATUS(""), 255);
    EXPECT_EQ(VorelService::getVorelSTATUS("0206"), 255);
}

int expectedStatus(int gstatus)
{
    if (gstatus == 0 || gstatus == 600) {
        return gstatus;
    }
    switch (gstatus) {
        case 1:
            return -1;
        case 5:
            return -3;
        case 21:
        case 25:
            return -200;
        case 22:
        case 23:
        case 26:
        case 27:
        case 28:
            return -13;
        case 24:
            return -500;
        case 29:
        case 43:
            return -107;
        case 30:
        case 142:
            return -202;
        case 41:
            return -100;
        case 42:
            return -105;
        case 44:
            return -203;
        case 45:
        case 141:
            return -205;
        case 61:
        case 62:
        case 63:
        case 64:
        case 65:
        case 66:
        case 67:
            return -5;
        case 81:
            return -108;
        case 102:
            return -9;
        default:
            return -16;
    }
}

TEST(Status, MapsIntermediateNumbers)
{
    for (int gstatus = -2; gstatus <= 700; ++gstatus) {
        EXPECT_EQ(VorelService::getWlibSTATUS(gstatus), expectedStatus(gstatus)) << gstatus;
    }
    EXPECT_EQ(VorelService::getWlibSTATUS(INT_MIN), -16);
    EXPECT_EQ(VorelService::getWlibSTATUS(INT_MAX), -16);
}

struct ErrorRow {
    const char* stat;
    const char* err;
    int expected;
};

class ErrorCode : public ::testing::TestWithParam<ErrorRow> {};

TEST_P(ErrorCode, FollowsFromTheReply)
{
    FakeHost host;
    const ErrorRow& row = GetParam();
    std::string message;
    const std::string body = std::string(R"({"rsp":{"stat":)") + row.stat + R"(,"err":)" + row.err + "}}";
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt(body, message), row.expected) << body;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ErrorCode,
    ::testing::Values(
        ErrorRow{R"("OK")", "null", 0}, ErrorRow{R"("ok")", "{}", 0}, ErrorRow{R"("oK, fine")", "[]", 0},
        ErrorRow{R"("O")", "null", -9000}, ErrorRow{R"("")", "null", -9000}, ErrorRow{R"("KO")", "{}", -9000},
        // Success with an "err" is a failure.
        ErrorRow{R"("OK")", R"({"code":"101"})", -9101}, ErrorRow{R"("OK")", R"("")", -57},
        ErrorRow{R"("OK")", "0", -57}, ErrorRow{R"("OK")", "false", -57}, ErrorRow{R"("FAIL")", "[]", -57},
        ErrorRow{R"("FAIL")", R"({"code":"101","msg":"m"})", -9101}, ErrorRow{R"("FAIL")", R"({"code":"0"})", -9000},
        ErrorRow{R"("FAIL")", R"({"code":""})", -9000}, ErrorRow{R"("FAIL")", R"({"code":"x12"})", -9000},
        ErrorRow{R"("FAIL")", R"({"code":"12x"})", -9012}, ErrorRow{R"("FAIL")", R"({"code":206})", -9206},
        ErrorRow{R"("FAIL")", R"({"code":"-9500"})", -500}, ErrorRow{R"("FAIL")", R"({"code":"-9000"})", 0},
        ErrorRow{R"("FAIL")", R"({"code":"-1"})", -8999},
        // Overflow never turns a failure into success.
        ErrorRow{R"("FAIL")", R"({"code":"2147483647"})", INT_MIN},
        ErrorRow{R"("FAIL")", R"({"code":"99999999999999999999"})", INT_MIN},
        ErrorRow{R"("FAIL")", R"({"code":"-99999999999999999999"})", INT_MIN + 9000},
        ErrorRow{R"("FAIL")", R"({"code":{}})", -57}, ErrorRow{R"("FAIL")", R"({"code":"1","msg":[]})", -57},
        ErrorRow{"[]", "null", -57}));

TEST(ErrorText, IsNotReadFromStringsThatAreNotReplies)
{
    FakeHost host;
    std::string message = "kept";
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt(std::string(), message), -56);
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt("<html>", message), -56);
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt("[]", message), -57);
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt(R"({"rsp":"x"})", message), -57);
    EXPECT_EQ(message, "kept");
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt("null", message), -9000);
}

TEST(ErrorText, IsPrintedAndReturned)
{
    FakeHost host;
    std::string message;
    Json::Value err;
    err["code"] = "101";
    err["msg"] = "bad";
    EXPECT_EQ(VorelService::ExtractErrorCodeInInt("FAIL", err, message), -9101);
    EXPECT_EQ(message, "bad");
    ASSERT_EQ(host.texts(8).size(), 1u);
    const std::string line = host.texts(8)[0];
    EXPECT_EQ(line.rfind("[ExtractErrorCodeInInt] [ExtractErrorCodeInInt:", 0), 0u) << line;
    EXPECT_NE(line.find("] Error Code:101   ErrorMsg:bad\n"), std::string::npos) << line;
}

}  // namespace
}  // namespace W::test
