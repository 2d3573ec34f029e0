// What the statuses of HTTP, of the service and of the host mean to each other. HTTP codes and service codes become the
// host's intermediate numbers (GSTATUS), those become WSTATUS; a failed reply's error code becomes one directly.
// VorelService has the same functions under the names that other parts of the device know. docs/statuses.md lists all.
#pragma once

#include <string>

#include <json/value.h>

#include "WTypes.h"

namespace W::vorel {

GSTATUS statusOfHttp(HTTP_RESPONSE_CODE code);
GSTATUS statusOfService(const std::string& code);
WSTATUS hostStatus(GSTATUS status);

/// True for 200 and 204. Quirk: disagrees with statusOfHttp() about 201, 204 and 304.
bool isHttpOk(HTTP_RESPONSE_CODE code);

/// True when a reply reports success and no error beside it.
bool reportsSuccess(const std::string& stat, const Json::Value& err);

/// 0 when the reply reports success, else -9000 minus its error code, or -57 when it cannot be read.
/// @param err      the reply's "err" value as a whole
/// @param message  receives the service's own words
WSTATUS errorCode(const std::string& stat, const Json::Value& err, std::string& message);

/// The same of a whole reply; -56 when it is not JSON.
WSTATUS errorCode(const std::string& body, std::string& message);

}  // namespace W::vorel
