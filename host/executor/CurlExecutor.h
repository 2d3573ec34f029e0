// The reference executor: HTTP on libcurl's multi interface. One thread transfers and one delivers, so that completions
// never overlap and a slow one delays no transfer. framework/HttpDelegator.h states the contract (X1 to X5).
//
// A request is an HttpExchange that moves through four lists: waiting, running, done, delivering. Its list is its
// state. One lock guards the lists; it is not held while libcurl or a completion runs.
// Read next: CurlTransfer.h for one exchange on the wire.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <pthread.h>

#include "CurlTransfer.h"
#include "HttpDelegator.h"

namespace W::host {

class CurlExecutor final : public HttpDelegator {
public:
    /// The threads start with the first request.
    /// @throws CurlError, std::system_error, std::bad_alloc
    explicit CurlExecutor(HttpLimits limits = {});
    /// Stops. The installed executor is never destroyed, since plug-ins keep its pointer.
    ~CurlExecutor() override;
    CurlExecutor(const CurlExecutor&) = delete;
    CurlExecutor& operator=(const CurlExecutor&) = delete;

    /// @return 0 accepted; -1 a null request; -3 out of memory, no thread can be started, or stopped
    int addRequest(HttpRequest* request) override;

    /// Called from inside a completion, it runs the completions of the other requests of that id on the same thread
    /// before it returns.
    void flushHttpRequests(UINT64 id) override;

    void wake() override;

    /// Ends every request with 600, then the threads; later requests are refused. Returns after the last completion.
    /// Must not be called from inside a completion.
    void stop();

    /// Called with every reply before its request completes, on the delivery thread. It must not throw.
    using ReplyObserver = std::function<void(const HttpRequest& request, SESSION_STATUS status)>;

    /// Call it before the first request.
    void observeReplies(ReplyObserver observer) { m_observer = std::move(observer); }

    const TransferProgress& progress() const { return m_progress; }

private:
    using Clock = CurlTransfer::Clock;
    using Lock = std::unique_lock<std::mutex>;

    struct Running;
    struct HttpExchange {
        HttpRequest* request = nullptr;
        UINT64 id = 0;
        Clock::time_point accepted;
        SESSION_STATUS status = session::kCompleted;
        Running* transfer = nullptr;  ///< while libcurl has it
    };
    using HttpExchanges = std::list<HttpExchange>;
    struct Running : CurlTransfer {
        using CurlTransfer::CurlTransfer;
        HttpExchanges::iterator exchange;
    };
    /// Counts of one id: requests accepted and not yet completed, and flushes that wait for them.
    struct Live {
        UINT64 id;
        std::size_t requests;
        std::size_t flushes;
    };

    // REQUIRES: m_lock held
    bool startThreads();
    Live* findLive(UINT64 id);
    void dropIfUnused(Live& live);
    bool isMarked(const HttpExchange& exchange);
    void deliver(Lock& lock, HttpExchanges::iterator exchange);
    void flushHere(Lock& lock, UINT64 id);

    // Transfer thread
    void transferAll();
    bool exchangeWithOthers();
    void beginStarting();
    SESSION_STATUS begin(HttpExchanges::iterator exchange);
    void end(HttpExchanges::iterator exchange, SESSION_STATUS status);
    void endFinished();
    void endAll(SESSION_STATUS status);
    void endMarked();
    void endOverdue();
    void sleep();

    /// Ends the transfer thread's sleep.  [any thread]
    void wakeTransfers();

    // Delivery thread
    void deliverAll();

    const HttpLimits m_limits;
    ReplyObserver m_observer;
    TransferProgress m_progress;

    std::mutex m_lock;
    std::condition_variable m_somethingDone;   ///< the delivering thread waits here
    std::condition_variable m_somethingEnded;  ///< flushes and stop() wait here
    HttpExchanges m_waiting;
    HttpExchanges m_done;
    HttpExchanges m_delivering;  ///< more than one while a completion flushes
    HttpExchanges m_spare;
    std::vector<Live> m_live;
    bool m_transferStarted = false;
    bool m_deliveryStarted = false;
    bool m_stopping = false;
    bool m_transfersOver = false;
    std::thread::id m_deliveryThread;
    pthread_t m_transferHandle{};
    pthread_t m_deliveryHandle{};

    std::atomic<bool> m_attention{false};  ///< a request was marked since the transfer thread last checked
    std::atomic<bool> m_sleeping{false};   ///< the transfer thread is about to wait in libcurl
    FileDescriptor m_wakeUp;               ///< an eventfd that ends the wait; cheaper than curl_multi_wakeup()

    // Transfer thread only
    struct MultiCleanup {
        void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
    };
    std::unique_ptr<CURLM, MultiCleanup> m_multi;
    HttpExchanges m_running;
    std::vector<HttpExchanges::iterator> m_starting;  ///< of m_running, not yet given to libcurl
    std::vector<HttpExchanges::iterator> m_ended;     ///< of m_running, taken from libcurl
    std::vector<std::unique_ptr<Running>> m_idleTransfers;
    Clock::time_point m_now;                                      ///< the time of this turn of the loop
    Clock::time_point m_nextDeadline = Clock::time_point::max();  ///< no transfer is overdue before this time
    Clock::time_point m_nextExpiry = Clock::time_point::max();    ///< of the first waiting exchange
};

/// Makes an executor the one that HttpDelegator::getInstance() returns; null restores one with default limits. Call it
/// before any plug-in object exists.
/// @param executor  owned by the caller; must live as long as it is installed
void installHttpDelegator(HttpDelegator* executor);

}  // namespace W::host
