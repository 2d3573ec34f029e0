// Connects to a server as the executor does, without a request: for diagnosis.
#pragma once

#include <string>

#include "HttpLimits.h"
#include "WTypes.h"

namespace W::host {

enum class CertificateCheck {
    None,  ///< accepts any certificate
    Full   ///< chain and host name, as for requests
};

struct ProbeResult {
    SESSION_STATUS status;  ///< kCompleted if connected, TLS included
    std::string reason;     ///< libcurl's error message otherwise
};

/// Blocks until the connection is made or has failed, at most for the connect time-out.
/// @param origin  scheme, host and port
ProbeResult probeConnection(const std::string& origin, const HttpLimits& limits, CertificateCheck check);

}  // namespace W::host
