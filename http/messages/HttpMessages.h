// HTTP requests and replies as handlers see them, free of any library: a handler takes a Request and returns a Reply.
// ServerLimits.h bounds what a request may hold; UrlDecoding.h reads its target.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace http {

/// Header fields in the order of the message. Names are compared without regard to case.
class HeaderFields {
public:
    using Field = std::pair<std::string, std::string>;  // name, value

    /// Adds a field after the others, even if there is one of that name.
    void add(std::string name, std::string value) { m_fields.emplace_back(std::move(name), std::move(value)); }

    /// Replaces the fields of that name.
    void set(std::string name, std::string value);

    /// The value of the first field of that name, or an empty string.
    const std::string& get(std::string_view name) const;

    bool has(std::string_view name) const;

    std::vector<Field>::const_iterator begin() const { return m_fields.begin(); }
    std::vector<Field>::const_iterator end() const { return m_fields.end(); }

private:
    std::vector<Field> m_fields;
};

/// Whether two ASCII strings are equal without regard to case.
bool equalIgnoringCase(std::string_view left, std::string_view right);

/// A field's value, or an element of its list, without the blanks and tabs around it.
std::string_view trimmed(std::string_view value);

/// A request, complete with its body.
struct Request {
    using TimePoint = std::chrono::steady_clock::time_point;

    std::string method;                             // "GET"; case counts
    std::string target;                             // as received: "/path?query"
    std::string path;                               // decoded, without the query
    std::multimap<std::string, std::string> query;  // decoded; a reader of single values takes the first
    HeaderFields headers;                           // as received, in order
    std::string body;                               // decompressed
    std::string origin;                             // "http://127.0.0.1:8900", as the client reached the server
    std::string remote;                             // the client's address: "127.0.0.1"

    /// When the reply has to be there. The client gets 503 if it is late.
    TimePoint deadline = TimePoint::max();

    /// Becomes true when the client leaves or the server stops. Null: never.
    std::shared_ptr<const std::atomic<bool>> abandoned;

    /// The value of the first header of that name, or an empty string.
    const std::string& header(std::string_view name) const { return headers.get(name); }

    /// Whether work for this request is useless from now on: a handler that works for long asks now and then.
    bool isOver() const { return (abandoned && *abandoned) || std::chrono::steady_clock::now() >= deadline; }
};

/// Bytes that many replies share, in memory or mapped from a file.
class SharedBytes {
public:
    SharedBytes() = default;
    SharedBytes(const std::shared_ptr<const std::string>& string)
        : m_owner(string), m_bytes(string ? std::string_view(*string) : std::string_view())
    {}
    /// @param bytes  valid as long as the owner exists
    SharedBytes(std::shared_ptr<const void> owner, std::string_view bytes) : m_owner(std::move(owner)), m_bytes(bytes)
    {}

    explicit operator bool() const { return m_owner != nullptr; }
    std::string_view bytes() const { return m_bytes; }
    void reset() { *this = {}; }

private:
    std::shared_ptr<const void> m_owner;
    std::string_view m_bytes;
};

/// A reply. The server adds Date, Content-Length and Connection itself, and compresses or cuts the body as the request
/// asks for.
struct Reply {
    int status = 200;
    HeaderFields headers;
    std::string body;

    /// If set, the body; `body` is ignored. For content that many replies share without a copy of it.
    SharedBytes sharedBody;

    std::string code;         // for the log only: what the handler calls the result, as in "OK"
    std::string note;         // for the log only: the reason of a failure, one line
    bool mayCompress = true;  // false: the body is sent as it is

    std::string_view content() const { return sharedBody ? sharedBody.bytes() : std::string_view(body); }
};

/// "Not Found" for 404; "Unknown" for a status without a phrase (RFC 9110, 15).
std::string_view reasonPhrase(int status);

}  // namespace http
