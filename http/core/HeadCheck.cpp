#include "HeadCheck.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "HttpMessages.h"

namespace http {
namespace {

constexpr std::string_view kLineEnd = "\r\n";

bool isToken(std::string_view text)
{
    constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::all_of(text.begin(), text.end(), [kMarks](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               kMarks.find(c) != std::string_view::npos;
    });
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isHost(std::string_view host)
{
    return std::all_of(host.begin(), host.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               std::string_view("-._~:[]%").find(c) != std::string_view::npos;
    });
}

bool hasToken(std::string_view list, std::string_view token)
{
    while (!list.empty()) {
        const std::string_view part = list.substr(0, list.find(','));
        if (equalIgnoringCase(trimmed(part), token)) {
            return true;
        }
        list.remove_prefix(std::min(part.size() + 1, list.size()));
    }
    return false;
}

class HeadReader {
public:
    HeadReader(const ServerLimits& limits, HeadFacts& facts) : m_limits(limits), m_facts(facts) {}

    std::optional<Refused> read(std::string_view head)
    {
        std::size_t end = head.find(kLineEnd);
        if (auto refused = readRequestLine(head.substr(0, end))) {
            return refused;
        }
        head.remove_prefix(end + kLineEnd.size());
        if (head.size() > m_limits.headerBytes) {
            return Refused{431, fmt::format("the header has more than {} bytes", m_limits.headerBytes)};
        }
        std::size_t count = 0;
        while ((end = head.find(kLineEnd)) > 0) {
            if (++count > m_limits.headerCount) {
                return Refused{431, fmt::format("the header has more than {} fields", m_limits.headerCount)};
            }
            if (auto refused = readField(head.substr(0, end))) {
                return refused;
            }
            head.remove_prefix(end + kLineEnd.size());
        }
        return judge();
    }

private:
    std::optional<Refused> readRequestLine(std::string_view line)
    {
        if (line.size() > m_limits.requestLineBytes) {
            return Refused{414, fmt::format("the request line has more than {} bytes", m_limits.requestLineBytes)};
        }
        const std::size_t first = line.find(' ');
        const std::size_t last = line.rfind(' ');
        if (first == std::string_view::npos || first == last || !isToken(line.substr(0, first))) {
            return Refused{400, "the request line is not METHOD TARGET HTTP/1.1"};
        }
        const std::string_view target = line.substr(first + 1, last - first - 1);
        if (target.empty() || target.find(' ') != std::string_view::npos ||
            std::any_of(target.begin(), target.end(), isControl)) {
            return Refused{400, "the request target holds blanks or control characters"};
        }
        const bool isPath = target.front() == '/' || equalIgnoringCase(target.substr(0, 7), "http://") ||
                            equalIgnoringCase(target.substr(0, 8), "https://") ||
                            (target == "*" && line.substr(0, first) == "OPTIONS");
        if (!isPath || target.find('#') != std::string_view::npos) {
            return Refused{400, "the request target is not a path"};
        }
        const std::string_view version = line.substr(last + 1);
        if (version != "HTTP/1.1" && version != "HTTP/1.0") {
            const bool isVersion = version.substr(0, 5) == "HTTP/";
            return Refused{isVersion ? 505 : 400, "the version is not HTTP/1.1 or HTTP/1.0"};
        }
        m_facts.isHttp11 = version == "HTTP/1.1";
        m_facts.keepAlive = m_facts.isHttp11;
        return std::nullopt;
    }

    std::optional<Refused> readField(std::string_view line)
    {
        if (line.front() == ' ' || line.front() == '\t') {
            return Refused{400, "a header line begins with a blank; folded lines are not accepted"};
        }
        const std::size_t colon = line.find(':');
        const std::string_view name = line.substr(0, colon);
        if (colon == std::string_view::npos || !isToken(name)) {
            return Refused{400, "a header line is not NAME: VALUE"};
        }
        const std::string_view value = trimmed(line.substr(colon + 1));
        if (std::any_of(value.begin(), value.end(), [](char c) { return isControl(c) && c != '\t'; })) {
            return Refused{400, "a header value holds control characters"};
        }
        return readKnown(name, value);
    }

