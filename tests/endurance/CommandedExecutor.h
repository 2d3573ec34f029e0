// An executor that keeps the contract of framework/HttpDelegator.h and that a test controls: the test completes the
// requests itself, one by one and in any order, or lets threads of the executor complete them early, soon or late. It
// finds a request in constant time and keeps nothing about completed ones, so tests can send millions.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "HttpDelegator.h"

namespace W::test {

/// How an exchange ends.
struct ExchangeOutcome {
    SESSION_STATUS status = session::kCompleted;
    HTTP_RESPONSE_CODE code = 200;
    std::string body;
};

/// When the executor's threads complete a request.
enum class Moment {
    Early,  ///< before addRequest() returns, on another thread
    Soon,   ///< when its turn comes
    Late,   ///< after requests that were added later
};

/// What happens to a request. Chosen when it is added, on the caller's thread.
struct Plan {
    int refusal = 0;  ///< negative: what addRequest() returns
    Moment moment = Moment::Soon;
    bool fixedAtOnce = false;  ///< its outcome is fixed now: a later setCancel() has no effect
    ExchangeOutcome outcome;
    std::atomic<bool>* responded = nullptr;  ///< set before its completion runs
};

class CommandedExecutor final : public HttpDelegator {
public:
    using Planner = std::function<Plan(const HttpRequest& request)>;

    /// Installs itself as the process's executor.
    /// @param threads  number of threads that complete requests by plan; 0 if the test completes them
    /// @param planner  null to accept every request
    explicit CommandedExecutor(unsigned threads = 0, Planner planner = {});
    /// Fails the test if requests are still pending.
    ~CommandedExecutor() override;
    CommandedExecutor(const CommandedExecutor&) = delete;
    CommandedExecutor& operator=(const CommandedExecutor&) = delete;

    int addRequest(HttpRequest* request) override;
    void flushHttpRequests(UINT64 id) override;
    void wake() override {}

    /// The request that was accepted last.
    HttpRequest* last();
    std::size_t pendingCount();
    /// Completes a pending request on this thread; with 600 if it was cancelled.
    void complete(HttpRequest* request, const ExchangeOutcome& outcome);
    /// The same for a request that a flush may have completed. @return false if it was no longer pending
    bool completeIfPending(HttpRequest* request, const ExchangeOutcome& outcome);
    /// Waits until nothing is pending and no completion runs. For executors with threads.
    void waitUntilIdle();

    /// Called when a flush begins to wait for a completion on another thread, with the lock held.
    std::function<void()> onFlushWaits;

private:
    using Lock = std::unique_lock<std::mutex>;
    struct Pending {
        Plan plan;
        bool* over = nullptr;  ///< set when its completion has run
    };

    void work();
    HttpRequest* chooseNext();
    /// Runs the completion of a pending request. @param outcome  null for the outcome of its plan
    void run(Lock& lock, HttpRequest* request, const ExchangeOutcome* outcome);
    bool isCompleting() const;

    Planner m_planner;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::unordered_map<HttpRequest*, Pending> m_pending;
    HttpRequest* m_last = nullptr;
    std::deque<HttpRequest*> m_soon;  ///< may contain completed requests
    std::deque<HttpRequest*> m_late;
    std::vector<std::pair<std::thread::id, UINT64>> m_completing;
    std::unordered_map<UINT64, int> m_flushes;
    std::uint64_t m_turn = 0;
    bool m_stopping = false;
    std::vector<std::thread> m_threads;
};

}  // namespace W::test
