// The results of every parser for bodies that are not replies, replies that report an error, and odd but good replies.

#include <climits>

#include <gtest/gtest.h>

#include "ParseCases.h"
#include "Reply.h"

namespace W::test {
namespace {

struct Envelopes : ::testing::TestWithParam<ParserCase> {
    FakeHost host;
    WVorelOAI object;
    const ParserCase& row = GetParam();

    /// Parses into outputs that are not empty.
    Results parse(const std::string& body, Outputs outputs = Outputs::Filled)
    {
        Calling calling;
        calling.body = body;
        calling.owner = &object;
        calling.outputs = outputs;
        host.forgetLines();
        return row.parse(calling);
    }

    /// The contents of the outputs before the call.
    Shown before() { return parse("").outputs; }

    std::string errorLine(int status) const
    {
        return std::string("[") + row.function + "] #ERROR WSTATUS:" + WSTATUS2STRING(status) + "(" +
               std::to_string(status) + ")\tFILE:ContentsManager/WLib/Plugins/Corvane/src/VorelCommand(";
    }

    void expectLastIsErrorLine(int status)
    {
        const std::vector<Line> lines = host.lines();
        ASSERT_FALSE(lines.empty());
        EXPECT_EQ(lines.back().text.rfind(errorLine(status), 0), 0u) << lines.back().text;
        EXPECT_EQ(lines.back().level, 1u);
        EXPECT_EQ(lines.back().flags, 0u);
        EXPECT_EQ(host.texts(1).size(), 1u);
    }

    void expectUntouched(const std::string& body, int status)
    {
        SCOPED_TRACE(body);
        const Shown untouched = before();
        const Results results = parse(body);
        EXPECT_EQ(results.status, status);
        EXPECT_EQ(results.outputs, untouched);
        expectLastIsErrorLine(status);
    }

    /// A body that makes the JSON library throw before anything is read.
    void expectUnreadable(const std::string& body)
    {
        SCOPED_TRACE(body.substr(0, 100));
        Shown expected = before();
        for (auto& [name, output] : expected.items()) {
            if (row.onException == OutputsOnException::Clears && output.contains("count")) {
                output = {{"count", -1}, {"list", Shown::array()}};
            }
        }
        const Results results = parse(body);
        EXPECT_EQ(results.outputs, expected);
        if (row.onException == OutputsOnException::Passes) {
            EXPECT_EQ(results.status, kThrown);
            EXPECT_TRUE(host.lines().empty());
            return;
        }
        EXPECT_EQ(results.status, row.unreadable);
        expectLastIsErrorLine(row.unreadable);
        EXPECT_EQ(host.lines().size(), 2u);
    }

    Tree replyWith(const Tree& stat, const Tree& err)
    {
        Tree rsp = fullReply(row);
        rsp["stat"] = stat;
        rsp["err"] = err;
        return rsp;
    }
};

TEST_P(Envelopes, InvalidJsonIsMinus56AndLoggedWhole)
{
    for (const char* const body : {"", "  ", "<html>504</html>", "{\"rsp\":", "{\"rsp\":{\"stat\":\"OK\",}}"}) {
        expectUntouched(body, -56);
        const std::vector<Line> lines = host.lines();
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0].text, std::string("[") + row.function + "] This is not JSON format\n" +
                                     "=======================\n" + body + "\n=========================");
        EXPECT_EQ(lines[0].level, 8u);
        EXPECT_EQ(lines[0].flags, 0u);
    }
}

TEST_P(Envelopes, JsonThatIsNotAReplyIsUnreadable)
{
    for (const char* const body : {"[]", "123", "true", R"("text")", R"({"rsp":"text"})", R"({"rsp":[]})",
                                   R"({"rsp":5})", R"({"rsp":{"stat":{}}})", R"({"rsp":{"stat":["OK"]}})"}) {
        expectUnreadable(body);
    }
}

TEST_P(Envelopes, TheDepthOfAReplyIsLimited)
{
    const auto nested = [](std::size_t levels) {
        return R"({"rsp":{"stat":"OK","deep":)" + std::string(levels, '[') + std::string(levels, ']') + "}}";
    };
    expectUnreadable(nested(1001));
    EXPECT_NE(parse(nested(900)).status, row.unreadable);
}

