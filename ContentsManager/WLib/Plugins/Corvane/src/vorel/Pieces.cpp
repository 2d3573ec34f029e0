#include "Pieces.h"

#include <cstring>
#include <stdexcept>

#include "Reply.h"

namespace W::vorel {

namespace {

/// Scans JSON by its brackets, quotes, colons and commas only. May accept malformed JSON and may reject valid JSON.
class Scanner {
public:
    explicit Scanner(std::string_view text) : m_at(text.data()), m_end(text.data() + text.size()) {}

    const char* at() const { return m_at; }
    bool isAt(char wanted) const { return m_at != m_end && *m_at == wanted; }

    void skipBlanks()
    {
        while (m_at != m_end && (*m_at == ' ' || *m_at == '\t' || *m_at == '\r' || *m_at == '\n')) {
            ++m_at;
        }
    }

    /// Skips blanks, the character, and blanks.
    bool take(char wanted)
    {
        skipBlanks();
        if (!isAt(wanted)) {
            return false;
        }
        ++m_at;
        skipBlanks();
        return true;
    }

    /// Takes a key and its colon. Rejects a key with escapes, which may equal another key.
    bool takeKey(std::string_view& key)
    {
        skipBlanks();
        const char* const begin = m_at;
        if (!isAt('"') || !skipString()) {
            return false;
        }
        key = {begin + 1, static_cast<std::size_t>(m_at - begin) - 2};
        return key.find('\\') == std::string_view::npos && take(':');
    }

    /// Skips a value. Rejects comments, which could contain brackets and quotes.
    bool skipValue()
    {
        // The JSON library has a limit of 1,000, which includes the levels around an element.
        constexpr int kDeepest = 900;
        int depth = 0;
        for (; m_at != m_end; ++m_at) {
            switch (*m_at) {
                case '"':
                    if (!skipString()) {
                        return false;
                    }
                    --m_at;
                    break;
                case '{':
                case '[':
                    if (++depth > kDeepest) {
                        return false;
                    }
                    break;
                case '}':
                case ']':
                    if (depth == 0) {
                        return true;
                    }
                    if (--depth == 0) {
                        ++m_at;
                        return true;
                    }
                    break;
                case ',':
                    if (depth == 0) {
                        return true;
                    }
                    break;
                case '/':
                    return false;
                default:
                    break;
            }
        }
        return false;
    }

private:
    /// Skips a string and its closing quote.
    bool skipString()
    {
        const char* const begin = m_at + 1;
        for (const char* quote = begin;; ++quote) {
            quote = static_cast<const char*>(std::memchr(quote, '"', static_cast<std::size_t>(m_end - quote)));
            if (quote == nullptr) {
                return false;
            }
            const char* backslash = quote;
            while (backslash != begin && backslash[-1] == '\\') {
                --backslash;
            }
            if ((quote - backslash) % 2 == 0) {
                m_at = quote + 1;
                return true;
            }
        }
    }

    const char* m_at;
    const char* m_end;
};

/// Scans the members of an object. @param member  called with each key; scans its value
template <class Member>
bool scanObject(Scanner& scanner, Member member)
{
    if (!scanner.take('{')) {
        return false;
    }
    std::string_view key;
    do {
        if (!scanner.takeKey(key) || !member(key)) {
            return false;
        }
    } while (scanner.take(','));
    return scanner.take('}');
}

/// Finds the elements of an array of objects.
bool scanArray(Scanner& scanner, std::vector<std::string_view>& elements)
{
    if (!scanner.take('[')) {
        return false;
    }
    do {
        const char* const begin = scanner.at();
        if (!scanner.isAt('{') || !scanner.skipValue()) {
            return false;
        }
        elements.emplace_back(begin, static_cast<std::size_t>(scanner.at() - begin));
    } while (scanner.take(','));
    return scanner.take(']');
}

/// Finds the elements of the array under "rsp" and the key. Rejects a second key of the same name, because the JSON
/// library would use the last one.
bool scanDocument(std::string_view text, std::string_view wanted, std::vector<std::string_view>& elements)
{
    Scanner scanner(text);
    bool hasEnvelope = false;
    return scanObject(scanner, [&](std::string_view outer) {
        if (outer != "rsp") {
            return scanner.skipValue();
        }
        if (hasEnvelope) {
            return false;
        }
        hasEnvelope = true;
        return scanObject(scanner, [&](std::string_view key) {
            if (key != wanted) {
                return scanner.skipValue();
            }
            return elements.empty() && scanArray(scanner, elements);
        });
    });
}

}  // namespace

Pieces::Pieces(const std::string& text, std::string_view key)
{
    if (text.size() < kLeast || !scanDocument(text, key, m_elements) || m_elements.empty()) {
        m_elements.clear();
        return;
    }
    const char* const end = text.data() + text.size();
    std::string frame(text, 0, static_cast<std::size_t>(m_elements.front().data() - text.data()));
    frame.append(m_elements.back().data() + m_elements.back().size(), end);
    if (!parseJson(frame, m_frame)) {
        m_elements.clear();
    }
}

Json::Value Pieces::operator[](Json::ArrayIndex index) const
{
    Json::Value element;
    if (!parseJson(m_elements[index], element)) {
        throw std::runtime_error("an element is not JSON");
    }
    return element;
}

}  // namespace W::vorel
