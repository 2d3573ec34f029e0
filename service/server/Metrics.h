// Figures of the service in Prometheus' text format: GET /metrics (Monitoring.h).
// https://prometheus.io/docs/instrumenting/exposition_formats/
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "ServiceFigure.h"

namespace corvaned {

/// Upper bounds of the histogram's buckets, in seconds. A last bucket has no bound.
inline constexpr std::array kLatencyBounds = {0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1,
                                              0.25,  0.5,    1.0,   2.5,  5.0,   10.0};

/// Counts requests by path and status, and their durations by path.  [any thread]
class RequestMetrics {
public:
    /// @param path  one of a fixed set, such as a path of the endpoint table, because each one is kept
    void add(std::string_view path, int status, std::chrono::steady_clock::duration took);

    /// Appends the counts as metrics.
    void appendTo(std::string& page) const;

private:
    struct Histogram {
        std::array<std::uint64_t, kLatencyBounds.size() + 1> buckets{};  // not cumulative
        double seconds = 0;
    };

    mutable std::mutex m_lock;  // guards all below
    std::map<std::pair<std::string, int>, std::uint64_t> m_requests;
    std::map<std::string, Histogram, std::less<>> m_times;
};

/// Appends a metric with one value.
void appendFigure(std::string& page, const ServiceFigure& figure);

}  // namespace corvaned
