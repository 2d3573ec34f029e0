#include "ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "Terminal.h"

namespace W::host {

namespace {

std::string shownBytes(double bytes)
{
    constexpr const char* kUnits[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    std::size_t unit = 0;
    for (; bytes >= 1000 && unit + 1 < std::size(kUnits); ++unit) {
        bytes /= 1024;
    }
    return unit == 0 ? fmt::format("{:.0f} B", bytes) : fmt::format("{:.1f} {}", bytes, kUnits[unit]);
}

std::string shownTime(double seconds)
{
    constexpr double kMost = 359'999;
    const auto whole = static_cast<long>(std::min(seconds + 0.5, kMost));
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

}  // namespace

std::string progressLine(const Progress& progress, std::chrono::milliseconds elapsed, int width)
{
    const auto written = static_cast<double>(progress.done);
    const auto expected = static_cast<double>(progress.expected);
    const double seconds = static_cast<double>(elapsed.count()) / 1000;
    const double rate = seconds > 0 ? written / seconds : 0;
    std::string text = shownBytes(written);
    if (expected > 0) {
        text += fmt::format(" of {}", shownBytes(expected));
    }
    text += fmt::format("  {}/s", shownBytes(rate));
    if (expected > 0 && rate > 0) {
        text += fmt::format("  {} left", shownTime(std::max(0.0, expected - written) / rate));
    }
    constexpr int kLeastBar = 10;
    constexpr int kFrame = 4;  // brackets and two blanks
    const int bar = width - displayWidth(text) - kFrame;
    if (expected > 0 && bar >= kLeastBar) {
        const auto full = static_cast<std::size_t>(bar * std::min(1.0, written / expected));
        text = fmt::format("[{:<{}}]  {}", std::string(full, '='), bar, text);
    }
    return fitted(text, std::max(0, width));
}

ProgressBar::ProgressBar(std::function<Progress()> progress)
    : m_progress(std::move(progress)), m_terminal(::isatty(STDERR_FILENO) == 1)
{}

ProgressBar::~ProgressBar()
{
    if (m_shown > 0) {
        fmt::print(stderr, "\r{:{}}\r", "", m_shown);
    }
}

void ProgressBar::show()
{
    if (!m_terminal) {
        return;
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - m_begin);
    // Terminals differ in what they do after a character in the last column.
    m_shown = std::max(0, terminalWidth(STDERR_FILENO) - 1);
    fmt::print(stderr, "\r{}", progressLine(m_progress(), elapsed, m_shown));
    std::fflush(stderr);
}

}  // namespace W::host
