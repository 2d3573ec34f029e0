// Cancelling while a reply is read, before each of its elements.

#include <algorithm>

#include <gtest/gtest.h>

#include "Mutator.h"
#include "ParseCases.h"
#include "ParseSeams.h"
#include "Pieces.h"
#include "VorelService.h"

namespace W::test {
namespace {

struct CancelTest : ::testing::Test {
    FakeHost host;
    WVorelOAI object;
    HttpRequest request{HTTP_GET, "u", {}, "", nullptr, nullptr};
    unsigned long long reference = 0;

    CancelTest()
    {
        // The test owns the request; the service's destructor deletes requests that it still lists.
        object.service()->createRequestInfo(&request, nullptr, 18, reference);
        clearings().clear();
    }
    ~CancelTest() override { object.service()->deleteRequestInfo(reference); }

    std::string lead;  ///< blanks before the reply: a long reply is read element by element
    int tests = 0;     ///< number of cancel tests during the last parse

    /// Parses a reply and cancels before a cancel test. @param cancelAt  its number, from 1; 0 for never
    Results parse(const ParserCase& row, const Tree& rsp, int cancelAt, Outputs outputs = Outputs::Fresh)
    {
        return parseBody(row, replyBody(rsp), cancelAt, outputs);
    }

    Results parseBody(const ParserCase& row, const std::string& body, int cancelAt, Outputs outputs)
    {
        tests = 0;
        const Hooked hooked(CancelTestHook([&](VorelService& service, UINT64 asked) {
            EXPECT_EQ(asked, reference);
            if (++tests == cancelAt) {
                EXPECT_EQ(service.setCancelStatus(asked), status::kCancelled);
            }
        }));
        Calling calling;
        calling.body = lead + body;
        calling.owner = &object;
        calling.reference = reference;
        calling.outputs = outputs;
        host.forgetLines();
        clearings().clear();
        return row.parse(calling);
    }

    Results parse(const std::string& name, int cancelAt)
    {
        const ParserCase& row = parserCase(name);
        return parse(row, fullReply(row), cancelAt);
    }

    /// Status, results and lines of a parse, without the blanks.
    std::string shownParse(const ParserCase& row, const std::string& body, int cancelAt)
    {
        const Results results = parseBody(row, body, cancelAt, Outputs::Filled);
        Shown lines = Shown::array();
        for (Line& line : host.lines()) {
            // They show the reference, which differs.
            if (line.text.rfind("[setCancelStatus]", 0) == 0) {
                continue;
            }
            if (const std::size_t at = line.text.find(lead); !lead.empty() && at != std::string::npos) {
                line.text.erase(at, lead.size());
            }
            lines.push_back({line.level, std::vector<unsigned char>(line.text.begin(), line.text.end())});
        }
        return Shown({{"status", results.status}, {"outputs", results.outputs}, {"lines", lines}})
            .dump(-1, ' ', false, Shown::error_handler_t::replace);
    }

    /// Replaces the request by one that is not cancelled.
    void renew()
    {
        object.service()->deleteRequestInfo(reference);
        object.service()->createRequestInfo(&request, nullptr, 18, reference);
    }
};

struct CancelledParser : CancelTest, ::testing::WithParamInterface<ParserCase> {
    const ParserCase& row = GetParam();

