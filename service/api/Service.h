// What the service answers, independent of the HTTP library: a request goes in, a reply in the service's JSON envelope
// comes out. The endpoints are the rows of EndpointTable.cpp; their parameters are checked in Arguments.h.
// Server.h carries requests and replies over the wire.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"
#include "ReadySchedules.h"
#include "Store.h"

namespace corvaned {

/// Why a request failed, in the service's own numbering.
enum class ServiceCode : std::uint8_t {
    Ok,
    MissingValue,  // a parameter or header that the endpoint needs
    BadValue,      // one that cannot be read
    UnknownPath,
    WrongMethod,
    BadRequest,  // not a request that HTTP knows, or too large
    SessionUnknown,
    TokenWrong,
    Fault,  // the service's own: its database failed
    AppKeyWrong,
    NotFound,  // a channel, content, person ... that is not there
};

/// "OK", or the three digits that stand in the reply's "err".
std::string_view codeText(ServiceCode code);

/// A request as the endpoints see it.
struct Request {
    std::string method;
    std::string path;                                     // decoded, without the query
    std::multimap<std::string, std::string> query;        // decoded; of several values the first counts
    std::function<std::string(const char* name)> header;  // empty where the request has none of that name
    std::string_view body = {};                           // must outlive the answering
    std::string origin = {};                              // "http://127.0.0.1:8900", as the client reached the service
};

struct Reply {
    int status = 200;  // of HTTP
    ServiceCode code = ServiceCode::Ok;
    std::string body;  // JSON in UTF-8
};

/// The reply that tells of a failure, with the HTTP status that belongs to the code.
Reply failure(ServiceCode code, const std::string& message);

struct ServiceSettings {
    std::string secret;                    // shared with the clients; part of every token
    std::optional<std::string> appKey;     // nothing: every key is good
    Zone zone = Zone::ofMachine();         // conf/localtime tells its wall clock
    std::int64_t sessionLifetime = 86400;  // seconds
    Clock now = systemNow;
};

/// The service over one store.  [any thread]
class Service {
public:
    /// @param store  must outlive the service
    Service(Store& store, ServiceSettings settings);

    /// Answers one request; whatever it holds, the reply is a valid one.
    Reply answer(const Request& request);

private:
    Reply answerChecked(const Request& request);

    Store& m_store;
    const ServiceSettings m_settings;
    ReadySchedules m_schedules;
};

}  // namespace corvaned