TEST_P(Envelopes, AReplyThatDoesNotReportSuccessIsAnError)
{
    for (const char* const body : {"null", "{}", R"({"rsp":null})", R"({"rsp":{}})", R"({"rsp":{"stat":""}})",
                                   R"({"rsp":{"stat":"O"}})", R"({"rsp":{"stat":5}})"}) {
        expectUntouched(body, -9000);
    }
}

TEST_P(Envelopes, ErrorsOfTheServiceDoNotChangeTheOutputs)
{
    const Tree report = {{"code", "101"}, {"msg", "bad"}};
    expectUntouched(replyBody(replyWith("FAIL", report)), -9101);
    EXPECT_TRUE(host.lines().size() == 2 &&
                host.lines()[0].text.find("Error Code:101   ErrorMsg:bad\n") != std::string::npos);
    // An "err" is a failure even if "stat" reports success.
    expectUntouched(replyBody(replyWith("OK", report)), -9101);
    expectUntouched(replyBody(replyWith("FAIL", {{"code", "-9500"}})), -500);
    expectUntouched(replyBody(replyWith("FAIL", nullptr)), -9000);
    expectUntouched(replyBody(replyWith("FAIL", {{"code", "99999999999"}})), INT_MIN);
}

TEST_P(Envelopes, AnUnreadableErrIsMinus57AndDoesNotChangeTheOutputs)
{
    for (const Tree& report : {Tree(""), Tree(0), Tree(false), Tree("text"), Tree{{"code", Tree::array()}}}) {
        expectUntouched(replyBody(replyWith("OK", report)), -57);
    }
}

TEST_P(Envelopes, AnEmptyErrAndWordsThatBeginWithOkAreSuccess)
{
    const Shown expected = stated(row);
    for (const char* const stat : {"OK", "ok", "oK", "OKAY", "okra"}) {
        for (const Tree& report : {Tree(nullptr), Tree::object(), Tree::array()}) {
            const Results results = parse(replyBody(replyWith(stat, report)), Outputs::Fresh);
            EXPECT_EQ(results.status, 0) << stat;
            EXPECT_EQ(results.outputs, expected) << stat;
        }
    }
}

TEST_P(Envelopes, AnErrorCodeThatIsMappedTo0IsSuccess)
{
    const Results results = parse(replyBody(replyWith("FAIL", {{"code", "-9000"}})), Outputs::Fresh);
    EXPECT_EQ(results.status, 0);
    EXPECT_EQ(results.outputs, stated(row));
}

TEST_P(Envelopes, OddRepliesAreAccepted)
{
    const std::string reply = replyBody(fullReply(row));
    const std::string open = R"({"rsp":{)";
    std::string withNul = open + R"("odd":"a)" + std::string(1, '\0') + R"(b",)" + reply.substr(open.size());
    const std::string bodies[] = {
        reply + " trailing text",
        reply + std::string(3, '\0'),
        withNul,
        "/* said first */" + reply,
        R"({"rsp":"replaced",)" + reply.substr(1),
    };
    for (const std::string& body : bodies) {
        const Results results = parse(body, Outputs::Fresh);
        EXPECT_EQ(results.status, 0) << body;
        EXPECT_EQ(results.outputs, stated(row)) << body;
    }
}

TEST_P(Envelopes, CommandsWithoutOwnerParseAsNotCancelled)
{
    Calling calling;
    calling.body = replyBody(fullReply(row));
    calling.reference = 4711;
    const Results results = row.parse(calling);
    EXPECT_EQ(results.status, 0);
    EXPECT_EQ(results.outputs, stated(row));
}

INSTANTIATE_TEST_SUITE_P(Rows, Envelopes, ::testing::ValuesIn(parserCases()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST(Envelope, PositiveErrorCodesAreSuccessWithoutResults)
{
    for (const int code : {1, 3, INT_MAX}) {
        EXPECT_FALSE(vorel::judge(code).isSuccess) << code;
        EXPECT_EQ(vorel::judge(code).outcome, 0) << code;
    }
    EXPECT_TRUE(vorel::judge(0).isSuccess);
    EXPECT_EQ(vorel::judge(0).outcome, 0);
    for (const int code : {-1, -56, -9101, INT_MIN}) {
        EXPECT_FALSE(vorel::judge(code).isSuccess) << code;
        EXPECT_EQ(vorel::judge(code).outcome, code);
    }
}

}  // namespace
}  // namespace W::test
