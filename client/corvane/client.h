// The plug-in's operations as values. Each call returns a Call, which can be waited for, turned into a std::future,
// awaited by a C++20 coroutine, or cancelled. Header only; C++17, and coroutines if the compiler has them.
//
//     corvane::Client client(object);
//     corvane::Call<std::list<W::WVLContent>> call =
//         client.call(&W::WCorvaneOAI::getSchedule, sources, 0UL, 3, std::list<int>{1});
//     for (const W::WVLContent& programme : call.get()) { … }
//
// The result of a Call is a copy of what the callback got: void for an acknowledgement, the value itself if there is
// one result, else a std::tuple. A W::WContainer<T> becomes a std::list<T>. docs/integrating.md has complete programs.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <future>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "WCorvaneOAI.h"

#if defined(__cpp_impl_coroutine)
#include <coroutine>
#endif

namespace corvane {

/// Why an operation gave no result.
class Error : public std::runtime_error {
public:
    explicit Error(int status)
        : std::runtime_error(W::WSTATUS2STRING(status) + (" (status " + std::to_string(status) + ")")), m_status(status)
    {}

    /// As in docs/statuses.md: negative if the operation was refused or failed; 600 if it was cancelled or its Client
    /// was destroyed.
    int status() const { return m_status; }

private:
    int m_status;
};

namespace detail {

class Calls;

/// The state that a Call shares with the callback, without the result.
class StateBase {
public:
    StateBase() = default;
    virtual ~StateBase() = default;
    StateBase(const StateBase&) = delete;
    StateBase& operator=(const StateBase&) = delete;

    /// Before finish() only.
    void storeError(std::exception_ptr error) { m_error = std::move(error); }

    /// Publishes what was stored. Once.
    void finish()
    {
        std::function<void()> next;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_ready = true;
            m_canceller = nullptr;
            next.swap(m_next);
            m_ended.notify_all();
        }
        if (next) {
            next();
        }
    }

    void fail(int status)
    {
        storeError(std::make_exception_ptr(Error(status)));
        finish();
    }

    void wait() const
    {
        std::unique_lock<std::mutex> lock(m_lock);
        m_ended.wait(lock, [this] { return m_ready; });
    }

    bool waitFor(std::chrono::milliseconds patience) const
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_ended.wait_for(lock, patience, [this] { return m_ready; });
    }

    /// Makes finish() call `next`.
    /// @return false if the state is finished already; `next` is not called then
    bool continueWith(std::function<void()> next)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_ready) {
            m_next = std::move(next);
        }
        return !m_ready;
    }

    /// Sets what cancel() calls, and calls it now if cancel() came first.
    void cancelWith(const std::function<int()>& canceller)
    {
        bool cancelled = false;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_canceller = canceller;
            cancelled = m_cancelled;
        }
        if (cancelled) {
            canceller();
        }
    }

    int cancel()
    {
        std::function<int()> canceller;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_ready) {
                return W::status::kNotFound;
            }
            m_cancelled = true;
            canceller = m_canceller;
        }
        return canceller ? canceller() : W::status::kCancelled;
    }

    W::WRequestStatus out;   ///< written by the operation before it returns
    Calls* owner = nullptr;  ///< null for a coroutine's state

protected:
    void rethrow() const
    {
        if (m_error) {
            std::rethrow_exception(m_error);
        }
    }

private:
    mutable std::mutex m_lock;
    mutable std::condition_variable m_ended;
    bool m_ready = false;
    bool m_cancelled = false;
    std::exception_ptr m_error;
    std::function<void()> m_next;
    std::function<int()> m_canceller;
};

template <class T>
class CallState : public StateBase {
public:
    void store(T value) { m_value.emplace(std::move(value)); }
    T take()
    {
        rethrow();
        return std::move(*m_value);
    }

private:
    std::optional<T> m_value;
};

template <>
class CallState<void> : public StateBase {
public:
    void store() {}
    void take() { rethrow(); }
};

/// The outstanding calls, and the object that they were made on.
class Calls {
public:
    explicit Calls(std::shared_ptr<W::WCorvaneOAI> object) : m_object(std::move(object)) {}

    W::WCorvaneOAI& object() { return *m_object; }

    void add(std::shared_ptr<StateBase> state)
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_states.push_back(std::move(state));
    }

    std::shared_ptr<StateBase> remove(const StateBase* wanted)
    {
        std::shared_ptr<StateBase> found;
        const std::lock_guard<std::mutex> lock(m_lock);
        for (auto state = m_states.begin(); state != m_states.end(); ++state) {
            if (state->get() == wanted) {
                found = std::move(*state);
                m_states.erase(state);
                break;
            }
        }
        return found;
    }

    void close()
    {
        // Once the object is destroyed, no callback runs or will begin.
        m_object.reset();
        std::list<std::shared_ptr<StateBase>> dropped;
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            dropped.swap(m_states);
        }
        for (const auto& state : dropped) {
            state->fail(W::status::kCancelled);
        }
    }

