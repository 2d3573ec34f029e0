#include "CurlExecutor.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>
#include <utility>

#include <sys/eventfd.h>

#include "CurlOptions.h"

namespace W::host {

namespace {

constexpr std::size_t kKeptTransfers = 64;
constexpr std::size_t kKeptExchanges = 256;
constexpr long kKeptConnections = 64;
constexpr std::chrono::milliseconds kLongestSleep{60'000};
constexpr std::chrono::milliseconds kPauseAfterFailure{10};
/// Completions parse replies with up to a thousand levels on this stack.
constexpr std::size_t kStackSize = std::size_t{4} << 20;

/// Starts a thread that blocks all signals: a broken TLS connection raises SIGPIPE.
bool startThread(pthread_t& thread, const char* name, void* (*run)(void*), void* self)
{
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) {
        return false;
    }
    pthread_attr_setstacksize(&attributes, kStackSize);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_create(&thread, &attributes, run, self) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (started) {
        pthread_setname_np(thread, name);
    }
    return started;
}

CURLM* makeMulti()
{
    static const CURLcode s_global = curl_global_init(CURL_GLOBAL_DEFAULT);
    checkCurl(s_global, "curl_global_init");
    CURLM* const multi = curl_multi_init();
    if (!multi) {
        throw std::bad_alloc();
    }
    // Can fail only if libcurl does not know the option; it then keeps its default of four connections per transfer.
    static_cast<void>(curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, kKeptConnections));
    return multi;
}

}  // namespace

CurlExecutor::CurlExecutor(HttpLimits limits) : m_limits(std::move(limits)), m_multi(makeMulti())
{
    m_wakeUp.hold(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (!m_wakeUp.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "cannot create an eventfd");
    }
    // The transfer thread's lists never grow.
    m_starting.reserve(m_limits.concurrency);
    m_ended.reserve(m_limits.concurrency);
    m_idleTransfers.reserve(kKeptTransfers);
    // An option that libcurl refuses is reported here, not as the failure of every request.
    m_idleTransfers.push_back(std::make_unique<Running>(m_limits, m_now, m_progress));
}

CurlExecutor::~CurlExecutor()
{
    stop();
}

// --- for callers -----------------------------------------------------------------------------------------------------

bool CurlExecutor::startThreads()
{
    if (!m_deliveryStarted) {
        m_deliveryStarted = startThread(
            m_deliveryHandle, "http-deliver",
            [](void* self) -> void* {
                static_cast<CurlExecutor*>(self)->deliverAll();
                return nullptr;
            },
            this);
    }
    if (m_deliveryStarted && !m_transferStarted) {
        m_transferStarted = startThread(
            m_transferHandle, "http-transfer",
            [](void* self) -> void* {
                static_cast<CurlExecutor*>(self)->transferAll();
                return nullptr;
            },
            this);
    }
    return m_transferStarted;
}

int CurlExecutor::addRequest(HttpRequest* request)
{
    if (!request) {
        return status::kBadArgument;
    }
    {
        const Lock lock(m_lock);
        if (m_stopping || !startThreads()) {
            return status::kNoService;
        }
        try {
            if (m_spare.empty()) {
                m_spare.emplace_back();
            }
            if (Live* const live = findLive(request->getID())) {
                ++live->requests;
            } else {
                m_live.push_back({request->getID(), 1, 0});
            }
        } catch (const std::bad_alloc&) {
            return status::kNoService;
        }
        HttpExchange& exchange = m_spare.front();
        exchange.request = request;
        exchange.id = request->getID();
        exchange.accepted = Clock::now();
        exchange.status = session::kCompleted;
        m_waiting.splice(m_waiting.end(), m_spare, m_spare.begin());
        // A flush of this id that is already waiting waits for this request, too.
        if (isMarked(exchange)) {
            m_attention = true;
        }
    }
    wakeTransfers();
    return status::kOk;
}

void CurlExecutor::wake()
{
    m_attention = true;
    wakeTransfers();
}

