// The system's clock may jump: after the start of the machine, before it is set, or by mistake. Such a jump must not
// expire stored data.
#pragma once

#include <chrono>
#include <mutex>

#include "Clock.h"

namespace corvaned {

/// Watches the wall clock against the steady one.  [any thread]
class SettledClock {
public:
    using Steady = std::chrono::steady_clock;

    /// @param patience  how long the two must agree before the wall clock is believed
    explicit SettledClock(std::chrono::seconds patience = std::chrono::hours(1)) : m_patience(patience) {}

    /// @param now  the wall clock's time
    /// @return now if the clock has not jumped for long enough; else 0, the beginning of time
    Instant settled(Instant now, Steady::time_point steady = Steady::now());

private:
    const std::chrono::seconds m_patience;
    std::mutex m_lock;  // guards all below
    bool m_hasBegun = false;
    Instant m_difference = 0;  // of the wall clock and the steady one, in seconds
    Steady::time_point m_since;
};

}  // namespace corvaned