    std::optional<Refused> readKnown(std::string_view name, std::string_view value)
    {
        if (equalIgnoringCase(name, "Content-Length")) {
            constexpr std::size_t kMostDigits = 18;
            const bool isNumber = !value.empty() && value.size() <= kMostDigits &&
                                  value.find_first_not_of("0123456789") == std::string_view::npos;
            if (!isNumber || m_facts.hasLength) {
                return Refused{400, m_facts.hasLength ? "there are two Content-Length headers"
                                                      : "Content-Length is not a number of bytes"};
            }
            std::from_chars(value.data(), value.data() + value.size(), m_facts.length);
            m_facts.hasLength = true;
        } else if (equalIgnoringCase(name, "Transfer-Encoding")) {
            if (m_facts.isChunked || !m_facts.isHttp11) {
                return Refused{400, "Transfer-Encoding is not allowed here"};
            }
            if (!equalIgnoringCase(value, "chunked")) {
                // A last coding other than chunked leaves the end of the body open (RFC 9112, 6.3).
                return Refused{hasToken(value, "chunked") ? 501 : 400, "Transfer-Encoding must be 'chunked' alone"};
            }
            m_facts.isChunked = true;
        } else if (equalIgnoringCase(name, "Host")) {
            if (m_hasHost || !isHost(value)) {
                return Refused{400, m_hasHost ? "there are two Host headers" : "Host is not a name with a port"};
            }
            m_hasHost = true;
        } else if (equalIgnoringCase(name, "Connection")) {
            m_closes = m_closes || hasToken(value, "close");
            m_facts.keepAlive = m_facts.keepAlive || hasToken(value, "keep-alive");
        } else if (equalIgnoringCase(name, "Expect")) {
            if (!equalIgnoringCase(value, "100-continue")) {
                return Refused{417, "Expect knows '100-continue' only"};
            }
            m_facts.expectsContinue = m_facts.isHttp11;
        }
        return std::nullopt;
    }

    std::optional<Refused> judge()
    {
        if (m_facts.isChunked && m_facts.hasLength) {
            return Refused{400, "there are both Content-Length and Transfer-Encoding"};
        }
        if (m_facts.isHttp11 && !m_hasHost) {
            return Refused{400, "header 'Host' is missing"};
        }
        if (m_facts.length > m_limits.bodyBytes) {
            return Refused{413, fmt::format("the body has more than {} bytes", m_limits.bodyBytes)};
        }
        m_facts.keepAlive = m_facts.keepAlive && !m_closes;
        return std::nullopt;
    }

    const ServerLimits& m_limits;
    HeadFacts& m_facts;
    bool m_hasHost = false;
    bool m_closes = false;
};

}  // namespace

std::optional<Refused> checkPartOfHead(std::string_view part, const ServerLimits& limits)
{
    for (std::size_t i = 0; i < part.size(); ++i) {
        const char c = part[i];
        const bool isBare =
            (c == '\n' && (i == 0 || part[i - 1] != '\r')) || (c == '\r' && i + 1 < part.size() && part[i + 1] != '\n');
        if (isBare || c == '\0') {
            return Refused{400, c == '\0' ? "the header holds a zero byte" : "a line does not end with CR LF"};
        }
    }
    const std::size_t line = std::min(part.find(kLineEnd), part.size());
    if (line > limits.requestLineBytes) {
        return Refused{414, fmt::format("the request line has more than {} bytes", limits.requestLineBytes)};
    }
    if (part.size() - line > limits.headerBytes + 2 * kLineEnd.size()) {
        return Refused{431, fmt::format("the header has more than {} bytes", limits.headerBytes)};
    }
    return std::nullopt;
}

std::optional<Refused> checkHead(std::string_view head, const ServerLimits& limits, HeadFacts& facts)
{
    if (auto refused = checkPartOfHead(head, limits)) {
        return refused;
    }
    facts = {};
    return HeadReader(limits, facts).read(head);
}

}  // namespace http
