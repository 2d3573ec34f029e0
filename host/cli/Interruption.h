// SIGINT, SIGTERM and SIGHUP as a request to end a command cleanly.
#pragma once

#include <csignal>

namespace W::host {

/// While it exists, these signals are only noted; the ones that were ignored before stay ignored. The executor's
/// threads block all signals, so the main thread gets them.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// The last signal noted; 0 if none came.
    static int signal();

private:
    struct SavedAction {
        int signal;
        struct sigaction before {};
    };
    SavedAction m_saved[3]{{SIGINT}, {SIGTERM}, {SIGHUP}};
};

}  // namespace W::host
