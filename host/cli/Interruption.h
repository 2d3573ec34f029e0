// SIGINT, SIGTERM and SIGHUP as a request to end a command cleanly.
#pragma once

#include <csignal>

namespace W::host {

/// While an object exists, these signals are only recorded; those that were ignored before stay ignored. The
/// executor's threads block all signals, so the main thread receives them.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// The last signal received; 0 if there was none.
    static int signal();

private:
    struct SavedAction {
        int signal;
        struct sigaction before {};
    };
    SavedAction m_saved[3]{{SIGINT}, {SIGTERM}, {SIGHUP}};
};

}  // namespace W::host
