#include "SessionKeeper.h"

#include <algorithm>
#include <ctime>

#include "ServiceCall.h"

namespace W::host {

namespace {

constexpr std::chrono::seconds kRetry{3};
constexpr std::chrono::seconds kBeforeExpiry{60};
constexpr std::chrono::seconds kShortest{1};
/// Used if the service does not send the expiry of its session.
constexpr std::chrono::hours kUnknownLifetime{1};

}  // namespace

SessionKeeper::SessionKeeper(Runtime& runtime, std::chrono::milliseconds patience)
    : m_runtime(runtime), m_patience(patience)
{
    open();
    m_thread = std::thread([this] { keep(); });
}

SessionKeeper::~SessionKeeper()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ending = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

std::optional<std::int64_t> SessionKeeper::expires()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_expires;
}

std::optional<ServiceProblem> SessionKeeper::problem()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_problem;
}

void SessionKeeper::open()
{
    std::optional<std::int64_t> expires;
    std::optional<ServiceProblem> problem;
    try {
        ServiceSession service(m_runtime, m_patience);
        service.checkAddress();
        service.fetchLocaltime();
        const WDateTime time = service.open().getExpireTime();
        expires =
            time.hasInstant() ? time.toTime_t() : std::time(nullptr) + std::chrono::seconds(kUnknownLifetime).count();
    } catch (const ServiceProblem& failed) {
        problem = failed;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    m_expires = expires;
    m_problem = problem;
}

void SessionKeeper::keep()
{
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_ending) {
        std::chrono::seconds pause = kRetry;
        if (m_expires) {
            pause = std::max(kShortest, std::chrono::seconds(*m_expires - std::time(nullptr)) - kBeforeExpiry);
        }
        if (m_wake.wait_for(lock, pause, [this] { return m_ending; })) {
            return;
        }
        lock.unlock();
        open();
        lock.lock();
    }
}

}  // namespace W::host
