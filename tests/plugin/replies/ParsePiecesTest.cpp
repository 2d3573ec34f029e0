// Long replies are read element by element, with the same results as replies that are read as a whole. Blanks before a
// reply make it long, so that the same reply can be read both ways.

#include <string>

#include <gtest/gtest.h>

#include "Mutator.h"
#include "ParseSeams.h"
#include "Pieces.h"

namespace W::test {
namespace {

const std::string& blanks()
{
    static const std::string kBlanks(vorel::Pieces::kLeast, ' ');
    return kBlanks;
}

std::size_t piecesOf(const std::string& text, const char* key = "channel")
{
    return vorel::Pieces(text, key).size();
}

struct PiecesCase {
    const char* description;
    std::string reply;
    std::size_t pieces;
};

std::string nested(int levels)
{
    const auto count = static_cast<std::size_t>(levels);
    return R"({"rsp":{"channel":[{"a":)" + std::string(count, '[') + std::string(count, ']') + "}]}}";
}

TEST(Pieces, AreFoundInUnambiguousReplies)
{
    const PiecesCase cases[] = {
        {"one", R"({"rsp":{"stat":"OK","channel":[{}]}})", 1},
        {"blanks between all", " { \"rsp\" : { \"channel\" : [ {\t} ,\t\r\n{ } ] , \"stat\" : \"OK\" } } ", 2},
        {"brackets and quotes in strings", R"({"rsp":{"channel":[{"a":"]}\"\\"},{"b":"\\\"{[,"}]}})", 2},
        {"a key inside an element", R"({"rsp":{"channel":[{"channel":[1,2]},{}]}})", 2},
        {"the key elsewhere", R"({"channel":[{},{}],"rsp":{"a":{"channel":[{}]},"channel":[{},{},{}]}})", 3},
        {"text after the document", R"({"rsp":{"channel":[{},{}]}} and so on)", 2},
        {"an element that is not JSON", R"({"rsp":{"channel":[{"a" 1},{}]}})", 2},
        {"900 levels in an element", nested(899), 1},

        {"901 levels", nested(900), 0},
        {"no such array", R"({"rsp":{"stat":"OK"}})", 0},
        {"an empty array", R"({"rsp":{"channel":[]}})", 0},
        {"an object in its place", R"({"rsp":{"channel":{"0":{}}}})", 0},
        {"elements that are not objects", R"({"rsp":{"channel":[{},1]}})", 0},
        {"lists of lists", R"({"rsp":{"channel":[[{}]]}})", 0},
        {"two values without a comma", R"({"rsp":{"channel":[{}{}]}})", 0},
        {"a trailing comma", R"({"rsp":{"channel":[{},]}})", 0},
        {"the same key again", R"({"rsp":{"channel":[{}],"channel":[]}})", 0},
        {"the same key again, and elements again", R"({"rsp":{"channel":[{}],"channel":[{}]}})", 0},
        {"two envelopes", R"({"rsp":{"channel":[{}]},"rsp":{}})", 0},
        {"two envelopes, the array in the second", R"({"rsp":{"a":1},"rsp":{"channel":[{}]}})", 0},
        {"an escaped key, which is the same one", R"({"rsp":{"channel":[{}],"ch\u0061nnel":[]}})", 0},
        {"a comment", R"({"rsp":{"channel":[{}/*,{}*/]}})", 0},
        {"a comment in an element", R"({"rsp":{"channel":[{/*}*/}]}})", 0},
        {"a comment that looks like the end of an element", R"({"rsp":{"channel":[{"a":1/*},{*/}]}})", 0},
        {"a frame that is not JSON", R"({"rsp":{"channel":[{}],"stat":OK}})", 0},
        {"a frame with a bracket of the wrong kind", R"({"rsp":{"channel":[{}],"a":[}}})", 0},
        {"cut off in the array", R"({"rsp":{"channel":[{},{)", 0},
        {"cut off in a string", R"({"rsp":{"channel":[{"a":"\")", 0},
        {"cut off after a comma", R"({"rsp":{"channel":[{},)", 0},
        {"cut off after the array", R"({"rsp":{"channel":[{}])", 0},
        {"a byte order mark", "\xEF\xBB\xBF{\"rsp\":{\"channel\":[{}]}}", 0},
        {"nothing", "", 0},
    };
    for (const PiecesCase& row : cases) {
        SCOPED_TRACE(row.description);
        // A byte order mark also precedes the blanks.
        const bool marked = row.reply.rfind("\xEF", 0) == 0;
        EXPECT_EQ(piecesOf(marked ? row.reply + blanks() : blanks() + row.reply), row.pieces);
        EXPECT_EQ(piecesOf(row.reply), 0u) << "short replies are read as a whole";
    }
}

