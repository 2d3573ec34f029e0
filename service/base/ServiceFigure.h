// A figure for operators, with its name in Prometheus.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace corvaned {

struct ServiceFigure {
    enum class MetricKind : std::uint8_t {
        Counter,  // only grows while the process runs
        Gauge,
    };

    std::string_view name;  // a constant: "corvaned_guide_bytes"
    std::string_view help;  // a constant, one sentence
    MetricKind kind = MetricKind::Gauge;
    double value = 0;
};

using ServiceFigures = std::vector<ServiceFigure>;

}  // namespace corvaned
