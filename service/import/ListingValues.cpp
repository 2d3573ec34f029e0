#include "ListingValues.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <iterator>

namespace corvaned {
namespace {

constexpr std::size_t kNumberLimit = 32;  // digits of a channel number

std::string lowered(std::string string)
{
    std::transform(string.begin(), string.end(), string.begin(),
                   [](unsigned char c) { return c < 0x80 ? std::tolower(c) : c; });
    return string;
}

}  // namespace

std::string collapsed(std::string string)
{
    char* end = string.data();
    bool blank = false;
    for (const char c : string) {
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            blank = end != string.data();
            continue;
        }
        if (blank) {
            *end++ = ' ';
            blank = false;
        }
        *end++ = c;
    }
    string.resize(static_cast<std::size_t>(end - string.data()));
    return string;
}

bool isNumber(std::string_view string)
{
    return !string.empty() && string.size() <= kNumberLimit &&
           std::all_of(string.begin(), string.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isChannelNumber(std::string_view string)
{
    const std::size_t point = string.find_first_of(".-");
    return isNumber(string.substr(0, point)) && string.size() <= kNumberLimit &&
           (point == std::string_view::npos || isNumber(string.substr(point + 1)));
}

int leadingNumber(std::string_view string)
{
    constexpr int kLargest = 1000000;
    int value = 0;
    const std::from_chars_result result = std::from_chars(string.data(), string.data() + string.size(), value);
    return result.ec == std::errc() && value >= 0 && value <= kLargest ? value : 0;
}

bool isWebAddress(std::string_view url)
{
    return url.substr(0, 7) == "http://" || url.substr(0, 8) == "https://";
}

std::string withoutBlanks(std::string_view string)
{
    std::string compact;
    std::copy_if(string.begin(), string.end(), std::back_inserter(compact), [](char c) { return c != ' '; });
    return compact;
}

void readXmltvNumbers(std::string_view numbers, int& season, int& episode)
{
    const std::size_t dot = numbers.find('.');
    const std::string_view first = numbers.substr(0, dot);
    const std::string_view second = dot == std::string_view::npos ? std::string_view() : numbers.substr(dot + 1);
    const auto oneBased = [](std::string_view number) {
        return number.empty() || !isNumber(number.substr(0, 1)) ? 0 : leadingNumber(number) + 1;
    };
    season = oneBased(first);
    episode = oneBased(second);
}

void readOnscreenNumbers(const std::string& string, int& season, int& episode)
{
    const std::string form = lowered(string);
    const std::size_t s = form.find('s');
    const std::size_t e = form.find('e', s == std::string::npos ? 0 : s);
    if (s == std::string::npos || e == std::string::npos || !isNumber(form.substr(s + 1, 1)) ||
        !isNumber(form.substr(e + 1, 1))) {
        return;
    }
    season = leadingNumber(std::string_view(form).substr(s + 1));
    episode = leadingNumber(std::string_view(form).substr(e + 1));
}

std::int64_t exportedId(std::string_view string)
{
    std::int64_t id = 0;
    const std::from_chars_result result = std::from_chars(string.data(), string.data() + string.size(), id);
    return result.ec == std::errc() && result.ptr == string.data() + string.size() && id > 0 ? id : 0;
}

bool isMovieGenre(const std::string& genre)
{
    constexpr std::string_view kMovie[] = {"movie", "movies", "film", "films", "feature film"};
    return std::find(std::begin(kMovie), std::end(kMovie), lowered(genre)) != std::end(kMovie);
}

std::string seriesOfProgramId(const std::string& id)
{
    return id.substr(0, 2) == "EP" && id.find('.') != std::string::npos ? id.substr(0, id.find('.')) : std::string();
}

std::string episodeNumbers(std::int64_t season, std::int64_t episode)
{
    const auto zeroBased = [](std::int64_t number) { return number > 0 ? std::to_string(number - 1) : std::string(); };
    return zeroBased(season) + "." + zeroBased(episode) + ".";
}

}  // namespace corvaned
