// The numbers that cross the boundary between the host and its plug-ins. Read next: WPlugin.h for the object that
// the host loads, HttpDelegator.h for the executor that carries its requests.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace W {

using UINT64 = unsigned long long;
static_assert(sizeof(UINT64) == 8);

/// Status of an operation: 0 success, negative failure, 600 cancelled, 700 already cancelled.
using WSTATUS = int;

/// Status of an exchange or of a service's answer, in the host's intermediate numbering.
using GSTATUS = int;

/// How an HTTP exchange ended, in GSTATUS numbers. The HTTP code counts only if it is session::kCompleted.
using SESSION_STATUS = int;

/// HTTP status code of a response (RFC 9110, section 15); 0 when no response arrived.
using HTTP_RESPONSE_CODE = int;

namespace status {
inline constexpr WSTATUS kOk = 0;
inline constexpr WSTATUS kBadArgument = -1;
inline constexpr WSTATUS kNoService = -3;  ///< no service object, or out of memory
inline constexpr WSTATUS kUnsupported = -6;
inline constexpr WSTATUS kNotFound = -9;
inline constexpr WSTATUS kNotCancellable = -15;
inline constexpr WSTATUS kWrongProvider = -16;  ///< also an exchange that failed for any reason without a number
inline constexpr WSTATUS kEmptyList = -55;
inline constexpr WSTATUS kNotJson = -56;
inline constexpr WSTATUS kUnreadableReply = -57;
inline constexpr WSTATUS kNoServerTime = -59;
inline constexpr WSTATUS kUnreachable = -200;
inline constexpr WSTATUS kNoSession = -202;
inline constexpr WSTATUS kFileNotReadable = -403;
inline constexpr WSTATUS kServiceError = -9000;  ///< minus the service's own error code
inline constexpr WSTATUS kCancelled = 600;
inline constexpr WSTATUS kAlreadyCancelled = 700;
}  // namespace status

namespace session {
inline constexpr SESSION_STATUS kCompleted = 0;      ///< the exchange completed, whatever its HTTP code
inline constexpr SESSION_STATUS kNotSendable = 1;    ///< the request cannot be sent at all
inline constexpr SESSION_STATUS kOutOfMemory = 5;    ///< out of memory, or the payload is over the cap
inline constexpr SESSION_STATUS kNoConnection = 21;  ///< name not resolved, or not connected
inline constexpr SESSION_STATUS kTlsFailed = 22;
inline constexpr SESSION_STATUS kBrokeOff = 23;
inline constexpr SESSION_STATUS kTimedOut = 24;
inline constexpr SESSION_STATUS kFileTrouble = 81;  ///< the local file cannot be read or written
inline constexpr SESSION_STATUS kCancelled = 600;   ///< cancelled or flushed
}  // namespace session

/// Describes a status for log lines and people. Never null; the string is constant.  [any thread]
const char* WSTATUS2STRING(WSTATUS status);

}  // namespace W
#pragma GCC visibility pop