void CurlExecutor::wakeTransfers()
{
    if (m_sleeping.exchange(false)) {
        eventfd_write(m_wakeUp.get(), 1);
    }
}

void CurlExecutor::flushHttpRequests(UINT64 id)
{
    Lock lock(m_lock);
    Live* live = findLive(id);
    if (!live) {
        return;
    }
    ++live->flushes;
    wake();
    if (std::this_thread::get_id() == m_deliveryThread) {
        flushHere(lock, id);
    } else {
        m_somethingEnded.wait(lock, [&] { return findLive(id)->requests == 0; });
    }
    live = findLive(id);
    --live->flushes;
    dropIfUnused(*live);
}

/// Flushes from inside a completion. It runs completions itself, since the delivery thread is in this one, and does not
/// wait for its own request and those of the completions around it.
void CurlExecutor::flushHere(Lock& lock, UINT64 id)
{
    const auto isOfId = [id](const HttpExchange& exchange) { return exchange.id == id; };
    const auto around = static_cast<std::size_t>(std::count_if(m_delivering.begin(), m_delivering.end(), isOfId));
    while (findLive(id)->requests > around) {
        const auto next = std::find_if(m_done.begin(), m_done.end(), isOfId);
        if (next != m_done.end()) {
            deliver(lock, next);
        } else {
            m_somethingDone.wait(lock);
        }
    }
}

void CurlExecutor::stop()
{
    Lock lock(m_lock);
    m_stopping = true;
    wake();
    m_somethingEnded.wait(lock, [&] { return m_live.empty(); });
    const bool transferring = std::exchange(m_transferStarted, false);
    const bool delivering = std::exchange(m_deliveryStarted, false);
    m_transfersOver = m_transfersOver || !transferring;
    lock.unlock();
    m_somethingDone.notify_all();
    if (transferring) {
        pthread_join(m_transferHandle, nullptr);
    }
    if (delivering) {
        pthread_join(m_deliveryHandle, nullptr);
    }
}

CurlExecutor::Live* CurlExecutor::findLive(UINT64 id)
{
    const auto found = std::find_if(m_live.begin(), m_live.end(), [id](const Live& live) { return live.id == id; });
    return found == m_live.end() ? nullptr : &*found;
}

void CurlExecutor::dropIfUnused(Live& live)
{
    if (live.requests > 0 || live.flushes > 0) {
        return;
    }
    live = m_live.back();
    m_live.pop_back();
}

bool CurlExecutor::isMarked(const HttpExchange& exchange)
{
    return m_stopping || findLive(exchange.id)->flushes > 0 || exchange.request->isCancelled();
}

// --- transfer thread -------------------------------------------------------------------------------------------------

void CurlExecutor::transferAll()
{
    bool goOn = exchangeWithOthers();
    while (goOn) {
        m_now = Clock::now();
        beginStarting();
        int active = 0;
        const CURLMcode code = curl_multi_perform(m_multi.get(), &active);
        endFinished();
        if (code != CURLM_OK) {
            endAll(code == CURLM_OUT_OF_MEMORY ? session::kOutOfMemory : session::kBrokeOff);
        }
        if (m_attention.exchange(false)) {
            endMarked();
        }
        endOverdue();
        if (!m_ended.empty()) {
            goOn = exchangeWithOthers();
        }
        if (goOn && m_starting.empty()) {
            sleep();
            goOn = exchangeWithOthers();
        }
    }
}

