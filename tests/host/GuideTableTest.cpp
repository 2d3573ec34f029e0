// The layout of the guide, and the widths, zones and dates that it uses.
#include "Guide.h"

#include <list>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "DisplayZone.h"
#include "GuideDate.h"
#include "GuideTable.h"
#include "ServiceSession.h"
#include "Terminal.h"

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
    for (const auto& row : rows) {
        EXPECT_EQ(displayWidth(row.text), row.width) << row.text;
    }
}

TEST(Terminal, FitsStringsToAWidth)
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

TEST(Terminal, BreaksLinesBetweenWords)
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

TEST(Terminal, ParagraphsHaveEveryWord)
{
    EXPECT_EQ(paragraph("No line-up is saved yet.", 12), "No line-up\nis saved\nyet.\n");
    EXPECT_EQ(paragraph("No line-up is saved yet.", 80), "No line-up is saved yet.\n");
    EXPECT_EQ(paragraph("abcdefgh", 3), "abc\ndef\ngh\n");
    EXPECT_EQ(paragraph("星テレビ", 5), "星テ\nレビ\n");
    EXPECT_EQ(paragraph("", 5), "");
}

TEST(Terminal, EmojiSequencesAreOneCharacter)
{
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467";
    const std::string flag = "\U0001F1E9\U0001F1EA";
    const std::string thumb = "\U0001F44D\U0001F3FD";
    for (const std::string& sequence : {family, flag, thumb}) {
        EXPECT_EQ(displayWidth(sequence), 2) << sequence;
        EXPECT_EQ(fitted(sequence + "xyz", 4), sequence + "x…");
        EXPECT_EQ(fitted("ab" + sequence, 3), "ab…") << "never cut inside";
    }
    EXPECT_EQ(displayWidth(flag + flag), 4);
    EXPECT_EQ(displayWidth("\u0646\u200C\u0647"), 2) << "joiners of other scripts stay";
    EXPECT_EQ(fitted("\u0646\u200C\u0647", 2), "\u200E\u0646\u200C\u0647\u200E");
}

TEST(Terminal, ControlsAndOverridesAreNeutralised)
{
    EXPECT_EQ(fitted("a\u202Eb\u2066c\u200F\u2028\uFEFF", 5), "abc  ");
    EXPECT_EQ(fitted("a\u0085b\x7F"
                     "c",
                     5),
              "a b c");
    EXPECT_EQ(displayWidth("\u202E\u200B"), 0);
}

TEST(GuideDate, ReadsItsForms)
{
    constexpr std::int64_t kDay = 86400;
    const std::int64_t now = kEvening - 12345;
    EXPECT_EQ(readGuideDate("2026-11-21", now), kEvening);
    EXPECT_EQ(readGuideDate("today", now), kEvening);
    EXPECT_EQ(readGuideDate("tomorrow", now), kEvening + kDay);
    EXPECT_EQ(readGuideDate("20:00", now), kEvening);
    EXPECT_EQ(readGuideDate("06:30", now), kEvening - std::int64_t{13} * 3600 - 1800);
    EXPECT_EQ(readGuideDate("2026-11-21T06:30", now), kEvening - std::int64_t{13} * 3600 - 1800);
    EXPECT_EQ(readGuideDate("2026-11-22 20:00", now), kEvening + kDay);
    EXPECT_EQ(readGuideDate("tomorrow 20:00", now), kEvening + kDay);
    for (const char* text : {"", "yesterdy", "2026-02-30", "2026-11-21T6:30", "2026-11-21T06:30:00", "21.11.2026",
                             "20:60", "24:01", "today 8", " today", "today ", "2026-11-21  20:00"}) {
        EXPECT_FALSE(readGuideDate(text, now)) << text;
    }
}

