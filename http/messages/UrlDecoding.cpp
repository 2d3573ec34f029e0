#include "UrlDecoding.h"

#include <algorithm>

namespace http {
namespace {

int digitOf(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const char letter = static_cast<char>(c | 0x20);
    return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

}  // namespace

std::string percentDecoded(std::string_view text, Plus plus)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && digitOf(text[i + 1]) >= 0 && digitOf(text[i + 2]) >= 0) {
            decoded += static_cast<char>(digitOf(text[i + 1]) * 16 + digitOf(text[i + 2]));
            i += 2;
        } else {
            decoded += text[i] == '+' && plus == Plus::IsBlank ? ' ' : text[i];
        }
    }
    return decoded;
}

std::multimap<std::string, std::string> parseQuery(std::string_view query)
{
    std::multimap<std::string, std::string> values;
    while (!query.empty()) {
        const std::string_view part = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(part.size() + 1, query.size()));
        if (part.empty()) {
            continue;
        }
        const std::size_t equal = std::min(part.find('='), part.size());
        values.emplace(percentDecoded(part.substr(0, equal), Plus::IsBlank),
                       percentDecoded(part.substr(std::min(equal + 1, part.size())), Plus::IsBlank));
    }
    return values;
}

}  // namespace http
