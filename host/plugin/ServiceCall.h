// Calls of plug-in operations whose results one thread waits for. Several may be outstanding at once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <tuple>
#include <utility>

#include "WCorvaneOAI.h"

namespace W::host {

template <class Callback>
class ServiceCall;

/// One call of an operation whose callback has these parameters. Must not move until wait() has returned.
template <class... Rest>
class ServiceCall<void (*)(int, Rest...)> {
public:
    using Callback = void (*)(int, Rest...);
    static constexpr std::size_t kResults = sizeof...(Rest) - 2;

    ServiceCall() = default;
    ~ServiceCall() { wait(std::chrono::milliseconds::zero()); }
    ServiceCall(const ServiceCall&) = delete;
    ServiceCall& operator=(const ServiceCall&) = delete;

    /// Calls the operation.
    /// @param operation  a member of WCorvaneOAI, or a function that calls one whose callback does not come first
    /// @param take  gets the results of a success, on the executor's thread
    template <class Operation, class Take, class... Arguments>
    void start(WCorvaneOAI& plugin, Operation operation, Take take, const Arguments&... arguments)
    {
        m_plugin = &plugin;
        m_take = [take = std::move(take)](const std::tuple<Rest...>& all) {
            apply(take, all, std::make_index_sequence<kResults>());
        };
        m_pending = true;
        const int returned = std::invoke(operation, plugin, &ServiceCall::receive, arguments..., this, m_out);
        if (returned < 0) {
            finish(returned);
        }
    }

    /// @return the callback's status, or that of the refusal. A request that takes longer than `patience` is cancelled.
    int wait(std::chrono::milliseconds patience)
    {
        if (!isOverWithin(patience)) {
            cancel();
        }
        std::unique_lock<std::mutex> lock(m_lock);
        // The executor cancels the request or times it out, so the callback comes.
        m_ended.wait(lock, [this] { return !m_pending; });
        return m_status;
    }

    /// Waits without cancelling.
    /// @return true if the request is over
    bool isOverWithin(std::chrono::milliseconds patience)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_ended.wait_for(lock, patience, [this] { return !m_pending; });
    }

    /// @return as WCorvaneOAI::cancel()
    int cancel() { return m_plugin->cancel(m_plugin->getContentProvider(), m_out.getReqRefernce()); }

private:
    template <class Take, std::size_t... Index>
    static void apply(const Take& take, const std::tuple<Rest...>& all, std::index_sequence<Index...> /*unused*/)
    {
        take(std::get<Index>(all)...);
    }

    static void receive(int status, Rest... rest)
    {
        const std::tuple<Rest...> all(rest...);
        auto& call = *static_cast<ServiceCall*>(std::get<kResults + 1>(all));
        if (status == status::kOk) {
            call.m_take(all);
        }
        call.finish(status);
    }

    void finish(int status)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_status = status;
        m_pending = false;
        m_ended.notify_all();
    }

    WCorvaneOAI* m_plugin = nullptr;
    std::function<void(const std::tuple<Rest...>&)> m_take;
    WRequestStatus m_out;
    std::mutex m_lock;
    std::condition_variable m_ended;
    bool m_pending = false;
    int m_status = status::kOk;
};

}  // namespace W::host
