// The replies of the service: its JSON envelope and the codes in it. Arguments.h reads a request's parameters;
// Service.h answers requests.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Clock.h"
#include "HttpMessages.h"

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
std::string_view wireCode(ServiceCode code);

/// The reply to a request that succeeded.
/// @param body  the whole envelope
http::Reply success(std::string body);

/// The reply to a request that failed, with the HTTP status that belongs to the code.
/// @param note  for the log only: the reason of a fault
http::Reply failure(ServiceCode code, const std::string& message, std::string note = {});

/// Ends a request; Service::answer turns it into a failure reply.
class Refusal : public std::runtime_error {
public:
    Refusal(ServiceCode code, const std::string& message) : std::runtime_error(message), m_code(code) {}
    ServiceCode code() const { return m_code; }

private:
    ServiceCode m_code;
};

struct ServiceSettings {
    std::string secret;                    // shared with the clients; part of every token
    std::optional<std::string> appKey;     // nothing: any key is accepted
    Zone zone = Zone::ofMachine();         // for conf/localtime and times of day
    std::int64_t sessionLifetime = 86400;  // seconds
    std::int64_t sessionsPerDevice = 32;
    std::int64_t newDevicesPerHour = 1000;          // of one client address; 0: any number
    std::chrono::milliseconds statementTime{2000};  // for one SQL statement; then 503
    Clock now = systemNow;
};

}  // namespace corvaned