private:
    std::shared_ptr<W::WCorvaneOAI> m_object;
    std::mutex m_lock;
    std::list<std::shared_ptr<StateBase>> m_states;
};

template <class T>
struct Copied {
    using Type = T;
    static const T& of(const T& value) { return value; }
};
template <class T>
struct Copied<W::WContainer<T>> {
    using Type = std::list<T>;
    static const std::list<T>& of(const W::WContainer<T>& container) { return container.getData(); }
};

template <class... Results>
struct Value {
    using Type = std::tuple<typename Copied<std::decay_t<Results>>::Type...>;
};
template <class Result>
struct Value<Result> {
    using Type = typename Copied<std::decay_t<Result>>::Type;
};
template <>
struct Value<> {
    using Type = void;
};

template <class Tuple, class Index>
struct ValueOf;
template <class Tuple, std::size_t... Index>
struct ValueOf<Tuple, std::index_sequence<Index...>> {
    using Type = typename Value<std::tuple_element_t<Index, Tuple>...>::Type;
};

/// Receives the callback of an operation; the user data is the state.
template <class Callback>
struct Receiver;
template <class... Rest>
struct Receiver<void (*)(int, Rest...)> {
    using All = std::tuple<Rest...>;
    static constexpr std::size_t kResults = sizeof...(Rest) - 2;  // reference and user data follow the results
    using Result = typename ValueOf<All, std::make_index_sequence<kResults>>::Type;

    static void receive(int status, Rest... rest)
    {
        const All all(rest...);
        auto* const state = static_cast<CallState<Result>*>(std::get<kResults + 1>(all));
        // Removed before it is finished: the code that waits for the result may destroy the Client.
        const std::shared_ptr<StateBase> kept = state->owner->remove(state);
        if (status != W::status::kOk) {
            state->fail(status);
            return;
        }
        try {
            store(*state, all, std::make_index_sequence<kResults>());
        } catch (...) {
            state->storeError(std::current_exception());
        }
        state->finish();
    }

private:
    template <std::size_t... Index>
    static void store(CallState<Result>& state, const All& all, std::index_sequence<Index...> /*unused*/)
    {
        if constexpr (kResults == 0) {
            state.store();
        } else {
            state.store(Result(Copied<std::decay_t<std::tuple_element_t<Index, All>>>::of(std::get<Index>(all))...));
        }
    }
};

#if defined(__cpp_impl_coroutine)
/// Suspends a coroutine until a call has ended.
template <class T>
struct Awaiter {
    std::shared_ptr<CallState<T>> inner;
    std::shared_ptr<StateBase> outer;  ///< the coroutine's own state, if it returns a Call

    bool await_ready() const noexcept { return false; }
    bool await_suspend(std::coroutine_handle<> coroutine)
    {
        if (outer) {
            outer->cancelWith([inner = inner] { return inner->cancel(); });
        }
        // As soon as this has returned true, another thread may have resumed the coroutine and destroyed *this.
        return inner->continueWith([coroutine] { coroutine.resume(); });
    }
    T await_resume() { return inner->take(); }
};

template <class T>
struct PromiseBase;
template <class T>
struct Promise;
#endif

}  // namespace detail

/// The result of an operation, which may not have arrived yet. Destroying a Call neither waits for the operation nor
/// cancels it.
///
/// A coroutine that returns Call<T> runs at once, up to its first co_await of a call that has not ended. It resumes
/// on the thread that delivers the result, a thread of the host's executor. There it must not block on another call
/// (get(), wait()), since an executor may deliver results one after the other; it must co_await the call instead.
template <class T>
class [[nodiscard]] Call {
public:
#if defined(__cpp_impl_coroutine)
    using promise_type = detail::Promise<T>;

    detail::Awaiter<T> operator co_await() const
    {
        return {m_state, nullptr};
    }
#endif

    explicit Call(std::shared_ptr<detail::CallState<T>> state) : m_state(std::move(state)) {}

    /// Waits for the result and moves it out; once.  [not on the executor's thread]
    /// @throws Error if the operation was refused, failed or was cancelled; what a coroutine threw
    T get()
    {
        m_state->wait();
        return m_state->take();
    }

    /// @return whether get() would return at once
    bool waitFor(std::chrono::milliseconds patience) const
    {
        return m_state->waitFor(patience);
    }

    /// Asks for the operation to be cancelled. get() then throws an Error with status 600, unless the result had
    /// already arrived. Of a coroutine, cancels the call that it awaits and each that it awaits later.  [any thread]
    /// @return as W::WCorvaneOAI::cancel()
    int cancel()
    {
        return m_state->cancel();
    }

