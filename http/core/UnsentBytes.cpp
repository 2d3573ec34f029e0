#include "UnsentBytes.h"

namespace http {

void UnsentBytes::add(std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_bytes += bytes;
}

void UnsentBytes::remove(std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const bool wasOver = m_bytes > m_most;
    m_bytes -= bytes;
    if (wasOver && m_bytes <= m_most) {
        m_room.notify_all();
    }
}

bool UnsentBytes::isOverLimit() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_bytes > m_most;
}

void UnsentBytes::waitForRoom()
{
    std::unique_lock<std::mutex> lock(m_lock);
    m_room.wait(lock, [this] { return m_bytes <= m_most || m_ending; });
}

void UnsentBytes::stopWaiting()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_ending = true;
    m_room.notify_all();
}

}  // namespace http
