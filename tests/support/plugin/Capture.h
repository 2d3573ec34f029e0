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

/// One call of one operation: its status record, and what its callback got.
/// @tparam Self  the class derived from it
template <class Self>
class CallRecord {
public:
    CallRecord() = default;
    CallRecord(const CallRecord&) = delete;
    CallRecord& operator=(const CallRecord&) = delete;

    /// Expects one callback when the operation returned 0, none otherwise.
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
    void (*then)(Self& self) = nullptr;  ///< called at the end of the callback
    void* thenData = nullptr;

protected:
    ~CallRecord() { EXPECT_EQ(calls.load(), expectedCalls) << "callbacks of request kind " << out.getRequestID(); }

    void finish(int callbackStatus, UINT64 callbackReference)
    {
        status = callbackStatus;
        reference = callbackReference;
        ++calls;
        if (then != nullptr) {
            then(static_cast<Self&>(*this));
        }
    }
};

/// Keeps the results of a call. Pass `&Capture::done`, the object and `out` to the operation, and what it returns to
/// accepted().
template <class... Results>
class Capture : public CallRecord<Capture<Results...>> {
public:
    static void done(int status, Results... results, UINT64 reference, void* userData)
    {
        auto& self = *static_cast<Capture*>(userData);
        self.results = std::make_unique<std::tuple<std::decay_t<Results>...>>(results...);
        self.finish(status, reference);
    }

    template <std::size_t Index>
    const auto& result() const
    {
        return std::get<Index>(*results);
    }

    std::unique_ptr<std::tuple<std::decay_t<Results>...>> results;
};

/// Counts the callbacks of a call whose results do not matter. Converts to any callback type; the user data has to be
/// the address of a Counter.
class Counter : public CallRecord<Counter> {
public:
    struct Callback {
        template <class... Arguments>
        operator WCallback<Arguments...>() const
        {
            return [](int status, Arguments... arguments) {
                // The last two are the reference and the user data.
                const auto all = std::forward_as_tuple(arguments...);
                auto& self = *static_cast<Counter*>(std::get<sizeof...(Arguments) - 1>(all));
                self.finish(status, std::get<sizeof...(Arguments) - 2>(all));
            };
        }
    };
};

}  // namespace W::test
