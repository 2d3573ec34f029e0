#include "XmltvTime.h"

#include <gtest/gtest.h>

namespace corvaned {
namespace {

struct TimeRow {
    const char* text;
    const char* expected;  // UTC; "" if it is refused
};

TEST(XmltvTime, ReadsEveryFormOfTheFormat)
{
    const TimeRow rows[] = {
        {"20261121013000", "2026-11-21T01:30:00Z"},
        {"20261121013000 +0000", "2026-11-21T01:30:00Z"},
        {"20261121013000 +0900", "2026-11-20T16:30:00Z"},
        {"20261121013000 -0530", "2026-11-21T07:00:00Z"},
        {"20261121013000 +05:30", "2026-11-20T20:00:00Z"},
        {"20261121013000 +09", "2026-11-20T16:30:00Z"},
        {"20261121013000+0900", "2026-11-20T16:30:00Z"},
        {"  20261121013000   +0900 ", "2026-11-20T16:30:00Z"},
        {"20261121013000 Z", "2026-11-21T01:30:00Z"},
        {"20261121013000 UTC", "2026-11-21T01:30:00Z"},
        {"20261121013000 gmt", "2026-11-21T01:30:00Z"},
        {"200007281733 BST", "2000-07-28T16:33:00Z"},
        {"20010829000500 MST", "2001-08-29T07:05:00Z"},
        {"20260701120000 CEST", "2026-07-01T10:00:00Z"},
        {"20260701120000 NST", "2026-07-01T15:30:00Z"},
        {"20260701120000 ACDT", "2026-07-01T01:30:00Z"},
        {"20260701120000 NZDT", "2026-06-30T23:00:00Z"},
        {"202611210130", "2026-11-21T01:30:00Z"},
        {"2026112101", "2026-11-21T01:00:00Z"},
        {"20261121", "2026-11-21T00:00:00Z"},
        {"202611", "2026-11-01T00:00:00Z"},
        {"2003", "2003-01-01T00:00:00Z"},
        {"2003 +0100", "2002-12-31T23:00:00Z"},
        {"20240229000000", "2024-02-29T00:00:00Z"},
        {"19691231235959", "1969-12-31T23:59:59Z"},
        {"", ""},
        {"tonight", ""},
        {"202", ""},
        {"20031", ""},
        {"202611210130001", ""},
        {"2026112101300", ""},
        {"20230229000000", ""},
        {"20261301000000", ""},
        {"20261121240000", ""},
        {"20261121016000", ""},
        {"20261121013060", ""},
        {"20261121013000 XYZ", ""},
        {"20261121013000 +1500", ""},
        {"20261121013000 +0960", ""},
        {"20261121013000 +9", ""},
        {"20261121013000 +0900x", ""},
        {"20261121013000 0900", ""},
        {"2026-11-21T01:30:00Z", ""},
    };
    for (const TimeRow& row : rows) {
        std::string problem;
        const std::optional<Instant> instant = parseXmltvTime(row.text, problem);
        EXPECT_EQ(instant ? formatUtc(*instant) : "", row.expected) << row.text;
        EXPECT_EQ(problem.empty(), instant.has_value()) << row.text << ": " << problem;
    }
}

TEST(XmltvTime, ReportsWhatIsWrong)
{
    std::string problem;
    parseXmltvTime("20261121013000 XYZ", problem);
    EXPECT_EQ(problem, "'20261121013000 XYZ' names an unknown zone");
    parseXmltvTime("20230229000000", problem);
    EXPECT_EQ(problem, "'20230229000000' is not a date and time of the calendar");
    parseXmltvTime("soon", problem);
    EXPECT_EQ(problem, "'soon' is not a time of the form YYYYMMDDhhmmss");
}

}  // namespace
}  // namespace corvaned