/// Collects ended exchanges and takes waiting ones, under one lock.
/// @return false if the thread must end
bool CurlExecutor::exchangeWithOthers()
{
    bool somethingDone = !m_ended.empty();
    bool goOn = true;
    {
        const Lock lock(m_lock);
        for (const auto& exchange : m_ended) {
            m_done.splice(m_done.end(), m_running, exchange);
        }
        m_ended.clear();
        while (!m_waiting.empty() && m_running.size() < m_limits.concurrency) {
            m_starting.push_back(m_waiting.begin());
            m_running.splice(m_running.end(), m_waiting, m_waiting.begin());
        }
        m_nextExpiry = Clock::time_point::max();
        if (!m_waiting.empty()) {
            m_now = Clock::now();
            while (!m_waiting.empty() && m_waiting.front().accepted + m_limits.totalTimeout <= m_now) {
                m_waiting.front().status = session::kTimedOut;
                m_done.splice(m_done.end(), m_waiting, m_waiting.begin());
                somethingDone = true;
            }
            if (!m_waiting.empty()) {
                m_nextExpiry = m_waiting.front().accepted + m_limits.totalTimeout;
            }
        }
        if (m_stopping && m_running.empty() && m_waiting.empty()) {
            m_transfersOver = true;
            goOn = false;
            somethingDone = true;
        }
    }
    if (somethingDone) {
        m_somethingDone.notify_all();
    }
    return goOn;
}

void CurlExecutor::beginStarting()
{
    for (const auto& exchange : m_starting) {
        const SESSION_STATUS status = begin(exchange);
        if (status != session::kCompleted) {
            end(exchange, status);
        } else {
            m_nextDeadline = std::min(m_nextDeadline, exchange->transfer->deadline());
        }
    }
    m_starting.clear();
}

SESSION_STATUS CurlExecutor::begin(HttpExchanges::iterator exchange)
{
    if (exchange->request->isCancelled()) {
        return session::kCancelled;
    }
    if (m_idleTransfers.empty()) {
        try {
            m_idleTransfers.push_back(std::make_unique<Running>(m_limits, m_now, m_progress));
        } catch (const std::bad_alloc&) {
            return session::kOutOfMemory;
        } catch (const CurlError&) {
            return session::kNotSendable;
        }
    }
    // The lines above made one.
    // cppcheck-suppress containerOutOfBounds
    exchange->transfer = m_idleTransfers.back().release();
    m_idleTransfers.pop_back();
    Running& transfer = *exchange->transfer;
    transfer.exchange = exchange;
    const auto left = exchange->accepted + m_limits.totalTimeout - m_now;
    const SESSION_STATUS status =
        transfer.begin(*exchange->request, std::chrono::ceil<std::chrono::milliseconds>(left));
    if (status == session::kCompleted && curl_multi_add_handle(m_multi.get(), transfer.handle()) != CURLM_OK) {
        return session::kOutOfMemory;
    }
    return status;
}

/// Takes an exchange from libcurl and keeps its transfer for the next one.
void CurlExecutor::end(HttpExchanges::iterator exchange, SESSION_STATUS status)
{
    std::unique_ptr<Running> transfer(std::exchange(exchange->transfer, nullptr));
    exchange->status = status;
    if (transfer) {
        const CURLMcode removed = curl_multi_remove_handle(m_multi.get(), transfer->handle());
        exchange->status = transfer->end(status);
        // A handle that libcurl does not give back is not used again; its destructor takes it out.
        if (removed == CURLM_OK && m_idleTransfers.size() < kKeptTransfers) {
            m_idleTransfers.push_back(std::move(transfer));
        }
    }
    m_ended.push_back(exchange);
}

void CurlExecutor::endFinished()
{
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
        if (message->msg != CURLMSG_DONE) {
            continue;
        }
        const SESSION_STATUS status = sessionStatus(message->data.result);
        end(static_cast<Running&>(CurlTransfer::of(message->easy_handle)).exchange, status);
    }
}

/// Ends all transfers, when libcurl can no longer drive them.
void CurlExecutor::endAll(SESSION_STATUS status)
{
    for (auto exchange = m_running.begin(); exchange != m_running.end(); ++exchange) {
        if (exchange->transfer) {
            end(exchange, status);
        }
    }
}

/// Ends what was cancelled or flushed. Waiting requests go straight to delivery, which checks the mark itself.
void CurlExecutor::endMarked()
{
    std::vector<HttpExchanges::iterator>& marked = m_starting;  // empty here, and large enough
    {
        const Lock lock(m_lock);
        for (auto next = m_waiting.begin(); next != m_waiting.end();) {
            const auto exchange = next++;
            if (isMarked(*exchange)) {
                m_done.splice(m_done.end(), m_waiting, exchange);
            }
        }
        for (auto exchange = m_running.begin(); exchange != m_running.end(); ++exchange) {
            if (exchange->transfer && isMarked(*exchange)) {
                marked.push_back(exchange);
            }
        }
    }
    m_somethingDone.notify_all();
    for (const auto& exchange : marked) {
        end(exchange, session::kCancelled);
    }
    marked.clear();
}

