// Decides who may read the paths outside the API: the listing (XmltvFeed.h) and the metrics (Monitoring.h).
#pragma once

#include <optional>
#include <string>

#include "HttpMessages.h"
#include "Messages.h"

namespace corvaned {

struct KeyAccess {
    bool isOpen = true;                 // to every client; otherwise to clients that send the key
    std::optional<std::string> appKey;  // sent in the header AppKey or the parameter appkey; nothing: closed to all

    /// The reply to a client that has no access, or that does not use GET; nothing if it may read.
    /// @param what  "the listing"
    std::optional<http::Reply> refusal(const http::Request& request, const std::string& what) const;
};

/// A failure outside the API: the API's envelope with a status.
http::Reply refusedReply(int status, ServiceCode code, const std::string& message);

}  // namespace corvaned
