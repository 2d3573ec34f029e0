// Date-time strings and the calendar, without locale, time zone database or time_t, so that results are the same on
// every machine. The calendar is the proleptic Gregorian one for all years from 0000 to 9999.
#include "WDateTime.h"

#include <array>
#include <cstddef>

namespace W {

namespace {

constexpr std::int64_t kSecondsPerDay = 86400;
constexpr std::int64_t kFirstSecond = -62167219200;  // 0000-01-01T00:00:00Z
constexpr std::int64_t kLastSecond = 253402300799;   // 9999-12-31T23:59:59Z

struct Date {
    int year;
    int month;
    int day;
};

/// Days since 1970-01-01. Years run from March, so that the leap day is the last of its year, in eras of 400 years.
constexpr std::int64_t toDays(Date date)
{
    const int year = date.month <= 2 ? date.year - 1 : date.year;
    const int era = (year >= 0 ? year : year - 399) / 400;
    const int yearOfEra = year - era * 400;
    const int dayOfYear = (153 * (date.month + (date.month > 2 ? -3 : 9)) + 2) / 5 + date.day - 1;
    const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return static_cast<std::int64_t>(era) * 146097 + dayOfEra - 719468;
}

constexpr Date fromDays(std::int64_t days)
{
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int dayOfEra = static_cast<int>(days - era * 146097);
    const int yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int shifted = (5 * dayOfYear + 2) / 153;
    const int month = shifted + (shifted < 10 ? 3 : -9);
    return {static_cast<int>(yearOfEra + era * 400) + (month <= 2 ? 1 : 0), month,
            dayOfYear - (153 * shifted + 2) / 5 + 1};
}

constexpr int daysInMonth(int year, int month)
{
    constexpr std::array<int, 12> kDays{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return kDays[static_cast<std::size_t>(month - 1)] + (month == 2 && leap ? 1 : 0);
}

static_assert(toDays({1970, 1, 1}) == 0);
static_assert(toDays({0, 1, 1}) * kSecondsPerDay == kFirstSecond);
static_assert(toDays({9999, 12, 31}) * kSecondsPerDay + kSecondsPerDay - 1 == kLastSecond);

/// Compares a string with a pattern in which "0" matches any digit and every other character matches itself.
bool matches(std::string_view text, std::string_view pattern)
{
    if (text.size() != pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (pattern[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != pattern[i]) {
            return false;
        }
    }
    return true;
}

int number(std::string_view text, std::size_t at, std::size_t digits)
{
    int value = 0;
    for (const char digit : text.substr(at, digits)) {
        value = value * 10 + (digit - '0');
    }
    return value;
}

void writeNumber(std::string& text, std::size_t at, std::size_t digits, int value)
{
    for (; digits > 0; value /= 10) {
        text[at + --digits] = static_cast<char>('0' + value % 10);
    }
}

/// Reads `2026-11-21T01:30:00`; the caller has checked the form.
WDateTime readDateTime(std::string_view text)
{
    const Date date{number(text, 0, 4), number(text, 5, 2), number(text, 8, 2)};
    const WTime time(number(text, 11, 2), number(text, 14, 2), number(text, 17, 2));
    if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > daysInMonth(date.year, date.month) ||
        !time.isValid()) {
        return {};
    }
    return WDateTime::fromTime_t(toDays(date) * kSecondsPerDay + time.toSeconds());
}

}  // namespace

WDateTime WDateTime::fromTime_t(std::int64_t seconds)
{
    WDateTime result;
    if (seconds >= kFirstSecond && seconds <= kLastSecond) {
        result.m_seconds = seconds;
        result.m_hasInstant = true;
    }
    return result;
}

WDateTime WDateTime::fromString(std::string_view text, DATEFORMAT format, TIMEZONE zone)
{
    WDateTime result;
    if (format == FORMAT_DATETIME && zone == TIMEZONE_UTC && matches(text, "0000-00-00T00:00:00Z")) {
        result = readDateTime(text);
        if (result.hasInstant()) {
            result.toUTC();
        }
    } else if (format == FORMAT_LOCAL && zone == TIMEZONE_LOCAL && matches(text, "0000-00-00T00:00:00")) {
        result = readDateTime(text);
    } else if (format == FORMAT_OFFSET && zone == TIMEZONE_NONE &&
               (matches(text, "+00:00") || matches(text, "-00:00"))) {
        result.setOffset(text[0] == '-' ? -1 : 1, WTime(number(text, 1, 2), number(text, 4, 2)));
    }
    return result;
}

WTime WDateTime::getOffsetTime() const
{
    if (!m_hasOffset) {
        return {};
    }
    const int amount = m_offset < 0 ? -m_offset : m_offset;
    return WTime(amount / 3600, amount / 60 % 60, amount % 60);
}

void WDateTime::setOffset(int sign, const WTime& time)
{
    m_hasOffset = time.isValid();
    m_offset = sign < 0 ? -time.toSeconds() : time.toSeconds();
}

std::string WDateTime::toString() const
{
    if (!m_hasInstant) {
        return {};
    }
    const std::int64_t days = (m_seconds - (m_seconds < 0 ? kSecondsPerDay - 1 : 0)) / kSecondsPerDay;
    const int second = static_cast<int>(m_seconds - days * kSecondsPerDay);
    const Date date = fromDays(days);
    std::string text = "0000-00-00T00:00:00Z";
    writeNumber(text, 0, 4, date.year);
    writeNumber(text, 5, 2, date.month);
    writeNumber(text, 8, 2, date.day);
    writeNumber(text, 11, 2, second / 3600);
    writeNumber(text, 14, 2, second / 60 % 60);
    writeNumber(text, 17, 2, second % 60);
    return text;
}

}  // namespace W