TEST(Pieces, AreTheElementsAndLeaveAnEmptyArray)
{
    const std::string text = blanks() + R"({"rsp":{"a":1,"channel":[{"b":2} , {"c":"]"}],"d":[3]},"e":4})";
    const vorel::Pieces pieces(text, "channel");
    ASSERT_EQ(pieces.size(), 2u);
    EXPECT_EQ(pieces[0]["b"].asInt(), 2);
    EXPECT_EQ(pieces[1]["c"].asString(), "]");
    EXPECT_EQ(pieces.frame()["rsp"]["a"].asInt(), 1);
    EXPECT_TRUE(pieces.frame()["rsp"]["channel"].isArray());
    EXPECT_EQ(pieces.frame()["rsp"]["channel"].size(), 0u);
    EXPECT_EQ(pieces.frame()["rsp"]["d"][0].asInt(), 3);
    EXPECT_EQ(pieces.frame()["e"].asInt(), 4);
}

/// Results and lines of a parser, without the blanks.
Shown reading(const ParserCase& row, const std::string& body)
{
    FakeHost host;
    Calling calling;
    calling.body = body;
    const Results results = row.parse(calling);
    Shown lines = Shown::array();
    for (Line& line : host.lines()) {
        if (const std::size_t at = line.text.find(blanks()); at != std::string::npos) {
            line.text.erase(at, blanks().size());
        }
        // A broken reply need not be UTF-8.
        lines.push_back({line.level, std::vector<unsigned char>(line.text.begin(), line.text.end())});
    }
    return {{"status", results.status}, {"outputs", results.outputs}, {"lines", lines}};
}

std::string dump(const Shown& shown)
{
    return shown.dump(-1, ' ', false, Shown::error_handler_t::replace);
}

TEST(Pieces, ABrokenReplyHasTheSameResultInPiecesAndAsAWhole)
{
    constexpr int kRounds = 10000;
    Mutator mutate(20261121);
    int inPieces = 0;
    std::vector<const ParserCase*> rows;
    for (const ParserCase& row : parserCases()) {
        if (row.cancelTests > 0) {
            rows.push_back(&row);
        }
    }
    for (int count = 0; count < kRounds; ++count) {
        const ParserCase& row = *rows[static_cast<std::size_t>(mutate.below(rows.size()))];
        const std::string body = mutate(replyBody(fullReply(row)));
        ASSERT_EQ(dump(reading(row, blanks() + body)), dump(reading(row, body))) << row.name << "\n" << body;
        for (const char* const key : {"channel", "content", "mso", "channel_guide", "candidate_missed"}) {
            inPieces += piecesOf(blanks() + body, key) != 0 ? 1 : 0;
        }
    }
    EXPECT_GT(inPieces, kRounds / 20) << "hardly any reply was read in pieces";
}

TEST(Pieces, AnErrorOfTheServiceIsReadAsAWhole)
{
    const ParserCase& row = parserCase("Schedule");
    for (const char* const envelope : {R"("stat":"FAIL","err":{"code":"103","msg":"no"})", R"("stat":"OK","err":"x")",
                                       R"("stat":"OK","err":{"code":"-9000"})", R"("stat":{},"err":{})"}) {
        const std::string body = std::string("{\"rsp\":{") + envelope + R"(,"channel":[{"content":[{"id":"1"}]}]}})";
        EXPECT_EQ(dump(reading(row, blanks() + body)), dump(reading(row, body))) << envelope;
    }
}

}  // namespace
}  // namespace W::test
