// Records the results of a callback, and fails the test unless an accepted request is answered exactly once.
#pragma once

#include <atomic>
#include <memory>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>

#include "WCorvaneOAI.h"
#include "WRequestStatus.h"

namespace W::test {

template <class... Arguments>
using WCallback = void (*)(int, Arguments...);

/// A status record that counts how often it is written.
class CountingStatus final : public WRequestStatus {
public:
    void setRequestID(unsigned int kind) override
    {
        ++writes;
        WRequestStatus::setRequestID(kind);
    }

    int writes = 0;
};

/// One call of one operation. Pass `&Capture::done`, the object and `out` to the operation, and what it returns to
/// accepted().
template <class... Results>
class Capture {
public:
    Capture() = default;
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    ~Capture() { EXPECT_EQ(calls.load(), expectedCalls) << "callbacks of request kind " << out.getRequestID(); }

    static void done(int status, Results... results, UINT64 reference, void* userData)
    {
        auto& self = *static_cast<Capture*>(userData);
        self.status = status;
        self.results = std::make_unique<std::tuple<std::decay_t<Results>...>>(results...);
        self.reference = reference;
        ++self.calls;
        if (self.then != nullptr) {
            self.then(self);
        }
    }

    /// Expects one callback when the operation returned 0, none otherwise.
    int accepted(int returned)
    {
        expectedCalls = returned == 0 ? 1 : 0;
        return returned;
    }

    template <std::size_t Index>
    const auto& result() const
    {
        return std::get<Index>(*results);
    }

    CountingStatus out;
    std::atomic<int> calls{0};
    int expectedCalls = 0;
    int status = 12345;
    UINT64 reference = 0;
    std::unique_ptr<std::tuple<std::decay_t<Results>...>> results;
    void (*then)(Capture& self) = nullptr;  ///< called at the end of the callback
    void* thenData = nullptr;
};

/// Counts the callbacks of a call whose results do not matter. Converts to any callback type; the user data has to be
/// the address of a Counter.
class Counter {
public:
    Counter() = default;
    Counter(const Counter&) = delete;
    Counter& operator=(const Counter&) = delete;
    ~Counter() { EXPECT_EQ(calls.load(), expectedCalls) << "callbacks of request kind " << out.getRequestID(); }

    struct Callback {
        template <class... Arguments>
        operator WCallback<Arguments...>() const
        {
            return [](int status, Arguments... arguments) {
                // The last two are the reference and the user data.
                const auto all = std::forward_as_tuple(arguments...);
                auto& self = *static_cast<Counter*>(std::get<sizeof...(Arguments) - 1>(all));
                self.status = status;
                self.reference = std::get<sizeof...(Arguments) - 2>(all);
                ++self.calls;
                if (self.then != nullptr) {
                    self.then(self);
                }
            };
        }
    };

    int accepted(int returned)
    {
        expectedCalls = returned == 0 ? 1 : 0;
        return returned;
    }

    CountingStatus out;
    std::atomic<int> calls{0};
    int expectedCalls = 0;
    int status = 12345;
    UINT64 reference = 0;
    void (*then)(Counter& self) = nullptr;  ///< called at the end of the callback
    void* thenData = nullptr;
};

}  // namespace W::test
