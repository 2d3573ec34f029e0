#include "RequestReader.h"

#include <algorithm>

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <fmt/format.h>

#include "UrlDecoding.h"

namespace http {
namespace {

namespace beast = boost::beast;

constexpr std::string_view kEndOfHead = "\r\n\r\n";
// Limit of a chunk's size line with its extensions, and of the trailer.
constexpr std::size_t kMostChunkOverhead = 8192;

std::string copied(beast::string_view string)
{
    return {string.data(), string.size()};
}

// "/path?query" of a target that may have a scheme and a host before it (RFC 9112, 3.2.2).
std::string_view pathAndQuery(std::string_view target)
{
    const std::size_t scheme = target.front() == '/' ? std::string_view::npos : target.find("://");
    if (scheme == std::string_view::npos) {
        return target;
    }
    target.remove_prefix(scheme + 3);
    const std::size_t path = target.find_first_of("/?");
    return path == std::string_view::npos ? "/" : target.substr(path);
}

}  // namespace

struct RequestReader::Body {
    beast::http::request_parser<beast::http::string_body> parser;
};

RequestReader::RequestReader(const ServerLimits& limits) : m_limits(limits) {}
RequestReader::~RequestReader() = default;

std::size_t RequestReader::bodySize() const
{
    return m_body ? m_body->parser.get().body().size() : 0;
}

bool RequestReader::takeContinue()
{
    const bool expected = isInBody() && m_facts.expectsContinue;
    m_facts.expectsContinue = false;
    return expected;
}

RequestReader::ReadProgress RequestReader::refuse(Refused refusal)
{
    m_refusal = std::move(refusal);
    m_body.reset();
    return ReadProgress::Refused;
}

RequestReader::ReadProgress RequestReader::read(std::string& input)
{
    if (!m_body) {
        // A client may send an empty line before a request (RFC 9112, 2.2).
        if (input.compare(0, 2, "\r\n") == 0) {
            input.erase(0, 2);
        }
        const std::size_t end = input.find(kEndOfHead);
        const std::string_view head =
            std::string_view(input).substr(0, end == std::string::npos ? input.size() : end + kEndOfHead.size());
        if (end == std::string::npos) {
            auto refused = checkPartOfHead(head, m_limits);
            return refused ? refuse(std::move(*refused)) : ReadProgress::NeedsMore;
        }
        if (auto refused = checkHead(head, m_limits, m_facts)) {
            return refuse(std::move(*refused));
        }
        if (!beginBody(head)) {
            return refuse({400, "the request is malformed"});
        }
        input.erase(0, head.size());
    }
    return readBody(input);
}

bool RequestReader::beginBody(std::string_view head)
{
    m_body = std::make_unique<Body>();
    auto& parser = m_body->parser;
    parser.header_limit(static_cast<std::uint32_t>(m_limits.requestLineBytes + m_limits.headerBytes + 64));
    parser.body_limit(m_limits.bodyBytes);
    parser.eager(false);
    beast::error_code failed;
    parser.put(boost::asio::buffer(head.data(), head.size()), failed);
    if (failed || !parser.is_header_done()) {
        return false;
    }
    parser.eager(true);
    const auto& message = parser.get();
    m_request = {};
    m_request.method = copied(message.method_string());
    m_request.target = copied(message.target());
    // Only now, so that fields of a trailer do not count as headers.
    for (const auto& field : message) {
        m_request.headers.add(copied(field.name_string()), copied(field.value()));
    }
    const std::string_view target = pathAndQuery(m_request.target);
    const std::size_t query = std::min(target.find('?'), target.size());
    m_request.path = percentDecoded(target.substr(0, query), Plus::IsPlus);
    if (query < target.size()) {
        m_request.query = parseQuery(target.substr(query + 1));
    }
    return true;
}

RequestReader::ReadProgress RequestReader::readBody(std::string& input)
{
    auto& parser = m_body->parser;
    std::size_t used = 0;
    while (!parser.is_done() && used < input.size()) {
        beast::error_code failed;
        const std::size_t count = parser.put(boost::asio::buffer(input.data() + used, input.size() - used), failed);
        used += count;
        if (failed == beast::http::error::need_more) {
            break;
        }
        if (failed == beast::http::error::body_limit || failed == beast::http::error::buffer_overflow) {
            return refuse({413, fmt::format("the body has more than {} bytes", m_limits.bodyBytes)});
        }
        if (failed) {
            return refuse({400, "the body is malformed"});
        }
    }
    input.erase(0, used);
    if (!parser.is_done()) {
        return input.size() > kMostChunkOverhead ? refuse({400, "a line of the body's chunks is too long"})
                                                 : ReadProgress::NeedsMore;
    }
    return ReadProgress::Complete;
}

void RequestReader::drop()
{
    m_body.reset();
    m_request = {};
}

Request RequestReader::take()
{
    // The body of a GET has no meaning (RFC 9110, 9.3.1).
    if (m_request.method != "GET" && m_request.method != "HEAD") {
        m_request.body = std::move(m_body->parser.get().body());
    }
    m_body.reset();
    return std::move(m_request);
}

}  // namespace http
