// The messages of the service, independent of the HTTP library: a request goes in, a reply in the service's JSON
// envelope comes out. Arguments.h reads a request's parameters; Service.h answers requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Clock.h"

namespace corvaned {

/// Why a request failed, in the service's own numbering.
enum class ServiceCode : std::uint8_t {
    Ok,
    MissingValue,  // a parameter or header that the endpoint needs is missing
    BadValue,      // a value cannot be read
    UnknownPath,
    WrongMethod,
    BadRequest,  // malformed HTTP, or too large
    SessionUnknown,
    TokenWrong,
    Fault,  // a fault of the service: its database failed
    AppKeyWrong,
    NotFound,     // a channel, content or person that does not exist
    Unavailable,  // the database took too long
};

/// "OK", or the three digits of the reply's "err".
std::string_view codeText(ServiceCode code);

/// A request as the endpoints see it.
struct Request {
    std::string method;
    std::string path;                                     // decoded, without the query
    std::multimap<std::string, std::string> query;        // decoded; if a name occurs twice, its first value counts
    std::function<std::string(const char* name)> header;  // empty if the request has no header of that name
    std::string_view body = {};                           // must outlive the answer
    std::string origin = {};                              // "http://127.0.0.1:8900", as the client reached the service
    std::function<bool()> isOver = {};                    // whether the reply is no longer wanted; may be empty
};

struct Reply {
    int status = 200;  // of HTTP
    ServiceCode code = ServiceCode::Ok;
    std::string body;  // JSON in UTF-8
};

/// The reply to a request that succeeded.
/// @param body  the whole envelope
Reply success(std::string body);

/// The reply to a request that failed, with the HTTP status that belongs to the code.
Reply failure(ServiceCode code, const std::string& message);

/// Ends a request; Service::answer turns it into a failure reply.
class Refusal : public std::runtime_error {
public:
    Refusal(ServiceCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    ServiceCode code() const { return m_code; }

private:
    ServiceCode m_code;
};

struct ServiceSettings {
    std::string secret;                             // shared with the clients; part of every token
    std::optional<std::string> appKey;              // nothing: any key is accepted
    Zone zone = Zone::ofMachine();                  // for conf/localtime and times of day
    std::int64_t sessionLifetime = 86400;           // seconds
    std::chrono::milliseconds statementTime{2000};  // for one SQL statement; then 503
    Clock now = systemNow;
};

}  // namespace corvaned
