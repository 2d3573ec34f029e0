// Processor time of the calling thread, for benchmarks that prepare something between the measured sections.
#pragma once

#include <ctime>

namespace W::bench {

/// Adds up the time between start() and stop().
class SectionTimer {
public:
    void start() { m_begin = now(); }
    void stop() { m_seconds += now() - m_begin; }
    double seconds() const { return m_seconds; }

    /// Processor seconds that this thread has used.
    static double now()
    {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }

private:
    double m_begin = 0;
    double m_seconds = 0;
};

}  // namespace W::bench
