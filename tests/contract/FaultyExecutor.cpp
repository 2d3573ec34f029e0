// An executor without a network that keeps the contract, or breaks one clause: the environment variable CONTRACT_FAULT
// names the fault. The path of a URL decides the outcome of its exchange, as on the server of corvane-contract.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <list>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "HttpDelegator.h"

namespace {

using namespace std::chrono_literals;
using W::HttpRequest;

bool has(const char* fault)
{
    static const char* const s_fault = std::getenv("CONTRACT_FAULT");
    return s_fault && std::string(s_fault) == fault;
}

bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

class FaultyExecutor final : public W::HttpDelegator {
public:
    int addRequest(HttpRequest* request) override
    {
        const bool sendable = request->url().compare(0, 7, "http://") == 0;
        if (has("throws")) {
            throw std::runtime_error("a fault");
        }
        if (has("completes on the caller's stack") && !sendable) {
            request->complete(W::session::kNotSendable);
            return 0;
        }
        if (has("completes what it refused") && !sendable) {
            std::thread([request] { request->complete(W::session::kNotSendable); }).detach();
            return W::status::kBadArgument;
        }
        if (has("touches what it refused") && !sendable) {
            std::thread([request] {
                std::this_thread::sleep_for(50ms);
                static_cast<void>(request->isCancelled());
            }).detach();
            return W::status::kBadArgument;
        }
        const std::lock_guard<std::mutex> lock(m_lock);
        m_live.push_back({request, request->getID(), false, false});
        const auto live = std::prev(m_live.end());
        std::thread([this, live] { run(live); }).detach();
        return W::status::kOk;
    }

    void flushHttpRequests(W::UINT64 id) override
    {
        std::unique_lock<std::mutex> lock(m_lock);
        if (has("misses what is added meanwhile")) {
            std::list<const HttpRequest*> known;
            for (FaultyRequest& live : m_live) {
                if (live.id == id) {
                    live.flushed = true;
                    known.push_back(live.request);
                }
            }
            m_changed.notify_all();
            m_changed.wait(lock, [&] {
                return std::none_of(m_live.begin(), m_live.end(), [&](const FaultyRequest& live) {
                    return std::find(known.begin(), known.end(), live.request) != known.end();
                });
            });
            return;
        }
        FaultyRequest* const own = s_own && s_own->id == id && !has("waits for its own completion") ? s_own : nullptr;
        if (own) {
            own->flushing = true;
        }
        m_flushed.push_back(id);
        m_changed.notify_all();
        HttpRequest* const last = m_live.empty() ? nullptr : m_live.back().request;
        if (!has("returns from a flush early")) {
            m_changed.wait(lock, [&] {
                return std::none_of(m_live.begin(), m_live.end(), [&](const FaultyRequest& live) {
                    return live.id == id && !(own && live.flushing) && !(has("skips completions") && live.completing);
                });
            });
            m_flushed.erase(std::find(m_flushed.begin(), m_flushed.end(), id));
        }
        if (own) {
            own->flushing = false;
        }
        if (has("deletes") && last) {
            delete last;
        }
    }

    void wake() override
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_changed.notify_all();
        if (has("waits in wake")) {
            m_changed.wait(lock, [this] {
                return std::none_of(m_live.begin(), m_live.end(),
                                    [](const FaultyRequest& live) { return live.completing; });
            });
        }
        if (has("completes in setCancel") && !m_live.empty() && m_live.back().request->isCancelled()) {
            HttpRequest* const request = m_live.back().request;
            m_live.back().request = nullptr;
            lock.unlock();
            request->complete(W::session::kCancelled);
        }
    }

private:
    struct FaultyRequest {
        HttpRequest* request;
        W::UINT64 id;
        bool flushing;  ///< its completion waits in flushHttpRequests()
        bool completing;
        bool flushed = false;
    };

    bool isMarked(const FaultyRequest& live) const
    {
        if (!live.request || (live.request->isCancelled() && !has("ignores cancellation"))) {
            return true;
        }
        if (has("ends requests of other ids")) {
            return !m_flushed.empty();
        }
        return live.flushed || std::find(m_flushed.begin(), m_flushed.end(), live.id) != m_flushed.end();
    }

    W::SESSION_STATUS exchange(std::unique_lock<std::mutex>& lock, const FaultyRequest& live)
    {
        const auto marked = [&] { return isMarked(live); };
        const std::string url = live.request->url();
        if (marked() && !has("ignores early cancellation")) {
            return W::session::kCancelled;
        }
        if (endsWith(url, "/never")) {
            if (has("has no time-out")) {
                m_changed.wait(lock, marked);
                return W::session::kCancelled;
            }
            return m_changed.wait_for(lock, 1s, marked) ? W::session::kCancelled : W::session::kTimedOut;
        }
        if (endsWith(url, "/slow") && m_changed.wait_for(lock, 500ms, marked)) {
            return W::session::kCancelled;
        }
        if (!endsWith(url, "/ok") && !endsWith(url, "/slow")) {
            return W::session::kNoConnection;
        }
        live.request->response().setHttpResponseCode(200);
        live.request->response().setPayload("ok");
        return W::session::kCompleted;
    }

    void run(std::list<FaultyRequest>::iterator live)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        const W::SESSION_STATUS status = exchange(lock, *live);
        HttpRequest* const request = live->request;
        live->completing = true;
        if (!has("holds a lock")) {
            lock.unlock();
        }
        if (has("returns from a flush early")) {
            std::this_thread::sleep_for(300ms);
        }
        s_own = &*live;
        if (request && !has("never completes")) {
            request->complete(status);
            if (has("completes twice")) {
                request->complete(status);
            }
            if (has("touches what completed")) {
                static_cast<void>(request->isCancelled());
            }
        }
        if (!lock.owns_lock()) {
            lock.lock();
        }
        m_live.erase(live);
        m_changed.notify_all();
    }

    static thread_local FaultyRequest* s_own;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::list<FaultyRequest> m_live;
    std::list<W::UINT64> m_flushed;
};

thread_local FaultyExecutor::FaultyRequest* FaultyExecutor::s_own = nullptr;

}  // namespace

__attribute__((visibility("default"))) W::HttpDelegator* W::HttpDelegator::getInstance()
{
    static auto* const s_executor = new FaultyExecutor;
    return s_executor;
}
