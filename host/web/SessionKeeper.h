// Keeps a session open: opens it at the start, renews it before it expires, and reopens it when the service is back.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "ServiceProblem.h"
#include "ServiceSession.h"

namespace W::host {

class SessionKeeper {
public:
    /// Tries to open a session once, then starts a thread that keeps it open.
    /// @param runtime  outlives it
    SessionKeeper(Runtime& runtime, std::chrono::milliseconds patience);
    ~SessionKeeper();
    SessionKeeper(const SessionKeeper&) = delete;
    SessionKeeper& operator=(const SessionKeeper&) = delete;

    /// When the session expires, in seconds since 1970-01-01T00:00:00Z; nothing while none is open.  [any thread]
    std::optional<std::int64_t> expires();

    /// Why no session is open; nothing if one is.  [any thread]
    std::optional<ServiceProblem> problem();

private:
    void open();
    void keep();

    Runtime& m_runtime;
    const std::chrono::milliseconds m_patience;
    std::mutex m_lock;  ///< guards what follows
    std::condition_variable m_wake;
    bool m_ending = false;
    std::optional<std::int64_t> m_expires;
    std::optional<ServiceProblem> m_problem;
    std::thread m_thread;
};

}  // namespace W::host
