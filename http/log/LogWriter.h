// Writes log lines to a file descriptor on a separate thread. A sink that is slow, full or closed never delays or ends
// the program; lost lines are counted, and the count is logged later.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace http {

/// [any thread]
class LogWriter {
public:
    /// @param descriptor  not owned
    /// @param mostLines   lines that may wait; more are lost and counted
    explicit LogWriter(int descriptor, std::size_t mostLines = 8192);
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// Waits at most a second for the sink to accept the remaining lines.
    ~LogWriter();

    /// Queues a line, without its end. Never waits.
    void write(std::string line);

    /// Number of lost lines that the log does not report yet.
    std::uint64_t lost() const;

private:
    struct Queue;
    const std::shared_ptr<Queue> m_queue;  // shared with the thread, which outlives this object if the sink is stuck
};

/// Limits how many lines one address may log in a second, so that a flood of requests does not flood the log.  [any
/// thread]
class FloodGate {
public:
    /// @param mostPerSecond  lines of one address
    explicit FloodGate(std::size_t mostPerSecond);
    FloodGate(const FloodGate&) = delete;
    FloodGate& operator=(const FloodGate&) = delete;
    ~FloodGate();

    /// Whether a line of this address may be logged now.
    /// @param leftOut  how many lines of the address were refused in earlier seconds and not reported yet
    /// @param now      the time of the line
    bool admit(std::string_view address, std::uint64_t& leftOut,
               std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now());

private:
    struct State;
    const std::size_t m_mostPerSecond;
    const std::unique_ptr<State> m_state;
};

/// The string in quotes, with control characters, quotes, backslashes and bytes that are not ASCII as \xHH, so that a
/// client cannot forge log lines or control a terminal.
/// @param most  bytes of the string that are shown
std::string quotedForLog(std::string_view string, std::size_t most = 200);

}  // namespace http
