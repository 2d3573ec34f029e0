// Waiting for what another thread or process does and does not announce.
#pragma once

#include <chrono>
#include <thread>

namespace support {

/// Looks at a condition until it holds or the time is up. The time limits a failing test; it is never what a test
/// waits for.
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
