// Converts statuses. HTTP codes and service codes become the host's intermediate numbers (GSTATUS), which become
// WSTATUS; the error code of a failed reply becomes a WSTATUS directly. VorelService has the same functions under the
// names that other parts of the device use. docs/statuses.md lists all statuses.
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

/// True if a reply reports success and has no "err".
bool reportsSuccess(const std::string& stat, const Json::Value& err);

/// 0 if the reply reports success, else -9000 minus its error code, or -57 if it cannot be read.
/// @param err      the reply's "err" value as a whole
/// @param message  receives the service's error message
WSTATUS errorCode(const std::string& stat, const Json::Value& err, std::string& message);

/// The same for a whole reply; -56 if it is not JSON.
WSTATUS errorCode(const std::string& body, std::string& message);

}  // namespace W::vorel
