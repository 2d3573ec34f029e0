#include "CommandedExecutor.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

#include <gtest/gtest.h>

#include "CurlExecutor.h"

namespace W::test {

namespace {

constexpr std::size_t kMostLate = 24;
constexpr std::chrono::microseconds kLate{200};

}  // namespace

CommandedExecutor::CommandedExecutor(unsigned threads, Planner planner) : m_planner(std::move(planner))
{
    host::installHttpDelegator(this);
    for (unsigned number = 0; number < threads; ++number) {
        m_threads.emplace_back([this] { work(); });
    }
}

CommandedExecutor::~CommandedExecutor()
{
    {
        const Lock lock(m_lock);
        EXPECT_TRUE(m_pending.empty()) << m_pending.size() << " requests were neither answered nor flushed";
        m_stopping = true;
    }
    m_changed.notify_all();
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    host::installHttpDelegator(nullptr);
}

int CommandedExecutor::addRequest(HttpRequest* request)
{
    Plan plan = m_planner ? m_planner(*request) : Plan();
    if (plan.refusal < 0) {
        return plan.refusal;
    }
    if (plan.fixedAtOnce && request->isCancelled()) {
        plan.outcome = {session::kCancelled, 0, {}};
    }
    Lock lock(m_lock);
    const bool waits = plan.moment == Moment::Early && !isCompleting();
    bool over = false;
    if (plan.moment == Moment::Early) {
        m_soon.push_front(request);
    } else if (!m_threads.empty()) {
        (plan.moment == Moment::Soon ? m_soon : m_late).push_back(request);
    }
    m_pending[request] = {std::move(plan), waits ? &over : nullptr};
    m_last = request;
    m_changed.notify_all();
    if (waits) {
        m_changed.wait(lock, [&] { return over; });
    }
    return 0;
}

void CommandedExecutor::flushHttpRequests(UINT64 id)
{
    Lock lock(m_lock);
    const std::thread::id self = std::this_thread::get_id();
    const bool delivers = isCompleting() || m_threads.empty();
    ++m_flushes[id];
    m_changed.notify_all();
    for (;;) {
        const auto next = std::find_if(m_pending.begin(), m_pending.end(),
                                       [&](const auto& pending) { return pending.first->getID() == id; });
        if (next != m_pending.end() && delivers) {
            run(lock, next->first, nullptr);
            continue;
        }
        const bool othersRun = std::any_of(m_completing.begin(), m_completing.end(), [&](const auto& running) {
            return running.second == id && running.first != self;
        });
        if (next == m_pending.end() && !othersRun) {
            break;
        }
        if (onFlushWaits) {
            onFlushWaits();
        }
        m_changed.wait(lock);
    }
    if (--m_flushes[id] == 0) {
        m_flushes.erase(id);
    }
}

HttpRequest* CommandedExecutor::last()
{
    const Lock lock(m_lock);
    return m_last;
}

std::size_t CommandedExecutor::pendingCount()
{
    const Lock lock(m_lock);
    return m_pending.size();
}

void CommandedExecutor::complete(HttpRequest* request, const ExchangeOutcome& outcome)
{
    if (!completeIfPending(request, outcome)) {
        ADD_FAILURE() << "the request is not pending";
    }
}

bool CommandedExecutor::completeIfPending(HttpRequest* request, const ExchangeOutcome& outcome)
{
    Lock lock(m_lock);
    if (m_pending.count(request) == 0) {
        return false;
    }
    run(lock, request, &outcome);
    return true;
}

void CommandedExecutor::waitUntilIdle()
{
    Lock lock(m_lock);
    m_changed.wait(lock, [&] { return m_pending.empty() && m_completing.empty(); });
}

bool CommandedExecutor::isCompleting() const
{
    const std::thread::id self = std::this_thread::get_id();
    return std::any_of(m_completing.begin(), m_completing.end(),
                       [&](const auto& running) { return running.first == self; });
}

void CommandedExecutor::run(Lock& lock, HttpRequest* request, const ExchangeOutcome* outcome)
{
    const auto found = m_pending.find(request);
    Pending pending = std::move(found->second);
    m_pending.erase(found);
    const UINT64 id = request->getID();
    m_completing.emplace_back(std::this_thread::get_id(), id);
    if (m_flushes.count(id) != 0) {
        pending.plan.outcome = {session::kCancelled, 0, {}};
    } else if (outcome != nullptr) {
        pending.plan.outcome = *outcome;
    }
    lock.unlock();

    ExchangeOutcome& end = pending.plan.outcome;
    if (!pending.plan.fixedAtOnce && request->isCancelled()) {
        end = {session::kCancelled, 0, {}};
    }
    if (end.status == session::kCompleted) {
        request->response().setHttpResponseCode(end.code);
        request->response().setPayload(std::move(end.body));
    }
    if (pending.plan.responded != nullptr) {
        *pending.plan.responded = true;
    }
    request->complete(end.status);

    lock.lock();
    // Completions nest: the one that began last on this thread has ended.
    const auto over = std::find_if(m_completing.rbegin(), m_completing.rend(),
                                   [](const auto& running) { return running.first == std::this_thread::get_id(); });
    m_completing.erase(std::next(over).base());
    if (pending.over != nullptr) {
        *pending.over = true;
    }
    m_changed.notify_all();
}

HttpRequest* CommandedExecutor::chooseNext()
{
    if (m_pending.empty()) {
        m_soon.clear();
        m_late.clear();
        return nullptr;
    }
    if (!m_flushes.empty()) {
        return m_pending.begin()->first;
    }
    // Skips requests that a flush has completed.
    for (std::deque<HttpRequest*>* const line : {m_late.size() > kMostLate ? &m_late : &m_soon, &m_soon}) {
        while (!line->empty()) {
            HttpRequest* const request = line->front();
            line->pop_front();
            if (m_pending.count(request) != 0) {
                return request;
            }
        }
    }
    return nullptr;
}

void CommandedExecutor::work()
{
    Lock lock(m_lock);
    while (!m_stopping) {
        if (HttpRequest* const next = chooseNext()) {
            run(lock, next, nullptr);
            continue;
        }
        if (m_late.empty()) {
            m_changed.wait(lock);
        } else if (m_changed.wait_for(lock, kLate) == std::cv_status::timeout && !m_late.empty()) {
            m_soon.push_back(m_late.front());
            m_late.pop_front();
        }
    }
}

}  // namespace W::test
