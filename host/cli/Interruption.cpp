#include "Interruption.h"

namespace W::host {

namespace {

volatile std::sig_atomic_t g_signal = 0;

}  // namespace

Interruption::Interruption()
{
    g_signal = 0;
    struct sigaction noting {};
    noting.sa_handler = [](int signal) { g_signal = signal; };
    sigemptyset(&noting.sa_mask);
    for (SavedAction& saved : m_saved) {
        ::sigaction(saved.signal, nullptr, &saved.before);
        if (saved.before.sa_handler != SIG_IGN) {
            ::sigaction(saved.signal, &noting, nullptr);
        }
    }
}

Interruption::~Interruption()
{
    for (const SavedAction& saved : m_saved) {
        ::sigaction(saved.signal, &saved.before, nullptr);
    }
}

int Interruption::signal()
{
    return g_signal;
}

}  // namespace W::host
