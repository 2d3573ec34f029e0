// Who may read what is not for televisions: the listing (XmltvFeed.h) and the metrics (Monitoring.h).
#pragma once

#include <optional>
#include <string>

#include "HttpMessages.h"
#include "Messages.h"

namespace corvaned {

struct KeyAccess {
    bool isOpen = true;                 // everyone; else clients that name the key
    std::optional<std::string> appKey;  // in the header AppKey or the parameter appkey; nothing: no client

    /// The reply to a client that has no access, or that does not use GET; nothing if it may read.
    /// @param what  "the listing"
    std::optional<http::Reply> refusal(const http::Request& request, const std::string& what) const;
};

/// A failure outside the API: the API's envelope with a status.
http::Reply refusedReply(int status, ServiceCode code, const std::string& message);

}  // namespace corvaned
