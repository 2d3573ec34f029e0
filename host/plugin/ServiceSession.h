// The way into the service that every subcommand for people takes: the clock, a session, the line-up.
#pragma once

#include "Runtime.h"
#include "ServiceProblem.h"
#include "WVLChannel.h"
#include "WVLContent.h"
#include "WVLService.h"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

namespace W::host {

/// The steps, each once, in this order. Each throws ServiceProblem when it fails.
class ServiceSession {
public:
    /// @param runtime  outlives it
    /// @param reason   the same
    ServiceSession(Runtime& runtime, ServiceReason& reason, std::chrono::milliseconds patience)
        : m_runtime(runtime), m_reason(reason), m_patience(patience)
    {}

    WVLLocaltime fetchLocaltime();
    void open();
    std::list<WVLChannel> fetchChannels();

    /// Programmes of many channels: as many requests at once as their URLs' length demands.
    /// @param begin  seconds since 1970-01-01T00:00:00Z
    std::list<WVLContent> fetchSchedule(const std::vector<std::string>& sources, std::int64_t begin, int hours);

private:
    void check(const char* step, int status);

    Runtime& m_runtime;
    ServiceReason& m_reason;
    std::chrono::milliseconds m_patience;
};

}  // namespace W::host