    /// Hands the result over to a std::future. Cancel through a copy of the Call that was made before.
    std::future<T> future() &&
    {
        const auto promise = std::make_shared<std::promise<T>>();
        const auto settle = [promise, state = m_state] {
            try {
                if constexpr (std::is_void_v<T>) {
                    state->take();
                    promise->set_value();
                } else {
                    promise->set_value(state->take());
                }
            } catch (...) {
                promise->set_exception(std::current_exception());
            }
        };
        std::future<T> future = promise->get_future();
        if (!m_state->continueWith(settle)) {
            settle();
        }
        m_state.reset();
        return future;
    }

private:
#if defined(__cpp_impl_coroutine)
    template <class>
    friend struct detail::PromiseBase;
#endif
    std::shared_ptr<detail::CallState<T>> m_state;
};

/// Owns a plug-in object and makes calls on it.
class Client {
public:
    /// @param object  as PluginLibrary::create() gives it; destroyed together with the Client
    explicit Client(std::shared_ptr<W::WCorvaneOAI> object)
        : m_calls(std::make_shared<detail::Calls>(std::move(object)))
    {}

    /// Destroys the object. Calls that have not ended fail with status 600, on this thread. No other thread may be
    /// inside a member function of the Client or inside Call::cancel().
    ~Client() { m_calls->close(); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    W::WCorvaneOAI& object() { return m_calls->object(); }

    /// Starts an operation. A refusal is reported by the Call.  [any thread]
    /// @param operation  any member of W::WCorvaneOAI whose first parameter is a callback
    /// @param arguments  its parameters without callback, user data and status
    template <class Callback, class... Rest, class... Arguments>
    auto call(int (W::WCorvaneOAI::*operation)(Callback, Rest...), Arguments&&... arguments)
    {
        static_assert(sizeof...(Rest) == sizeof...(Arguments) + 2,
                      "the arguments do not match the operation's parameters");
        return start<Callback>([&](auto receive, void* userData, W::WRequestStatus& out) {
            return (object().*operation)(receive, std::forward<Arguments>(arguments)..., userData, out);
        });
    }

    /// Fetches a file; parameters as of W::WCorvaneOAI::download().  [any thread]
    /// @return the provider and the local path
    Call<std::tuple<W::WContentProvider, std::string>> download(const std::string& url, const std::string& directory,
                                                                const std::string& fileName = std::string())
    {
        return start<W::DownloadCallback>([&](auto receive, void* userData, W::WRequestStatus& out) {
            return object().download(object().getContentProvider(), url, directory, fileName, receive, userData, out);
        });
    }

private:
    template <class Callback, class Operation>
    Call<typename detail::Receiver<Callback>::Result> start(const Operation& operation)
    {
        using Receiver = detail::Receiver<Callback>;
        const auto state = std::make_shared<detail::CallState<typename Receiver::Result>>();
        state->owner = m_calls.get();
        m_calls->add(state);
        const int returned = operation(&Receiver::receive, state.get(), state->out);
        if (returned < 0) {
            m_calls->remove(state.get());
            state->fail(returned);
        } else {
            // The state outlives its canceller; a Client that was destroyed has finished the state.
            state->cancelWith([calls = std::weak_ptr<detail::Calls>(m_calls), state = state.get()] {
                const std::shared_ptr<detail::Calls> open = calls.lock();
                return open ? open->object().cancel(open->object().getContentProvider(), state->out.getReqRefernce())
                            : W::status::kNotFound;
            });
        }
        return Call<typename Receiver::Result>(state);
    }

    std::shared_ptr<detail::Calls> m_calls;
};

#if defined(__cpp_impl_coroutine)
namespace detail {

template <class T>
struct PromiseBase {
    /// Publishes the result after the coroutine's variables are destroyed.
    struct Publish {
        bool await_ready() const noexcept { return false; }
        template <class Coroutine>
        void await_suspend(Coroutine coroutine) const noexcept
        {
            const std::shared_ptr<CallState<T>> state = std::move(coroutine.promise().state);
            coroutine.destroy();
            state->finish();
        }
        void await_resume() const noexcept {}
    };

    std::shared_ptr<CallState<T>> state = std::make_shared<CallState<T>>();

    Call<T> get_return_object() { return Call<T>(state); }
    std::suspend_never initial_suspend() const noexcept { return {}; }
    Publish final_suspend() const noexcept { return {}; }
    void unhandled_exception() { state->storeError(std::current_exception()); }

    template <class Result>
    Awaiter<Result> await_transform(Call<Result>& call)
    {
        return {call.m_state, state};
    }
    template <class Result>
    Awaiter<Result> await_transform(Call<Result>&& call)
    {
        return {call.m_state, state};
    }
    template <class Other>
    Other&& await_transform(Other&& other)
    {
        return std::forward<Other>(other);
    }
};

template <class T>
struct Promise : PromiseBase<T> {
    void return_value(T value) { this->state->store(std::move(value)); }
};
template <>
struct Promise<void> : PromiseBase<void> {
    void return_void() {}
};

}  // namespace detail
#endif

}  // namespace corvane
