// Splitting, encoding and checking by byte values: no locale, no allocation per character.
#include "HttpWire.h"

#include <algorithm>
#include <cstddef>

namespace W::host {

namespace {

constexpr std::string_view kUnsafe = "\"<>\\^{|}`";
constexpr std::string_view kTokenMarks = "!#$%&'*+-.^_`|~";

constexpr bool isControlOrBlank(char letter)
{
    const auto byte = static_cast<unsigned char>(letter);
    return byte <= 0x20 || byte == 0x7F;
}

constexpr char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

constexpr bool isTokenLetter(char letter)
{
    const char low = lower(letter);
    return (low >= 'a' && low <= 'z') || (letter >= '0' && letter <= '9') ||
           kTokenMarks.find(letter) != std::string_view::npos;
}

bool mustBeEncoded(char letter)
{
    return isControlOrBlank(letter) || static_cast<unsigned char>(letter) > 0x7F ||
           kUnsafe.find(letter) != std::string_view::npos;
}

bool startsWith(std::string_view text, std::string_view scheme)
{
    return text.size() >= scheme.size() && isHeaderName(text.substr(0, scheme.size()), scheme);
}

}  // namespace

std::string percentEncoded(std::string_view text)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(text.size());
    for (const char letter : text) {
        if (!mustBeEncoded(letter)) {
            encoded += letter;
            continue;
        }
        const auto byte = static_cast<unsigned char>(letter);
        encoded += '%';
        encoded += kDigits[byte >> 4];
        encoded += kDigits[byte & 15];
    }
    return encoded;
}

std::optional<WireUrl> splitUrl(const std::string& url, UrlEncoding encoding)
{
    WireUrl wire;
    const std::string_view text = url;
    wire.tls = startsWith(text, "https://");
    if (!wire.tls && !startsWith(text, "http://"))
        return std::nullopt;
    const std::size_t host = wire.tls ? 8 : 7;
    const std::size_t path = std::min(text.find_first_of("/?#", host), text.size());
    const std::string_view authority = text.substr(host, path - host);
    if (authority.empty() || std::any_of(authority.begin(), authority.end(), isControlOrBlank))
        return std::nullopt;
    wire.origin = text.substr(0, path);
    wire.origin += '/';
    const std::string_view target = text.substr(path);
    // A request line cannot start its target with anything but a path.
    if (target.empty() || target.front() != '/')
        wire.target = '/';
    if (encoding == UrlEncoding::PercentEncode)
        wire.target += percentEncoded(target);
    else
        wire.target += target;
    if (std::any_of(wire.target.begin(), wire.target.end(), isControlOrBlank))
        return std::nullopt;
    return wire;
}

bool isSendable(const HttpHeader& header)
{
    constexpr std::string_view kLineBreakers("\r\n\0", 3);
    return std::all_of(header.lines().begin(), header.lines().end(), [&](const HttpHeader::Line& line) {
        return !line.first.empty() && std::all_of(line.first.begin(), line.first.end(), isTokenLetter) &&
               line.second.find_first_of(kLineBreakers) == std::string::npos;
    });
}

bool isHeaderName(std::string_view name, std::string_view wanted)
{
    return std::equal(name.begin(), name.end(), wanted.begin(), wanted.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace W::host
