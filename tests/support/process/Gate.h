// Lets one thread wait for another.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace support {

/// Closed until open() is called.  [any thread]
class Gate {
public:
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_open = true;
        m_opened.notify_all();
    }

    /// Waits until the gate is open.
    /// @return false after 20 seconds
    bool wait()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_opened.wait_for(lock, std::chrono::seconds(20), [this] { return m_open; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_opened;
    bool m_open = false;
};

}  // namespace support
