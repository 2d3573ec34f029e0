// Counts the unsent bytes of all replies, for ServerLimits::unsentBytesInAll. Handlers make replies faster
// than the I/O thread can hand them to clients that do not read, so a handler that exceeds the limit waits until the
// I/O thread has closed connections.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace http {

/// [any thread]
class UnsentBytes {
public:
    explicit UnsentBytes(std::size_t most) : m_most(most) {}
    UnsentBytes(const UnsentBytes&) = delete;
    UnsentBytes& operator=(const UnsentBytes&) = delete;

    void add(std::size_t bytes);
    void remove(std::size_t bytes);
    bool isOverLimit() const;

    /// Waits until the count is within the limit. Must not be called on the I/O thread, which makes the room.
    void waitForRoom();

    /// Ends all waiting, now and later.
    void stopWaiting();

private:
    const std::size_t m_most;
    mutable std::mutex m_lock;
    std::condition_variable m_room;
    std::size_t m_bytes = 0;  // this and all below is guarded by m_lock
    bool m_ending = false;
};

}  // namespace http
