#include "TodayFiles.h"

#include <algorithm>
#include <cctype>
#include <charconv>

#include <fmt/format.h>

namespace corvaned {
namespace {

constexpr int kHours = 6;
constexpr int kDayHours = 24;
constexpr std::string_view kBegin = "schedule-";
constexpr std::string_view kEnd = ".json";
constexpr std::size_t kDayDigits = 8;

bool isLanguage(std::string_view text)
{
    constexpr std::size_t kLongest = 35;
    return text.size() <= kLongest && std::all_of(text.begin(), text.end(), [](unsigned char c) {
               return c < 0x80 && (std::isalnum(c) != 0 || c == '-' || c == '_');
           });
}

// Removes the number up to the next '-' or the end, and the '-'; -1 if there is none.
int takeNumber(std::string_view& text)
{
    const std::string_view digits = text.substr(0, text.find('-'));
    int number = -1;
    const std::from_chars_result read = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    text.remove_prefix(std::min(digits.size() + 1, text.size()));
    return read.ec == std::errc() && read.ptr == digits.data() + digits.size() ? number : -1;
}

// Midnight of a day by the wall clock; nothing if there is no such day.
std::optional<Instant> midnightOf(int day, const Zone& zone)
{
    const std::optional<Instant> utc = instantOf(day / 10000, day / 100 % 100, day % 100, 0, 0, 0);
    if (!utc) {
        return std::nullopt;
    }
    const Instant guess = *utc - zone.offsetAt(*utc);
    return *utc - zone.offsetAt(guess);
}

}  // namespace

std::string TodayFile::name() const
{
    return fmt::format("{}{}-{}-{}{}{}{}", kBegin, day, fromHour, toHour, lang.empty() ? "" : "-", lang, kEnd);
}

std::optional<TodayFile> TodayFile::parse(std::string_view name)
{
    if (name.size() < kBegin.size() + kDayDigits + kEnd.size() || name.substr(0, kBegin.size()) != kBegin ||
        name.substr(name.size() - kEnd.size()) != kEnd) {
        return std::nullopt;
    }
    std::string_view rest = name.substr(kBegin.size(), name.size() - kBegin.size() - kEnd.size());
    TodayFile file;
    const int day = takeNumber(rest);
    file.fromHour = takeNumber(rest);
    file.toHour = takeNumber(rest);
    file.lang = rest;
    if (day < 0 || !instantOf(day / 10000, day / 100 % 100, day % 100, 0, 0, 0) || file.fromHour < 0 ||
        file.fromHour % kHours != 0 || file.toHour != file.fromHour + kHours || file.toHour > kDayHours ||
        !isLanguage(file.lang)) {
        return std::nullopt;
    }
    file.day = std::to_string(day);
    return file;
}

std::pair<Instant, Instant> TodayFile::window(const Zone& zone) const
{
    const Instant midnight = midnightOf(std::stoi(day), zone).value_or(0);
    // On a day when the clock changes, the hours are those that the clock shows.
    const auto atHour = [&](int hour) {
        const Instant plain = midnight + Instant{hour} * 3600;
        return plain - (zone.offsetAt(plain) - zone.offsetAt(midnight));
    };
    return {atHour(fromHour), atHour(toHour)};
}

std::vector<TodayFile> todayFiles(const Zone& zone, Instant now, std::string_view lang)
{
    std::string day = zone.formatLocal(now).substr(0, 10);
    day.erase(std::remove(day.begin(), day.end(), '-'), day.end());
    std::vector<TodayFile> files;
    for (int hour = 0; hour < kDayHours; hour += kHours) {
        files.push_back({day, hour, hour + kHours, isLanguage(lang) ? std::string(lang) : std::string()});
    }
    return files;
}

}  // namespace corvaned
