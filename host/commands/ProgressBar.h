// The progress of a transfer, in one line of a terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace W::host {

struct Progress {
    std::uint64_t done = 0;      ///< bytes
    std::uint64_t expected = 0;  ///< bytes; 0 if unknown
};

/// Progress in one line of exactly `width` columns: bar, bytes, rate and time left, as far as known and as room
/// permits.
std::string progressLine(const Progress& progress, std::chrono::milliseconds elapsed, int width);

/// One line on standard error, updated repeatedly and removed at the end. Shows nothing if that is not a terminal.
class ProgressBar {
public:
    /// @param progress  is asked each time
    explicit ProgressBar(std::function<Progress()> progress);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show();

private:
    using Clock = std::chrono::steady_clock;
    const std::function<Progress()> m_progress;
    const bool m_terminal;
    int m_shown = 0;  ///< columns
    Clock::time_point m_begin = Clock::now();
};

}  // namespace W::host