void CurlExecutor::endOverdue()
{
    if (m_now < m_nextDeadline) {
        return;
    }
    m_nextDeadline = Clock::time_point::max();
    for (auto exchange = m_running.begin(); exchange != m_running.end(); ++exchange) {
        if (!exchange->transfer) {
            continue;
        }
        const auto deadline = exchange->transfer->deadline();
        if (deadline <= m_now) {
            end(exchange, session::kTimedOut);
        } else {
            m_nextDeadline = std::min(m_nextDeadline, deadline);
        }
    }
}

void CurlExecutor::sleep()
{
    m_sleeping = true;
    {
        const Lock lock(m_lock);
        if ((!m_waiting.empty() && m_running.size() < m_limits.concurrency) || m_stopping) {
            m_sleeping = false;
        }
    }
    if (!m_attention && m_sleeping) {
        const auto until = std::min(m_nextDeadline, m_nextExpiry) - m_now;
        const auto timeout = std::clamp(std::chrono::ceil<std::chrono::milliseconds>(until),
                                        std::chrono::milliseconds::zero(), kLongestSleep);
        curl_waitfd wakeUp{m_wakeUp.get(), CURL_WAIT_POLLIN, 0};
        // If waiting fails, for example for lack of memory, the thread must not spin.
        if (curl_multi_poll(m_multi.get(), &wakeUp, 1, static_cast<int>(timeout.count()), nullptr) != CURLM_OK) {
            std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(timeout, kPauseAfterFailure));
        }
        eventfd_t count = 0;
        if (wakeUp.revents != 0) {
            eventfd_read(m_wakeUp.get(), &count);
        }
    }
    m_sleeping = false;
}

// --- delivery thread -------------------------------------------------------------------------------------------------

void CurlExecutor::deliverAll()
{
    Lock lock(m_lock);
    m_deliveryThread = std::this_thread::get_id();
    while (true) {
        m_somethingDone.wait(lock, [&] { return !m_done.empty() || m_transfersOver; });
        if (m_done.empty()) {
            return;
        }
        deliver(lock, m_done.begin());
    }
}

/// Runs one completion. The outcome is fixed here: a later setCancel() has no effect.
void CurlExecutor::deliver(Lock& lock, HttpExchanges::iterator exchange)
{
    m_delivering.splice(m_delivering.end(), m_done, exchange);
    const SESSION_STATUS status = isMarked(*exchange) ? session::kCancelled : exchange->status;
    lock.unlock();
    if (status == session::kCancelled) {
        exchange->request->response().setPayload({});
    }
    if (m_observer) {
        m_observer(*exchange->request, status);
    }
    exchange->request->complete(status);
    lock.lock();
    Live& live = *findLive(exchange->id);
    --live.requests;
    dropIfUnused(live);
    if (m_spare.size() < kKeptExchanges) {
        m_spare.splice(m_spare.end(), m_delivering, exchange);
    } else {
        m_delivering.erase(exchange);
    }
    m_somethingEnded.notify_all();
}

// --- the process's executor ------------------------------------------------------------------------------------------

namespace {

std::atomic<HttpDelegator*> g_installed{nullptr};

}  // namespace

void installHttpDelegator(HttpDelegator* executor)
{
    g_installed = executor;
}

}  // namespace W::host

namespace W {

HttpDelegator* HttpDelegator::getInstance()
{
    if (HttpDelegator* const installed = host::g_installed) {
        return installed;
    }
    // Never destroyed: requests may still be outstanding when the process ends.
    static HttpDelegator* const s_default = new host::CurlExecutor();
    return s_default;
}

}  // namespace W