TEST(DisplayZone, GivesEachInstantItsOffset)
{
    const DisplayZone berlin = DisplayZone::named("Europe/Berlin").value();
    EXPECT_EQ(berlin.offsetAt(kEvening), 3600);
    const std::int64_t july = 1814558400;  // 2027-07-02T20:00:00Z
    EXPECT_EQ(berlin.offsetAt(july), 7200);
    EXPECT_EQ(berlin.instantOf(july + 7200), july);
    // 2026-03-29: 02:30 does not exist; 2026-10-25: 02:30 occurs twice.
    EXPECT_EQ(berlin.instantOf(1774751400), 1774747800);
    EXPECT_EQ(berlin.instantOf(1792895400), 1792888200);
    EXPECT_FALSE(DisplayZone::named("Mars/Olympus"));
    EXPECT_FALSE(DisplayZone::named("../../etc/passwd"));
    EXPECT_FALSE(DisplayZone::named(""));
    EXPECT_EQ(DisplayZone::fixed(-19800).instantOf(0), 19800);
}

WVLChannel numbered(const char* source, const char* number)
{
    WVLChannel channel;
    channel.setSource(source);
    channel.setNumber(number);
    return channel;
}

TEST(LineUp, HasEachSourceOnceInOrderOfNumber)
{
    std::list<WVLChannel> channels{numbered("c", "10"),  numbered("x", ""),    numbered("a", "5.10"),
                                   numbered("b", "5.2"), numbered("a", "1"),   numbered("d", "2"),
                                   numbered("y", ""),    numbered("e", "11-1")};
    std::string order;
    for (const WVLChannel& channel : lineUp(channels)) {
        order += channel.getSource();
    }
    EXPECT_EQ(order, "dbacexy");
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
        std::istringstream text(guideTable(m_channels, m_programmes, m_window, {m_width, colours}));
        std::vector<std::string> lines;
        for (std::string line; std::getline(text, line);) {
            lines.push_back(line);
        }
        return lines;
    }

    std::list<WVLChannel> m_channels;
    std::list<WVLContent> m_programmes;
    GuideWindow m_window{kEvening, kEvening + 7200, kEvening + 600, DisplayZone::fixed(0)};
    int m_width = 57;  // 8 for names, 48 for 120 minutes
};

TEST_F(GuideTable, ProgrammesAreUnderTheirTimes)
{
    channel("a", "1", "One");
    channel("b", "2", "Two");
    channel("c", "", "");
    programme("b", 60, 60, "Late");
    programme("a", -30, 60, "Running since before");
    programme("a", 30, 45, "Middle");
    programme("a", 90, 120, "Beyond the end");
    programme("b", 0, 30, "First");
    programme("z", 0, 30, "Of no channel");
    EXPECT_THAT(table(), ElementsAre("Saturday 21 November 2026, 20:00 to 22:00 (UTC+00:00)",
                                     "         20:00       20:30       21:00       21:30 ",
                                     "1 One    │>Running   │Middle           │     │Beyond the",
                                     "         │since befo…│                 │     │end",
                                     "2 Two    │>First     │           │Late", "         │           │           │",
                                     "c        │", "         │"));
}

TEST_F(GuideTable, LaterProgrammesCutEarlierOnesShort)
{
    channel("a", "1", "One");
    programme("a", 0, 60, "Overlapped");
    programme("a", 30, 60, "Overlapping");
    programme("a", 96, 0, "Nothing");
    programme("a", 97, -5, "Less than nothing");
    EXPECT_EQ(table()[2], "1 One    │>Overlapped│Overlapping            │");
}

TEST_F(GuideTable, ShortProgrammesKeepAMark)
{
    channel("a", "1", "One");
    programme("a", 0, 60, "Long");
    programme("a", 60, 2, "Ad");
    programme("a", 62, 3, "Weather");
    programme("a", 65, 45, "Film");
    programme("a", 110, 1, "Alone");
    EXPECT_EQ(table()[2], "1 One    │>Long                  │+2│Film            │Al│");
    m_programmes.clear();
    programme("a", 0, 118, "Long");
    programme("a", 118, 1, "Last");
    EXPECT_EQ(table()[2], "1 One    │>Long                                       │La");
    m_programmes.clear();
    for (int minute = 0; minute < 120; ++minute) {
        programme("a", minute, 1, "Minute");
    }
    EXPECT_EQ(table()[2], "1 One    │>+120");
}

