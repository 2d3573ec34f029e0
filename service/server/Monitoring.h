// Answers load balancers and monitors: GET /healthz, /readyz and /metrics.
#pragma once

#include <string_view>

#include "HttpMessages.h"
#include "KeyAccess.h"
#include "Metrics.h"

namespace corvaned {

class Service;

/// [any thread]
class Monitoring {
public:
    /// @param service  must outlive this object
    /// @param access   to the metrics; the other paths are open
    Monitoring(Service& service, KeyAccess access) : m_service(service), m_access(std::move(access)) {}

    /// Whether the path is one of the three.
    static bool hasPath(std::string_view path);

    /// Answers a request for one of the three:
    /// - /healthz: 200, as long as the process runs.
    /// - /readyz: 200 if Service::problem() is empty, else 503 with the problem.
    /// - /metrics: all figures; 401 or 403 for clients without access.
    http::Reply answer(const http::Request& request);

    /// Counts an answered request.
    /// @param path  as received; paths that the service does not have are counted as "other"
    void count(std::string_view path, int status, std::chrono::steady_clock::duration took);

private:
    http::Reply metrics() const;

    Service& m_service;
    const KeyAccess m_access;
    RequestMetrics m_requests;
};

}  // namespace corvaned
