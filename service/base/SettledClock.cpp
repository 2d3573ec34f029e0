#include "SettledClock.h"

#include <cstdlib>

namespace corvaned {

Instant SettledClock::settled(Instant now, Steady::time_point steady)
{
    constexpr Instant kTolerance = 60;
    const Instant difference =
        now - std::chrono::duration_cast<std::chrono::seconds>(steady.time_since_epoch()).count();
    const std::lock_guard<std::mutex> lock(m_lock);
    if (!m_hasBegun || std::abs(difference - m_difference) > kTolerance) {
        m_hasBegun = true;
        m_difference = difference;
        m_since = steady;
    }
    return steady - m_since >= m_patience ? now : 0;
}

}  // namespace corvaned
