// Works on byte values: no locale, no allocation per character.
#include "HttpWire.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

#include <curl/curl.h>

namespace W::host {

namespace {

/// Properties of a byte in requests.
struct ByteKind {
    bool token = false;      ///< in header names
    bool breaking = false;   ///< ends a header line
    bool invisible = false;  ///< blank or control character: not allowed in a request line
    bool unsafe = false;     ///< to be percent-encoded
};

constexpr char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

constexpr std::array<ByteKind, 256> makeByteKinds()
{
    constexpr std::string_view kUnsafe = "\"<>\\^{|}`";
    constexpr std::string_view kTokenMarks = "!#$%&'*+-.^_`|~";
    std::array<ByteKind, 256> kinds{};
    for (std::size_t byte = 0; byte < kinds.size(); ++byte) {
        const char letter = static_cast<char>(byte);
        ByteKind& kind = kinds[byte];
        kind.token = (lower(letter) >= 'a' && lower(letter) <= 'z') || (letter >= '0' && letter <= '9') ||
                     kTokenMarks.find(letter) != std::string_view::npos;
        kind.breaking = letter == '\r' || letter == '\n' || letter == '\0';
        kind.invisible = byte <= 0x20 || byte == 0x7F;
        kind.unsafe = kind.invisible || byte > 0x7F || kUnsafe.find(letter) != std::string_view::npos;
    }
    return kinds;
}

constexpr std::array<ByteKind, 256> kByteKinds = makeByteKinds();

constexpr const ByteKind& kindOf(char letter)
{
    return kByteKinds[static_cast<unsigned char>(letter)];
}

template <bool ByteKind::*Property>
bool hasAny(std::string_view string)
{
    return std::any_of(string.begin(), string.end(), [](char letter) { return kindOf(letter).*Property; });
}

bool startsWith(std::string_view string, std::string_view scheme)
{
    return string.size() >= scheme.size() && isHeaderName(string.substr(0, scheme.size()), scheme);
}

}  // namespace

std::string percentEncoded(std::string_view string)
{
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string encoded;
    encoded.reserve(string.size());
    for (const char letter : string) {
        if (!kindOf(letter).unsafe) {
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
    const std::string_view address = url;
    wire.tls = startsWith(address, "https://");
    if (!wire.tls && !startsWith(address, "http://")) {
        return std::nullopt;
    }
    const std::size_t host = wire.tls ? 8 : 7;
    const std::size_t path = std::min(address.find_first_of("/?#", host), address.size());
    const std::string_view authority = address.substr(host, path - host);
    if (authority.empty() || hasAny<&ByteKind::invisible>(authority)) {
        return std::nullopt;
    }
    wire.origin = address.substr(0, path);
    wire.origin += '/';
    const std::string_view target = address.substr(path);
    // The target of a request line starts with a path.
    if (target.empty() || target.front() != '/') {
        wire.target = '/';
    }
    if (encoding == UrlEncoding::PercentEncode) {
        wire.target += percentEncoded(target);
    } else {
        wire.target += target;
    }
    if (hasAny<&ByteKind::invisible>(wire.target)) {
        return std::nullopt;
    }
    return wire;
}

std::string hostOf(const WireUrl& url)
{
    const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parsed(curl_url(), &curl_url_cleanup);
    char* part = nullptr;
    if (curl_url_set(parsed.get(), CURLUPART_URL, url.origin.c_str(), 0) != CURLUE_OK ||
        curl_url_get(parsed.get(), CURLUPART_HOST, &part, 0) != CURLUE_OK) {
        return {};
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(part, &curl_free);
    const std::string_view host = part;
    return std::string(host.size() > 2 && host.front() == '[' ? host.substr(1, host.size() - 2) : host);
}

bool isSendable(const HttpHeader& header)
{
    return std::all_of(header.lines().begin(), header.lines().end(), [](const HttpHeader::Line& line) {
        const auto& [name, value] = line;
        return !name.empty() &&
               std::all_of(name.begin(), name.end(), [](char letter) { return kindOf(letter).token; }) &&
               !hasAny<&ByteKind::breaking>(value);
    });
}

bool isHeaderName(std::string_view name, std::string_view wanted)
{
    return std::equal(name.begin(), name.end(), wanted.begin(), wanted.end(),
                      [](char a, char b) { return lower(a) == lower(b); });
}

}  // namespace W::host
