#include "Sample.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

namespace W::bench {

namespace {

double ownProcessorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return processorSeconds(usage);
}

/// A line of /proc/self/status, in kilobytes.
long statusLine(const char* name)
{
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name, 0) == 0) {
            return std::strtol(line.c_str() + std::strlen(name) + 1, nullptr, 10);
        }
    }
    throw std::runtime_error("/proc/self/status has no such line");
}

}  // namespace

double secondsSince(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double processorSeconds(const rusage& usage)
{
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

Sample sample(const std::function<void()>& call)
{
    // Resets the peak to the present resident size.
    std::ofstream("/proc/self/clear_refs") << "5";
    const long before = statusLine("VmRSS");
    const double processorBefore = ownProcessorSeconds();
    const Clock::time_point begin = Clock::now();
    call();
    Sample result;
    result.wallSeconds = secondsSince(begin);
    result.processorSeconds = ownProcessorSeconds() - processorBefore;
    result.peakKilobytes = statusLine("VmHWM") - before;
    return result;
}

int print(const char* program, const std::function<Sample()>& take)
{
    try {
        const Sample taken = take();
        std::printf("%.0f %.0f %ld\n", taken.wallSeconds * 1e6, taken.processorSeconds * 1e6, taken.peakKilobytes);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s: %s\n", program, problem.what());
        return 1;
    }
}

}  // namespace W::bench
