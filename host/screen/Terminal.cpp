// Characters by wcwidth() in a UTF-8 locale of our own, whatever the environment's is.
#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <clocale>
#include <cwchar>

#include <cstdlib>
#include <cstring>
#include <utility>

namespace W::host {

namespace {

constexpr int kStandardWidth = 80;
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "…";

/// The locale that knows how wide characters are.
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

/// Takes the next character off a text that is not empty.
Character next(std::string_view& text)
{
    mbstate_t state{};
    wchar_t wide = 0;
    const std::size_t length = ::mbrtowc(&wide, text.data(), text.size(), &state);
    if (length == static_cast<std::size_t>(-1) || length == static_cast<std::size_t>(-2)) {
        text.remove_prefix(1);
        return {kReplacement, 1};
    }
    const Character character{text.substr(0, length > 0 ? length : 1), ::wcwidth(wide)};
    text.remove_prefix(character.bytes.size());
    // Control characters have no width.
    return character.width < 0 || wide == 0 ? Character{" ", 1} : character;
}

std::string_view withoutLeadingBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

/// As much of a text as fits, in whole words where the first one fits.
/// @param text  loses what was taken
std::string takeLine(std::string_view& text, int width)
{
    std::string line;
    std::string lineToBreak;
    std::string_view textAfterBreak;
    int used = 0;
    for (std::string_view rest = text; !rest.empty();) {
        const Character character = next(rest);
        if (used + character.width > width) {
            const bool betweenWords = !lineToBreak.empty() && character.bytes != " ";
            text = withoutLeadingBlanks(betweenWords ? textAfterBreak : text);
            return betweenWords ? lineToBreak : line;
        }
        if (character.bytes == " ") {
            lineToBreak = line;
            textAfterBreak = rest;
        }
        line += character.bytes;
        used += character.width;
        text = rest;
    }
    text = {};
    return line;
}

}  // namespace

int terminalWidth(int descriptor)
{
    winsize size{};
    if (::isatty(descriptor) != 1 || ::ioctl(descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return kStandardWidth;
    return size.ws_col;
}

bool terminalHasColours()
{
    const char* const terminal = std::getenv("TERM");
    const char* const none = std::getenv("NO_COLOR");
    return ::isatty(STDOUT_FILENO) == 1 && terminal && std::strcmp(terminal, "dumb") != 0 && !(none && *none);
}

int displayWidth(std::string_view text)
{
    const WideLocale locale;
    int width = 0;
    while (!text.empty())
        width += next(text).width;
    return width;
}

std::string fitted(std::string_view text, int width)
{
    const WideLocale locale;
    std::string fit;
    std::string cut;  // as much as leaves room for the ellipsis
    int used = 0;
    int cutUsed = 0;
    while (!text.empty()) {
        const Character character = next(text);
        if (used + character.width > width) {
            cut += width > 0 ? kEllipsis : std::string_view();
            return cut.append(static_cast<std::size_t>(width > 0 ? width - cutUsed - 1 : 0), ' ');
        }
        fit += character.bytes;
        used += character.width;
        if (used < width) {
            cut = fit;
            cutUsed = used;
        }
    }
    return fit.append(static_cast<std::size_t>(width - used), ' ');
}

std::vector<std::string> wrapped(std::string_view text, int width, std::size_t lines)
{
    std::vector<std::string> result;
    text = withoutLeadingBlanks(text);
    while (!text.empty() && result.size() + 1 < lines) {
        std::string line;
        {
            const WideLocale locale;
            line = takeLine(text, width);
        }
        // A character that is wider than the whole column.
        if (line.empty())
            break;
        result.push_back(fitted(line, width));
    }
    if (!text.empty())
        result.push_back(fitted(text, width));
    return result;
}

}  // namespace W::host
