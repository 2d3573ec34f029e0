#include "Metrics.h"

#include <algorithm>

#include <fmt/format.h>

namespace corvaned {
namespace {

// The caller's strings are constants of the program, so nothing has to be escaped.
void appendHead(std::string& page, std::string_view name, std::string_view help, std::string_view type)
{
    page += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, help, type);
}

}  // namespace

void RequestMetrics::add(std::string_view path, int status, std::chrono::steady_clock::duration took)
{
    const double seconds = std::chrono::duration<double>(took).count();
    const auto* const bucket = std::lower_bound(kLatencyBounds.begin(), kLatencyBounds.end(), seconds);
    const std::lock_guard<std::mutex> lock(m_lock);
    ++m_requests[{std::string(path), status}];
    auto times = m_times.find(path);
    if (times == m_times.end()) {
        times = m_times.try_emplace(std::string(path)).first;
    }
    ++times->second.buckets.at(static_cast<std::size_t>(bucket - kLatencyBounds.begin()));
    times->second.seconds += seconds;
}

void RequestMetrics::appendTo(std::string& page) const
{
    constexpr std::string_view kRequests = "corvaned_http_requests_total";
    constexpr std::string_view kTimes = "corvaned_http_request_duration_seconds";
    const std::lock_guard<std::mutex> lock(m_lock);
    appendHead(page, kRequests, "Answered requests by path and status.", "counter");
    for (const auto& [key, count] : m_requests) {
        page += fmt::format("{}{{path=\"{}\",code=\"{}\"}} {}\n", kRequests, key.first, key.second, count);
    }
    appendHead(page, kTimes, "Time from a request's first byte to its reply.", "histogram");
    for (const auto& [path, times] : m_times) {
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < times.buckets.size(); ++i) {
            sum += times.buckets[i];
            page += i < kLatencyBounds.size()
                        ? fmt::format("{}_bucket{{path=\"{}\",le=\"{}\"}} {}\n", kTimes, path, kLatencyBounds[i], sum)
                        : fmt::format("{}_bucket{{path=\"{}\",le=\"+Inf\"}} {}\n", kTimes, path, sum);
        }
        page += fmt::format("{0}_sum{{path=\"{1}\"}} {2}\n{0}_count{{path=\"{1}\"}} {3}\n", kTimes, path, times.seconds,
                            sum);
    }
}

void appendFigure(std::string& page, const ServiceFigure& figure)
{
    appendHead(page, figure.name, figure.help, figure.kind == ServiceFigure::MetricKind::Counter ? "counter" : "gauge");
    page += fmt::format("{} {}\n", figure.name, figure.value);
}

}  // namespace corvaned
