// Zone names are those that listings use with one meaning. IST, for example, is left out because India, Ireland and
// Israel all use it.
#include "XmltvTime.h"

#include <algorithm>
#include <array>
#include <cctype>

#include <fmt/format.h>

#include "Trimming.h"

namespace corvaned {
namespace {

struct ZoneName {
    std::string_view name;
    int minutes;  // east of UTC
};

constexpr ZoneName kZoneNames[] = {
    {"UTC", 0},    {"GMT", 0},    {"UT", 0},     {"Z", 0},      {"WET", 0},    {"WEST", 60},   {"BST", 60},
    {"CET", 60},   {"MET", 60},   {"CEST", 120}, {"MEST", 120}, {"EET", 120},  {"EEST", 180},  {"MSK", 180},
    {"NST", -210}, {"NDT", -150}, {"AST", -240}, {"ADT", -180}, {"EST", -300}, {"EDT", -240},  {"CST", -360},
    {"CDT", -300}, {"MST", -420}, {"MDT", -360}, {"PST", -480}, {"PDT", -420}, {"AKST", -540}, {"AKDT", -480},
    {"HST", -600}, {"JST", 540},  {"KST", 540},  {"AWST", 480}, {"ACST", 570}, {"ACDT", 630},  {"AEST", 600},
    {"AEDT", 660}, {"NZST", 720}, {"NZDT", 780},
};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

// "+0100", "+01:00" or "+01" in minutes.
std::optional<int> parseOffset(std::string_view string)
{
    std::string digits;
    for (std::size_t i = 1; i < string.size(); ++i) {
        if (isDigit(string[i])) {
            digits += string[i];
        } else if (string[i] != ':' || i != 3) {
            return std::nullopt;
        }
    }
    if (digits.size() != 2 && digits.size() != 4) {
        return std::nullopt;
    }
    digits.resize(4, '0');
    const int hours = (digits[0] - '0') * 10 + (digits[1] - '0');
    const int minutes = (digits[2] - '0') * 10 + (digits[3] - '0');
    if (hours > 14 || minutes > 59) {
        return std::nullopt;
    }
    return (string[0] == '-' ? -1 : 1) * (hours * 60 + minutes);
}

std::optional<int> parseZone(std::string_view string)
{
    if (string.empty()) {
        return 0;
    }
    if (string[0] == '+' || string[0] == '-') {
        return parseOffset(string);
    }
    std::string name(string);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    const auto* row = std::find_if(std::begin(kZoneNames), std::end(kZoneNames),
                                   [&](const ZoneName& zone) { return zone.name == name; });
    return row == std::end(kZoneNames) ? std::nullopt : std::optional<int>(row->minutes);
}

}  // namespace

std::optional<Instant> parseXmltvTime(std::string_view string, std::string& problem)
{
    string = trimmed(string);
    const auto* const firstOther = std::find_if_not(string.begin(), string.end(), isDigit);
    const auto count = static_cast<std::size_t>(firstOther - string.begin());
    if (count < 4 || count > 14 || count % 2 != 0) {
        problem = fmt::format("'{:.40}' is not a time of the form YYYYMMDDhhmmss", string);
        return std::nullopt;
    }
    const std::optional<int> zone = parseZone(trimmed(string.substr(count)));
    if (!zone) {
        problem = fmt::format("'{:.40}' names an unknown zone", string);
        return std::nullopt;
    }

    const auto field = [&](std::size_t place, std::size_t width, int absent) {
        if (place + width > count) {
            return absent;
        }
        int value = 0;
        for (const char c : string.substr(place, width)) {
            value = value * 10 + (c - '0');
        }
        return value;
    };
    const std::optional<Instant> instant =
        instantOf(field(0, 4, 0), field(4, 2, 1), field(6, 2, 1), field(8, 2, 0), field(10, 2, 0), field(12, 2, 0));
    if (!instant) {
        problem = fmt::format("'{:.40}' is not a date and time of the calendar", string);
        return std::nullopt;
    }
    return *instant - Instant{*zone} * 60;
}

}  // namespace corvaned
