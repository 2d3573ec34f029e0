// Parts of the checks of the contract: a server whose paths decide its replies, and requests that record their use.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "HttpDelegator.h"

namespace contract {

/// The longest wait for an event that should happen at once.
inline std::chrono::milliseconds g_patience{5000};
/// How long a check watches for an event that must not happen.
inline constexpr std::chrono::milliseconds kQuiet{200};

/// Serves HTTP on a loopback port until the process ends. /ok answers "ok"; /slow does so after half a second; /never
/// does not answer.
/// @return the server's URL without a slash at the end
/// @throws std::runtime_error
std::string startServer();

/// The executor under test; set before the first request.
inline W::HttpDelegator* g_executor = nullptr;

/// An event that one thread waits for.
class Event {
public:
    void set()
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_set = true;
        m_changed.notify_all();
    }
    bool wait(std::chrono::milliseconds patience)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, patience, [this] { return m_set; });
    }

private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    bool m_set = false;
};

/// A request on its own memory pages, so that they can be made inaccessible.
class Probe {
public:
    /// @param onCompletion  called in the completion, after the outcome was recorded
    explicit Probe(const std::string& url, W::UINT64 id = 1, std::function<void(Probe&)> onCompletion = {},
                   const W::HttpHeader& header = {});
    /// A probe is never freed: the executor may still know it.
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    /// Hands the request to the executor.
    int add();
    /// Calls setCancel().
    void cancel();
    /// Any access to the request ends the process from now on.
    void forbid();

    bool wait(std::chrono::milliseconds patience = g_patience) { return m_completed.wait(patience); }
    int completions() const { return m_completions; }
    W::SESSION_STATUS status() const { return m_status; }
    W::HTTP_RESPONSE_CODE code() const { return m_code; }
    const std::string& payload() const { return m_payload; }
    /// Whether a completion ran inside add() or cancel(), on the thread that called them.
    bool wasOnCallersStack() const { return m_onCallersStack; }

    /// The number of requests that the executor deleted.
    static int deleted();

private:
    class Request;
    static void complete(W::SESSION_STATUS status, W::HttpRequest* request, void* userData);

    Request* m_request;
    std::function<void(Probe&)> m_onCompletion;
    Event m_completed;
    std::atomic<int> m_completions{0};
    std::atomic<bool> m_onCallersStack{false};
    W::SESSION_STATUS m_status = -1;
    W::HTTP_RESPONSE_CODE m_code = 0;
    std::string m_payload;
};

/// Runs `action` on another thread.
/// @return whether it returned in time; if not, the thread is abandoned
bool returns(std::function<void()> action, std::chrono::milliseconds patience = g_patience);

}  // namespace contract