    void expect600BeforeAnyElement();
};

TEST_P(CancelledParser, AsksBeforeEveryElement)
{
    for (const std::size_t blanks : {std::size_t{0}, vorel::Pieces::kLeast}) {
        lead.assign(blanks, ' ');
        const Results run = parse(row, fullReply(row), 0);
        EXPECT_EQ(tests, row.cancelTests);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.outputs, stated(row));
    }
}

TEST_P(CancelledParser, LongRepliesEndWith600BeforeAnyElement)
{
    lead.assign(vorel::Pieces::kLeast, ' ');
    expect600BeforeAnyElement();
}

TEST_P(CancelledParser, EndsWith600BeforeAnyElement)
{
    expect600BeforeAnyElement();
}

void CancelledParser::expect600BeforeAnyElement()
{
    const Shown full = stated(row);
    for (int element = 1; element <= row.cancelTests; ++element) {
        SCOPED_TRACE(element);
        renew();
        const Results run = parse(row, fullReply(row), element, Outputs::Fresh);
        EXPECT_EQ(tests, element) << "nothing is asked or read afterwards";
        EXPECT_EQ(run.status, status::kCancelled);
        const std::vector<Line> lines = host.lines();
        const std::size_t cancelLines =
            static_cast<std::size_t>(std::count_if(lines.begin(), lines.end(), [&](const Line& line) {
                return line.text == row.cancelLine && line.level == 8 && line.flags == 0;
            }));
        EXPECT_EQ(cancelLines, 1u);
        EXPECT_TRUE(host.texts(1).empty()) << "cancelling is not an error";
        if (row.name == std::string("CityList")) {
            continue;  // Maps keep what they have: CancelTest.CityListKeepsEntriesReadBefore
        }
        std::size_t containers = 0;
        for (const auto& [name, output] : run.outputs.items()) {
            const bool isContainer = output.contains("count");
            containers += isContainer ? 1 : 0;
            EXPECT_EQ(output, isContainer ? Shown({{"count", -1}, {"list", Shown::array()}}) : full.at(name)) << name;
        }
        // The container is cleared before the line is printed, except in one parser.
        ASSERT_EQ(clearings().size(), containers);
        const bool printsFirst = row.name == std::string("CityListBrowse");
        EXPECT_EQ(clearings()[0], lines.size() - (printsFirst ? 0 : 1));
        EXPECT_EQ(lines.back().text, row.cancelLine);
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, CancelledParser, ::testing::ValuesIn(parserCases()),
                         [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(CancelTest, CityListBrowsePrintsBeforeItClears)
{
    parse("CityListBrowse", 2);
    ASSERT_EQ(clearings().size(), 1u);
    EXPECT_EQ(host.lines().at(clearings()[0] - 1).text,
              "[ParseCityList] [--VorelGetCityListBrowseCMD::ParseCityList] Canceled");
    renew();
    parse("Headend", 2);
    ASSERT_EQ(clearings().size(), 1u);
    EXPECT_EQ(host.lines().size(), clearings()[0] + 1);
}

TEST_F(CancelTest, HeadendBrowseNamesItsSibling)
{
    parse("HeadendBrowse", 1);
    EXPECT_EQ(host.lines().back().text, "[ParseHeadendBrowse] [--VorelGetHeadendBrowseCMD::ParseHeadendKor] Canceled");
}

TEST_F(CancelTest, CityListKeepsEntriesReadBefore)
{
    const Results first = parse("CityList", 1);
    EXPECT_EQ(first.status, 600);
    EXPECT_EQ(first.outputs, Shown::parse(R"({"states":[{"key":0,"name":"state1"}],"cities":[]})"));
    renew();
    const Results middle = parse("CityList", 2);
    EXPECT_EQ(middle.outputs, Shown::parse(R"({"states":[{"key":0,"name":"state1"}],
                               "cities":[{"key":0,"code":"code1","name":"city1"}]})"));
    renew();
    const Results last = parse("CityList", 3);
    EXPECT_EQ(last.outputs,
              Shown::parse(R"({"states":[{"key":0,"name":"state1"},{"key":1,"name":"state2"},{"key":2,"name":"state3"}],
                               "cities":[{"key":0,"code":"code1","name":"city1"},
                               {"key":0,"code":"code2","name":"city2"}]})"));
}

TEST_F(CancelTest, TheSecondListOfTheLineUpClearsTheFirst)
{
    const Results run = parse("ChannelList", 4);
    EXPECT_EQ(run.outputs, Shown::parse(R"({"changed":true,"checksum":"sum1","list":{"count":-1,"list":[]}})"));
}

TEST_F(CancelTest, BothListsOfTheGenresAreCleared)
{
    for (const int element : {1, 3, 4, 5}) {
        renew();
        const Results run = parse("GenreList", element);
        EXPECT_EQ(run.outputs, Shown::parse(R"({"changed":true,"checksum":"sum1","genres":{"count":-1,"list":[]},
                                   "repGenres":{"count":-1,"list":[]}})"))
            << element;
    }
}

TEST_F(CancelTest, AsksBeforeAChannelWithoutProgrammesToo)
{
    const ParserCase& row = parserCase("Guide");
    parse(row, Tree::parse(R"({"stat":"OK","channel":[{},{},{},{}]})"), 0);
    EXPECT_EQ(tests, 4);
}

TEST_F(CancelTest, ARequestCancelledBeforehandReadsNothing)
{
    ASSERT_EQ(object.service()->setCancelStatus(reference), status::kCancelled);
    const Results run = parse("Schedule", 0);
    EXPECT_EQ(tests, 1);
    EXPECT_EQ(run.status, 600);
}

TEST_F(CancelTest, ALongReplyWithInvalidJsonAtItsEndIsNotJson)
{
    const ParserCase& row = parserCase("Schedule");
    lead.assign(vorel::Pieces::kLeast, ' ');
    for (int element = 1; element <= 3; ++element) {
        SCOPED_TRACE(element);
        renew();
        const Results run =
            parseBody(row, R"({"rsp":{"stat":"OK","channel":[{"content":[{"id":"1"}]},{},{},{"id" 4}]}})", element,
                      Outputs::Filled);
        EXPECT_EQ(run.status, status::kNotJson);
        EXPECT_EQ(run.outputs["list"]["count"], 77);
        EXPECT_TRUE(clearings().empty());
        EXPECT_EQ(host.texts(1).size(), 1u);
        EXPECT_NE(host.texts(8).back().find("This is not JSON format"), std::string::npos);
    }
}

TEST_F(CancelTest, ACancelledReplyHasTheSameResultInPiecesAndAsAWhole)
{
    constexpr int kRepliesOfARow = 60;
    Mutator mutate(20261122);
    int notJson = 0;
    for (const ParserCase& row : parserCases()) {
        for (int count = 0; count < kRepliesOfARow && row.cancelTests > 0; ++count) {
            const std::string body = mutate(replyBody(fullReply(row)));
            lead.clear();
            renew();
            const int whole = parseBody(row, body, 0, Outputs::Fresh).status;
            // A cancel can end the reading before a value of the wrong type is found.
            if (whole == status::kUnreadableReply || whole == status::kWrongProvider || whole == kThrown) {
                continue;
            }
            notJson += whole == status::kNotJson ? 1 : 0;
            for (int element = 1; element <= row.cancelTests; ++element) {
                lead.clear();
                renew();
                const std::string expected = shownParse(row, body, element);
                lead.assign(vorel::Pieces::kLeast, ' ');
                renew();
                ASSERT_EQ(shownParse(row, body, element), expected) << row.name << " " << element << "\n" << body;
            }
        }
    }
    EXPECT_GT(notJson, 20) << "hardly any reply was broken";
}

TEST_F(CancelTest, AnEmptyListIsNotCancelled)
{
    ASSERT_EQ(object.service()->setCancelStatus(reference), status::kCancelled);
    const ParserCase& row = parserCase("Schedule");
    EXPECT_EQ(parse(row, Tree::parse(R"({"stat":"OK","channel":[]})"), 0).status, 0);
}

}  // namespace
}  // namespace W::test