TEST_F(GuideTable, HeadingNamesTheEndOfLongWindows)
{
    const struct {
        std::int64_t begin;
        int hours;
        const char* heading;
    } rows[] = {
        {kEvening - 72000, 24, "Saturday 21 November 2026, 00:00 to 24:00 (UTC+00:00)"},
        {kEvening, 24, "Saturday 21 November 2026, 20:00 to Sunday 20:00 (UTC+00:00)"},
        {kEvening, 4, "Saturday 21 November 2026, 20:00 to 24:00 (UTC+00:00)"},
        {kEvening, 5, "Saturday 21 November 2026, 20:00 to 01:00 (UTC+00:00)"},
        {kEvening - 72000, 3, "Saturday 21 November 2026, 00:00 to 03:00 (UTC+00:00)"},
    };
    m_width = 80;
    for (const auto& row : rows) {
        m_window.begin = row.begin;
        m_window.end = row.begin + row.hours * 3600;
        EXPECT_EQ(table()[0], row.heading);
    }
}

TEST_F(GuideTable, DrawsClockChangesCorrectly)
{
    m_width = 130;
    m_window.zone = DisplayZone::named("Europe/Berlin").value();
    m_window.begin = 1792882800;  // 2026-10-25T01:00+02:00
    m_window.end = m_window.begin + 10800;
    EXPECT_EQ(table()[0], "Sunday 25 October 2026, 01:00 to 03:00 (UTC+02:00, then UTC+01:00)");
    EXPECT_THAT(table()[1], testing::ContainsRegex("01:00 +01:30 +02:00 +02:30 +02:00 +02:30"));
    m_window.begin = 1774742400;  // 2026-03-29T01:00+01:00
    m_window.end = m_window.begin + 7200;
    EXPECT_THAT(table()[1], testing::ContainsRegex("01:00 +01:30 +03:00 +03:30"));
}

TEST_F(GuideTable, LinesNeverExceedTheWidth)
{
    channel("a", "1001", "Eine Anstalt mit einem sehr langen Namen");
    channel("b", "2", "星テレビ放送局日本東京");
    for (int minute = -20; minute < 130; minute += 7) {
        programme("a", minute, 7, "Ünïcödé tïtle " + std::to_string(minute));
        programme("b", minute, minute % 3 + 1, "星テレビ放送局");
    }
    for (m_width = 1; m_width < 220; ++m_width) {
        for (const std::string& line : table()) {
            ASSERT_LE(displayWidth(line), std::max(m_width, 12)) << m_width << ": " << line;
        }
    }
}

TEST_F(GuideTable, TimesAreThoseOfTheZone)
{
    channel("a", "1", "One");
    m_window.zone = DisplayZone::fixed(-19800);
    EXPECT_EQ(table()[0], "Saturday 21 November 2026, 14:30 to 16:30 (UTC-05:30)");
}

TEST_F(GuideTable, ColoursOnlyOnDemand)
{
    channel("a", "1", "One\x1b[2J");
    programme("a", 0, 60, "Title\x1b]0;evil\x07");
    for (const std::string& line : table(false)) {
        EXPECT_THAT(line, Not(HasSubstr("\x1b")));
    }
    const std::vector<std::string> coloured = table(true);
    EXPECT_THAT(coloured[2], HasSubstr("\x1b[7m>Title"));
    for (const std::string& line : coloured) {
        EXPECT_THAT(line, Not(HasSubstr("evil\x07")));
    }
}

}  // namespace
}  // namespace W::host
