// One sample of an action that a process does once: time, processor time and memory.
#pragma once

#include <chrono>
#include <functional>

#include <sys/resource.h>

namespace W::bench {

struct Sample {
    double wallSeconds = 0;
    double processorSeconds = 0;
    long peakKilobytes = 0;  ///< above the resident memory before the call
};

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begin);
double processorSeconds(const rusage& usage);

/// Samples a call. @throws what it throws
Sample sample(const std::function<void()>& call);

/// Prints wall microseconds, processor microseconds and peak kilobytes, or what went wrong.
/// @return the program's exit status
int print(const char* program, const std::function<Sample()>& take);

}  // namespace W::bench
