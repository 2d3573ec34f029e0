// The guide's layout and the widths it rests on.
#include "Guide.h"
#include "GuideTable.h"
#include "Terminal.h"

#include <gmock/gmock.h>

#include <list>
#include <sstream>
#include <string>
#include <vector>

namespace W::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t kEvening = 1795291200;  // 2026-11-21T20:00:00Z

TEST(Terminal, WidthsAreColumns)
{
    const struct {
        const char* text;
        int width;
    } rows[] = {
        {"", 0},        {"abc", 3},      {"Zoé", 3},        {"星テレビ", 8},
        {"e\u0301", 1}, {"\xFF\xFE", 2}, {"a\x1b[31mb", 7}, {"한국", 4},
    };
    for (const auto& row : rows)
        EXPECT_EQ(displayWidth(row.text), row.width) << row.text;
}

TEST(Terminal, TextsAreFittedToAWidth)
{
    const struct {
        const char* text;
        int width;
        const char* fitted;
    } rows[] = {
        {"abc", 5, "abc  "}, {"abc", 3, "abc"},       {"abcd", 3, "ab…"},       {"abcd", 1, "…"},
        {"abcd", 0, ""},     {"", 2, "  "},           {"星テレビ", 5, "星テ…"}, {"星テレビ", 4, "星… "},
        {"星", 1, "…"},      {"a\nb\x1b", 4, "a b "}, {"\xFFz", 3, "\uFFFDz "},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(fitted(row.text, row.width), row.fitted) << row.text << " in " << row.width;
        EXPECT_EQ(displayWidth(fitted(row.text, row.width)), row.width) << row.text;
    }
}

TEST(Terminal, TextsAreBrokenBetweenWords)
{
    EXPECT_THAT(wrapped("ab cde fgh", 6, 2), ElementsAre("ab cde", "fgh   "));
    EXPECT_THAT(wrapped("ab cde fgh", 5, 3), ElementsAre("ab   ", "cde  ", "fgh  "));
    EXPECT_THAT(wrapped("ab cde fgh", 5, 2), ElementsAre("ab   ", "cde …"));
    EXPECT_THAT(wrapped("abcdefgh", 3, 2), ElementsAre("abc", "de…"));
    EXPECT_THAT(wrapped("星テレビ", 5, 2), ElementsAre("星テ ", "レビ "));
    EXPECT_THAT(wrapped("星テ", 1, 2), ElementsAre("…"));
    EXPECT_THAT(wrapped("", 5, 2), ElementsAre());
    EXPECT_THAT(wrapped("abc", 0, 2), ElementsAre(""));
}

TEST(Guide, DatesAreEveningsOrTimes)
{
    EXPECT_EQ(readGuideDate("2026-11-21"), kEvening);
    EXPECT_EQ(readGuideDate("2026-11-21T06:30"), kEvening - std::int64_t{13} * 3600 - 1800);
    for (const char* text : {"", "today", "2026-02-30", "2026-11-21T6:30", "2026-11-21T06:30:00", "21.11.2026"})
        EXPECT_FALSE(readGuideDate(text)) << text;
}

class GuideTable : public testing::Test {
protected:
    void channel(const std::string& source, const std::string& number, const std::string& name)
    {
        WVLChannel& record = m_channels.emplace_back();
        record.setSource(source);
        record.setNumber(number);
        record.setName(name);
    }
    void programme(const std::string& source, int minute, int duration, const std::string& title)
    {
        WVLContent& record = m_programmes.emplace_back();
        WVLChannel channel;
        channel.setSource(source);
        record.setChannel(std::move(channel));
        record.setStartTime(WDateTime::fromTime_t(kEvening + std::int64_t{60} * minute));
        record.setDuration(duration);
        record.setTitle(title);
    }
    std::vector<std::string> table(bool colours = false)
    {
        std::istringstream text(guideTable(m_channels, m_programmes, m_window, {m_iWidth, colours}));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    std::list<WVLChannel> m_channels;
    std::list<WVLContent> m_programmes;
    GuideWindow m_window{kEvening, kEvening + 7200, kEvening + 600, 0};
    int m_iWidth = 57;  // 8 for names, 48 for 120 minutes
};

TEST_F(GuideTable, ProgrammesStandUnderTheirTimes)
{
    channel("a", "1", "One");
    channel("b", "2", "Two");
    channel("c", "", "");
    programme("b", 60, 60, "Late");
    programme("a", -30, 60, "Running since before");
    programme("a", 30, 45, "Middle");
    programme("a", 90, 120, "Beyond the end");
    programme("b", 0, 30, "First");
    programme("z", 0, 30, "Of nobody");
    EXPECT_THAT(table(), ElementsAre("Saturday 21 November 2026, 20:00 to 22:00 (UTC+00:00)",
                                     "         20:00       20:30       21:00       21:30 ",
                                     "1 One    │>Running   │Middle           │     │Beyond the",
                                     "         │since befo…│                 │     │end",
                                     "2 Two    │>First     │           │Late", "         │           │           │",
                                     "c        │", "         │"));
}

TEST_F(GuideTable, OverlapsAndMomentsDoNotUpsetIt)
{
    channel("a", "1", "One");
    programme("a", 0, 60, "Overlapped");
    programme("a", 30, 60, "Overlapping");
    programme("a", 95, 1, "Moment");
    programme("a", 96, 0, "Nothing");
    programme("a", 97, -5, "Less than nothing");
    EXPECT_EQ(table()[2], "1 One    │>Overlapped│Overlapping            │");
}

TEST_F(GuideTable, LinesNeverExceedTheWidth)
{
    channel("a", "1001", "Eine Anstalt mit einem sehr langen Namen");
    channel("b", "2", "星テレビ放送局日本東京");
    for (int minute = -20; minute < 130; minute += 7) {
        programme("a", minute, 7, "Ünïcödé tïtle " + std::to_string(minute));
        programme("b", minute, 7, "星テレビ放送局");
    }
    for (m_iWidth = 1; m_iWidth < 220; ++m_iWidth) {
        for (const std::string& line : table())
            ASSERT_LE(displayWidth(line), std::max(m_iWidth, 53)) << m_iWidth << ": " << line;
    }
}

TEST_F(GuideTable, TimesAreTheViewers)
{
    channel("a", "1", "One");
    m_window.offsetSeconds = -19800;
    EXPECT_EQ(table()[0], "Saturday 21 November 2026, 14:30 to 16:30 (UTC-05:30)");
}

TEST_F(GuideTable, ColoursOnlyWhereTheyAreWanted)
{
    channel("a", "1", "One\x1b[2J");
    programme("a", 0, 60, "Title\x1b]0;evil\x07");
    for (const std::string& line : table(false))
        EXPECT_THAT(line, Not(HasSubstr("\x1b")));
    const std::vector<std::string> coloured = table(true);
    EXPECT_THAT(coloured[2], HasSubstr("\x1b[7m>Title"));
    for (const std::string& line : coloured)
        EXPECT_THAT(line, Not(HasSubstr("evil\x07")));
}

}  // namespace
}  // namespace W::host
