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

std::string percentDecoded(std::string_view string, Plus plus)
{
    std::string decoded;
    decoded.reserve(string.size());
    for (std::size_t i = 0; i < string.size(); ++i) {
        if (string[i] == '%' && i + 2 < string.size() && digitOf(string[i + 1]) >= 0 && digitOf(string[i + 2]) >= 0) {
            decoded += static_cast<char>(digitOf(string[i + 1]) * 16 + digitOf(string[i + 2]));
            i += 2;
        } else {
            decoded += string[i] == '+' && plus == Plus::IsBlank ? ' ' : string[i];
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
