// Descriptions of the statuses that cross the boundary, for log lines and people.
#include "WTypes.h"

namespace W {

namespace {

struct StatusText {
    WSTATUS status;
    const char* text;
};

constexpr StatusText kTexts[] = {
    {status::kOk, "ok"},
    {status::kBadArgument, "bad or missing argument or option"},
    {status::kNoService, "no service object or out of memory"},
    {-5, "not supported by the service"},
    {status::kUnsupported, "unsupported operation"},
    {status::kNotFound, "not found"},
    {-13, "transfer failed"},
    {status::kNotCancellable, "not cancellable"},
    {status::kWrongProvider, "wrong provider or unknown failure"},
    {status::kEmptyList, "required list is empty"},
    {status::kNotJson, "reply is not JSON"},
    {status::kUnreadableReply, "reply cannot be read"},
    {status::kNoServerTime, "server time not known yet"},
    {-100, "server failure"},
    {-105, "server busy"},
    {-107, "internal server error"},
    {-108, "local file failure"},
    {status::kUnreachable, "service unreachable"},
    {status::kNoSession, "no session"},
    {-203, "conflict with the state at the service"},
    {-205, "refused or unknown at the service"},
    {status::kFileNotReadable, "file not readable"},
    {-500, "timed out"},
    {status::kCancelled, "cancelled"},
    {status::kAlreadyCancelled, "already cancelled"},
};

}  // namespace

const char* WSTATUS2STRING(WSTATUS status)
{
    for (const StatusText& row : kTexts) {
        if (row.status == status) {
            return row.text;
        }
    }
    return status <= status::kServiceError ? "error reported by the service" : "unknown status";
}

}  // namespace W
