// Widths come from wcwidth() in a UTF-8 locale, independently of the environment's locale.
#include "Terminal.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace W::host {

namespace {

constexpr int kStandardWidth = 80;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "…";
constexpr std::string_view kLeftToRightMark = "\xE2\x80\x8E";

/// Switches this thread to a locale in which wcwidth() knows all characters.
class WideLocale {
public:
    WideLocale() : m_before(::uselocale(utf8())) {}
    ~WideLocale() { ::uselocale(m_before); }
    WideLocale(const WideLocale&) = delete;
    WideLocale& operator=(const WideLocale&) = delete;

private:
    static locale_t utf8()
    {
        static locale_t const s_locale = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return s_locale;
    }
    locale_t m_before;
};

struct Character {
    std::string_view bytes;
    int width;
};

constexpr wchar_t kZeroWidthJoiner = 0x200D;

/// Removes and returns the first code point of a string that is not empty.
CodePoint nextCodePoint(std::string_view& string)
{
    mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t length = ::mbrtowc(&wide, string.data(), string.size(), &state);
    const bool good = length != static_cast<std::size_t>(-1) && length != static_cast<std::size_t>(-2) && length > 0;
    const CodePoint point{string.substr(0, good ? length : 1), good ? wide : L'\0'};
    string.remove_prefix(point.bytes.size());
    return point;
}

/// Format characters that could reorder or hide what follows them: directional overrides and isolates, marks, tags.
bool isInvisibleControl(wchar_t point)
{
    return point == 0xAD || point == 0x61C || point == 0x180E || point == 0x200B || point == 0x200E ||
           point == 0x200F || (point >= 0x2028 && point <= 0x202E) || (point >= 0x2060 && point <= 0x206F) ||
           point == 0xFEFF || (point >= 0xE0000 && point <= 0xE007F);
}

/// Hebrew, Arabic and their neighbours.
bool isRightToLeft(wchar_t point)
{
    return (point >= 0x590 && point <= 0x8FF) || (point >= 0xFB1D && point <= 0xFDFF) ||
           (point >= 0xFE70 && point < 0xFEFF) || (point >= 0x10800 && point <= 0x10FFF) ||
           (point >= 0x1E800 && point <= 0x1EFFF);
}

bool isRegionalIndicator(wchar_t point)
{
    return point >= 0x1F1E6 && point <= 0x1F1FF;
}

bool isSkinTone(wchar_t point)
{
    return point >= 0x1F3FB && point <= 0x1F3FF;
}

/// Emoji that a joiner can connect.
bool isPictograph(wchar_t point)
{
    return point >= 0x1F000 || (point >= 0x2190 && point <= 0x2BFF);
}

/// Removes and returns the first character of a string that is not empty: the code points that a terminal draws as one
/// character. An emoji sequence is as wide as its first emoji.
Character next(std::string_view& string)
{
    const std::string_view all = string;
    const CodePoint first = nextCodePoint(string);
    if (first.value == 0) {
        return first.bytes.front() == '\0' ? Character{" ", 1} : Character{kReplacement, 1};
    }
    if (isInvisibleControl(first.value)) {
        return {"", 0};
    }
    const int width = ::wcwidth(first.value);
    if (width < 0) {
        return {" ", 1};
    }
    wchar_t last = first.value;
    while (!string.empty()) {
        std::string_view rest = string;
        const CodePoint point = nextCodePoint(rest);
        const bool joins = (last == kZeroWidthJoiner && isPictograph(first.value) && isPictograph(point.value)) ||
                           (isSkinTone(point.value) && isPictograph(last)) ||
                           (isRegionalIndicator(point.value) && isRegionalIndicator(last) && last == first.value &&
                            all.size() - string.size() == first.bytes.size());
        const bool combines = point.value != 0 && !isInvisibleControl(point.value) && ::wcwidth(point.value) == 0;
        if (!joins && !combines) {
            break;
        }
        last = point.value;
        string = rest;
    }
    const Character character{all.substr(0, all.size() - string.size()), width};
    // Two regional indicators are one flag.
    return isRegionalIndicator(first.value) ? Character{character.bytes, 2} : character;
}

/// Keeps the direction of a right-to-left string from affecting its neighbours.
std::string isolated(std::string string)
{
    for (std::string_view rest = string; !rest.empty();) {
        if (isRightToLeft(nextCodePoint(rest).value)) {
            return std::string(kLeftToRightMark) + string + std::string(kLeftToRightMark);
        }
    }
    return string;
}

std::string_view withoutLeadingBlanks(std::string_view string)
{
    const std::size_t first = string.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view() : string.substr(first);
}

/// Removes and returns the part of a string that fits: whole words, unless the first word is too long.
std::string takeLine(std::string_view& string, int width)
{
    std::string line;
    std::string lineToBreak;
    std::string_view restAfterBreak;
    int used = 0;
    for (std::string_view rest = string; !rest.empty();) {
        const Character character = next(rest);
        if (used + character.width > width) {
            const bool betweenWords = !lineToBreak.empty() && character.bytes != " ";
            string = withoutLeadingBlanks(betweenWords ? restAfterBreak : string);
            return betweenWords ? lineToBreak : line;
        }
        if (character.bytes == " ") {
            lineToBreak = line;
            restAfterBreak = rest;
        }
        line += character.bytes;
        used += character.width;
        string = rest;
    }
    string = {};
    return line;
}

}  // namespace

