// The system's clock may be wrong until it is set after a start, and it may be set wrongly. Data must not be deleted as
// expired because of that.
#pragma once

#include <chrono>
#include <mutex>

#include "Clock.h"

namespace corvaned {

/// Detects jumps of the wall clock by comparing it with the steady one.  [any thread]
class SettledClock {
public:
    using Steady = std::chrono::steady_clock;

    /// @param patience  how long after a jump, or after the first call, the wall clock is not trusted
    explicit SettledClock(std::chrono::seconds patience = std::chrono::hours(1)) : m_patience(patience) {}

    /// @param now  the wall clock's time
    /// @return `now` if the clock has not jumped during that time; else 0, so that nothing counts as expired
    Instant settled(Instant now, Steady::time_point steady = Steady::now());

private:
    const std::chrono::seconds m_patience;
    std::mutex m_lock;  // guards all below
    bool m_hasBegun = false;
    Instant m_difference = 0;  // wall clock minus steady clock, in seconds
    Steady::time_point m_since;
};

}  // namespace corvaned
