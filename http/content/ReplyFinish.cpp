#include "ReplyFinish.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <optional>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "ContentCoding.h"

namespace http {
namespace {

constexpr std::size_t kWorthPacking = 512;  // bytes; below, gzip's own header eats the gain

std::string_view withoutWeakness(std::string_view tag)
{
    return tag.substr(0, 2) == "W/" ? tag.substr(2) : tag;
}

// Whether a list of entity tags holds the tag, by weak comparison.
bool holdsTag(std::string_view list, std::string_view tag)
{
    while (!list.empty()) {
        const std::string_view part = list.substr(0, list.find(','));
        list.remove_prefix(std::min(part.size() + 1, list.size()));
        const std::string_view candidate = trimmed(part);
        if (candidate == "*" || withoutWeakness(candidate) == withoutWeakness(tag)) {
            return true;
        }
    }
    return false;
}

struct ByteRange {
    std::size_t begin;
    std::size_t end;  // exclusive
};

enum class RangeKind {
    None,
    One,
    Unsatisfiable
};

bool readNumber(std::string_view text, std::size_t& number)
{
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

// A range that cannot be read counts as none, as RFC 9110, 14.2, allows.
RangeKind readRange(std::string_view text, std::size_t size, ByteRange& range)
{
    constexpr std::string_view kUnit = "bytes=";
    if (!equalIgnoringCase(text.substr(0, kUnit.size()), kUnit)) {
        return RangeKind::None;
    }
    text = trimmed(text.substr(kUnit.size()));
    const std::size_t dash = text.find('-');
    if (dash == std::string_view::npos || text.find(',') != std::string_view::npos) {
        return RangeKind::None;
    }
    std::size_t first = 0;
    std::size_t last = 0;
    const std::string_view firstText = text.substr(0, dash);
    const std::string_view lastText = text.substr(dash + 1);
    if (firstText.empty()) {
        if (!readNumber(lastText, last)) {
            return RangeKind::None;
        }
        range = {size - std::min(last, size), size};
        return range.begin < range.end ? RangeKind::One : RangeKind::Unsatisfiable;
    }
    if (!readNumber(firstText, first) || (!lastText.empty() && (!readNumber(lastText, last) || last < first))) {
        return RangeKind::None;
    }
    range = {first, lastText.empty() ? size : std::min(last, size - 1) + 1};
    return first < size ? RangeKind::One : RangeKind::Unsatisfiable;
}

void appendField(std::string& head, std::string_view name, std::string_view value)
{
    head.append(name).append(": ");
    // A control character in a value would end the line and begin another header.
    for (const char c : value) {
        if (static_cast<unsigned char>(c) >= 0x20 || c == '\t') {
            head += c;
        }
    }
    head += "\r\n";
}

// What a request does to a reply of 200.
void applyConditions(const Request& request, Reply& reply, OutgoingReply& out)
{
    const std::string tag = reply.headers.get("ETag");
    const std::string& noneMatch = request.header("If-None-Match");
    if (!tag.empty() && !noneMatch.empty() && holdsTag(noneMatch, tag)) {
        reply.status = 304;
        out.size = 0;
        return;
    }
    const std::string& wanted = request.header("Range");
    const std::string& ifRange = request.header("If-Range");
    if (wanted.empty() || request.method != "GET" || (!ifRange.empty() && (tag.empty() || ifRange != tag))) {
        return;
    }
    ByteRange range{};
    switch (readRange(wanted, out.size, range)) {
        case RangeKind::None:
            return;
        case RangeKind::One:
            reply.status = 206;
            reply.headers.set("Content-Range", fmt::format("bytes {}-{}/{}", range.begin, range.end - 1, out.size));
            out.begin = range.begin;
            out.size = range.end - range.begin;
            return;
        case RangeKind::Unsatisfiable:
            reply.status = 416;
            reply.headers.set("Content-Range", fmt::format("bytes */{}", out.size));
            out.size = 0;
            return;
    }
}

}  // namespace

std::string httpDate()
{
    thread_local std::time_t written = 0;
    thread_local std::string text;
    const std::time_t now = std::time(nullptr);
    if (now != written) {
        text = fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(now));
        written = now;
    }
    return text;
}

OutgoingReply finishReply(const Request& request, Reply reply, bool keepAlive)
{
    OutgoingReply out;
    out.shared = std::move(reply.sharedBody);
    out.body = std::move(reply.body);
    out.size = out.shared ? out.shared.bytes().size() : out.body.size();
    const std::size_t whole = out.size;
    if (reply.status == 200) {
        applyConditions(request, reply, out);
    }
    if (reply.mayCompress) {
        reply.headers.set("Vary", "Accept-Encoding");
        // A range is one of the plain text.
        if (out.size == whole && whole >= kWorthPacking && reply.status != 206 && !request.headers.has("Range") &&
            acceptsGzip(request.header("Accept-Encoding"))) {
            out.body = gzipped(out.content());
            out.shared.reset();
            out.size = out.body.size();
            reply.headers.set("Content-Encoding", "gzip");
            if (const std::string tag = reply.headers.get("ETag"); !tag.empty() && tag.front() == '"') {
                reply.headers.set("ETag", "W/" + tag);  // the same content in other bytes
            }
        }
    }
    if (!out.shared && (out.begin > 0 || out.size < out.body.size())) {
        out.body = out.body.substr(out.begin, out.size);
    }

    out.head.reserve(256);
    out.head += fmt::format("HTTP/1.1 {} {}\r\n", reply.status, reasonPhrase(reply.status));
    appendField(out.head, "Date", httpDate());
    for (const auto& [name, value] : reply.headers) {
        appendField(out.head, name, value);
    }
    const bool mayHaveBody = reply.status != 204 && reply.status != 304;
    if (mayHaveBody) {
        appendField(out.head, "Content-Length", std::to_string(out.size));
    }
    if (!keepAlive) {
        out.head += "Connection: close\r\n";
    } else if (!request.header("Connection").empty()) {
        out.head += "Connection: keep-alive\r\n";  // to a client of HTTP/1.0, which expects the end otherwise
    }
    out.head += "\r\n";
    if (!mayHaveBody || request.method == "HEAD") {
        out.shared.reset();
        out.body.clear();
        out.size = 0;
    }
    return out;
}

}  // namespace http