int terminalWidth(int descriptor)
{
    winsize size{};
    if (::isatty(descriptor) != 1 || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return kStandardWidth;
    }
    return size.ws_col;
}

bool terminalHasColours()
{
    const char* const terminal = std::getenv("TERM");
    const char* const none = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && terminal && std::strcmp(terminal, "dumb") != 0 && !(none && *none);
}

int displayWidth(std::string_view string)
{
    const WideLocale locale;
    int width = 0;
    while (!string.empty()) {
        width += next(string).width;
    }
    return width;
}

std::string fitted(std::string_view string, int width)
{
    const WideLocale locale;
    std::string fit;
    std::string cut;  // the columns before the ellipsis
    int used = 0;
    int cutUsed = 0;
    while (!string.empty()) {
        const Character character = next(string);
        if (used + character.width > width) {
            cut = isolated(cut + std::string(width > 0 ? kEllipsis : std::string_view()));
            return cut.append(static_cast<std::size_t>(width > 0 ? width - cutUsed - 1 : 0), ' ');
        }
        fit += character.bytes;
        used += character.width;
        if (used < width) {
            cut = fit;
            cutUsed = used;
        }
    }
    return isolated(fit).append(static_cast<std::size_t>(width - used), ' ');
}

std::vector<CodePoint> lowerCase(std::string_view string)
{
    const WideLocale locale;
    std::vector<CodePoint> points;
    while (!string.empty()) {
        CodePoint point = nextCodePoint(string);
        point.value = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(point.value)));
        points.push_back(point);
    }
    return points;
}

std::string printable(std::string_view string)
{
    const WideLocale locale;
    std::string result;
    while (!string.empty()) {
        result += next(string).bytes;
    }
    return result;
}

std::vector<std::string> wrapped(std::string_view string, int width, std::size_t lines)
{
    std::vector<std::string> result;
    string = withoutLeadingBlanks(string);
    while (!string.empty() && result.size() + 1 < lines) {
        std::string line;
        {
            const WideLocale locale;
            line = takeLine(string, width);
        }
        // The character is wider than the whole column.
        if (line.empty()) {
            break;
        }
        result.push_back(fitted(line, width));
    }
    if (!string.empty()) {
        result.push_back(fitted(string, width));
    }
    return result;
}

std::string paragraph(std::string_view text, int width)
{
    std::string result;
    for (const std::string& line : wrapped(text, std::max(1, width), text.size() + 1)) {
        result += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
    }
    return result;
}

}  // namespace W::host
