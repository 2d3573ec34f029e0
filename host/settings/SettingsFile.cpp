// A line at a time. CLI11's reader is not used: it cuts quoted text at "#" and leaves escapes undone, which a secret
// does not survive.
#include "SettingsFile.h"

#include "Configuration.h"

#include <fmt/format.h>

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

namespace W::host {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool isComment(std::string_view text)
{
    return text.empty() || text.front() == '#' || text.front() == ';';
}

void appendUtf8(std::string& text, std::uint32_t point)
{
    const auto put = [&text](std::uint32_t byte) { text += static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | point >> 6);
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | point >> 12);
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | point >> 18);
        put(0x80 | (point >> 12 & 0x3F));
        put(0x80 | (point >> 6 & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

/// Reads one value and leaves what stands behind it.
class ValueReader {
public:
    explicit ValueReader(std::string_view text) : m_left(text) {}

    std::string read()
    {
        if (m_left.empty() || (m_left.front() != '"' && m_left.front() != '\''))
            return bare();
        const char quote = m_left.front();
        m_left.remove_prefix(1);
        std::string text;
        while (true) {
            const char letter = next();
            if (letter == quote)
                break;
            if (letter == '\\' && quote == '"')
                escape(text);
            else
                text += letter;
        }
        if (!isComment(trimmed(m_left)))
            throw std::runtime_error("there is text behind the closing quote");
        return text;
    }

private:
    char next()
    {
        if (m_left.empty())
            throw std::runtime_error("the closing quote is missing");
        const char letter = m_left.front();
        m_left.remove_prefix(1);
        return letter;
    }

    std::string bare()
    {
        std::size_t end = m_left.size();
        for (std::size_t at = 0; at < m_left.size(); ++at) {
            const bool startsWord = at == 0 || kBlanks.find(m_left[at - 1]) != std::string_view::npos;
            if (startsWord && (m_left[at] == '#' || m_left[at] == ';')) {
                end = at;
                break;
            }
        }
        return std::string(trimmed(m_left.substr(0, end)));
    }

    void escape(std::string& text)
    {
        constexpr std::string_view kLetters = "btnfr\"\\";
        constexpr std::string_view kMeanings = "\b\t\n\f\r\"\\";
        const char letter = next();
        const std::size_t known = kLetters.find(letter);
        if (known != std::string_view::npos)
            text += kMeanings[known];
        else if (letter == 'u' || letter == 'U')
            appendUtf8(text, codePoint(letter == 'u' ? 4 : 8));
        else
            throw std::runtime_error(
                fmt::format("\\{} is no escape; for a backslash write \\\\ or use single quotes", letter));
    }

    std::uint32_t codePoint(std::size_t digits)
    {
        std::uint32_t point = 0;
        const std::string_view text = m_left.substr(0, digits);
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), point, 16);
        const bool surrogate = point >= 0xD800 && point <= 0xDFFF;
        if (text.size() != digits || stop != text.data() + digits || error != std::errc() || surrogate ||
            point > 0x10FFFF)
            throw std::runtime_error(fmt::format("\\u wants the {} hexadecimal digits of a character", digits));
        m_left.remove_prefix(digits);
        return point;
    }

    std::string_view m_left;
};

/// @return the key, or nothing for a line without one
std::optional<std::string> readLine(std::string_view line, std::string& value)
{
    line = trimmed(line);
    if (isComment(line))
        return std::nullopt;
    if (line.front() == '[') {
        const std::size_t end = line.find(']');
        if (end == std::string_view::npos || !isComment(trimmed(line.substr(end + 1))))
            throw std::runtime_error("a heading has to end with ]");
        return std::nullopt;
    }
    const std::size_t equals = line.find('=');
    const std::string_view key = trimmed(line.substr(0, equals == std::string_view::npos ? 0 : equals));
    if (key.empty())
        throw std::runtime_error("a line has to read key = \"value\"");
    value = ValueReader(trimmed(line.substr(equals + 1))).read();
    return std::string(key);
}

}  // namespace

void readSettings(std::string_view text, const std::string& name, Configuration& into)
{
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        text.remove_prefix(kByteOrderMark.size());
    std::set<std::string> seen;
    for (int number = 1; !text.empty(); ++number) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string place = fmt::format("{}:{}", name, number);
        try {
            std::string value;
            const std::optional<std::string> key = readLine(line, value);
            if (key && !seen.insert(*key).second)
                throw std::runtime_error(fmt::format("{} is set twice; leave one", *key));
            if (key)
                into.set(*key, std::move(value), place);
        } catch (const std::runtime_error& error) {
            throw std::runtime_error(fmt::format("{}: {}", place, error.what()));
        }
    }
}

void readSettingsFile(const std::string& path, Configuration& into)
{
    std::error_code ignored;
    std::ifstream file(path, std::ios::binary);
    if (!file || !std::filesystem::is_regular_file(path, ignored))
        throw std::runtime_error(
            fmt::format("cannot read the configuration file {}; name another one with --config "
                        "or see docs/options.md for its lines",
                        path));
    std::ostringstream text;
    text << file.rdbuf();
    readSettings(text.str(), path, into);
}

std::optional<std::string> standardSettingsFile()
{
    const char* const home = std::getenv("HOME");
    const char* const configured = std::getenv("XDG_CONFIG_HOME");
    std::filesystem::path directory;
    if (configured && *configured == '/')
        directory = configured;
    else if (home && *home)
        directory = std::filesystem::path(home) / ".config";
    else
        return std::nullopt;
    std::error_code ignored;
    const std::filesystem::path file = directory / "corvane" / "corvane.toml";
    if (!std::filesystem::exists(file, ignored))
        return std::nullopt;
    return file.string();
}

}  // namespace W::host
