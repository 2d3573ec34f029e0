// Tables for terminals and scripts, highlighting, and suggestions for misspelt names. Expected lines are written by
// hand.
#include "Table.h"

#include <string>

#include <gmock/gmock.h>

#include "Suggestion.h"
#include "Terminal.h"

namespace W::host {
namespace {

Table programmes()
{
    Table table;
    table.columns = {{"No", TableColumn::kRigid, 1, 0, true}, {"Channel", 4, 1, 1}, {"Title", 5, 2}, {"ID"}};
    table.rows = {{"1", "Aurora", "The Quiet Signal", {"77", "77"}}, {"10", "Kanal", "夜のニュース", {"8", "8"}}};
    return table;
}

TEST(TableTest, WideTerminalsShowEverything)
{
    EXPECT_EQ(layOut(programmes(), {80, false}),
              "No  Channel  Title             ID\n"
              " 1  Aurora   The Quiet Signal  77\n"
              "10  Kanal    夜のニュース      8\n");
}

TEST(TableTest, NarrowTerminalsWrapThenLeaveOut)
{
    EXPECT_EQ(layOut(programmes(), {27, false}),
              "No  Channel  Title       ID\n"
              " 1  Aurora   The Quiet   77\n"
              "             Signal\n"
              "10  Kanal    夜のニュー  8\n"
              "             ス\n");
    EXPECT_EQ(layOut(programmes(), {16, false}),
              "No  Title     ID\n"
              " 1  The       77\n"
              "    Quiet S…\n"
              "10  夜のニュ  8\n"
              "    ース\n");
}

TEST(TableTest, NoLineIsLongerThanTheTerminal)
{
    for (int width = 16; width < 60; ++width) {
        const std::string text = layOut(programmes(), {width, false});
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find('\n', begin);
            EXPECT_LE(displayWidth(text.substr(begin, end - begin)), width);
            begin = end + 1;
        }
    }
}

TEST(TableTest, HidesEmptyColumns)
{
    Table table;
    table.columns = {{"Empty"}, {"Full"}};
    table.rows = {{{"", "for scripts"}, "x"}};
    EXPECT_EQ(layOut(table, {80, false}), "Full\nx\n");
    EXPECT_EQ(tabSeparated(table, ""), "for scripts\tx\n");
}

TEST(TableTest, LinesForScriptsHoldNothingThatBreaksThem)
{
    Table table;
    table.columns.resize(3);
    table.columns[1].forPeopleOnly = true;
    table.rows = {{"a\tb\nc", "people", "\x1b[31mred\u202e\xFF"}};
    EXPECT_EQ(tabSeparated(table, "kind"), "kind\ta b c\t [31mred\uFFFD\n");
}

TEST(Highlight, MarksBeginningsOfWordsRegardlessOfCaseAndAccents)
{
    const struct {
        const char* text;
        std::vector<std::string> words;
        const char* expected;
    } rows[] = {
        {"Night Sky", {"night"}, "<Night> Sky"},
        {"Tonight", {"night"}, "Tonight"},
        {"Le Dernier Café", {"cafe"}, "Le Dernier <Café>"},
        {"Cafe\u0301 bar", {"CAFÉ"}, "<Cafe\u0301> bar"},
        {"Ångström", {"angs"}, "<Ångs>tröm"},
        {"ŁÓDŹ", {"łódź"}, "<ŁÓDŹ>"},
        {"The-Night", {"ni", "nigh"}, "The-<Nigh>t"},
        {"夜のニュース", {"ニュース"}, "夜の<ニュース>"},
        {"Новости", {"новост"}, "<Новост>и"},
        {"nothing", {}, "nothing"},
        {"broken \xFF night", {"night"}, "broken \xFF <night>"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(highlighted(row.text, row.words, "<", ">"), row.expected);
    }
}

TEST(SuggestionTest, FindsTheSimilarName)
{
    const std::vector<std::string> known{"guide", "now", "favourites", "Aurora One", "doctor"};
    const struct {
        const char* written;
        const char* expected;
    } rows[] = {
        {"gude", "guide"},
        {"nwo", "now"},
        {"favorites", "favourites"},
        {"aurora 1", "Aurora One"},
        {"Aurra", "Aurora One"},
        {"zzz", ""},
        {"", ""},
        {"favour", "favourites"},
        {"xyz", ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(closest(row.written, known), row.expected) << row.written;
    }
    EXPECT_EQ(didYouMean("gude", known), "; did you mean guide?");
    EXPECT_EQ(didYouMean("unlikely", known), "");
    EXPECT_EQ(closest(std::string(1000, 'x'), known), "");
}

TEST(TerminalTest, IsolatesRightToLeftStrings)
{
    EXPECT_EQ(fitted("خبر", 5), "\u200Eخبر\u200E  ");
    EXPECT_EQ(fitted("חדשות הערב", 6), "\u200Eחדשות…\u200E");
    EXPECT_EQ(displayWidth(fitted("خبر", 5)), 5);
    EXPECT_EQ(fitted("news", 5), "news ");
}

}  // namespace
}  // namespace W::host
