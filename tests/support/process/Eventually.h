// Waits for events of other threads or processes by polling.
#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Polls a condition until it holds or the time is up. The time only limits a failing test.
/// @return whether the condition holds
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds patience = std::chrono::seconds(60))
{
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace support
