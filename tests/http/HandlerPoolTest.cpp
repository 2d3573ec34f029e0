#include "HandlerPool.h"

#include <atomic>
#include <future>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace http {
namespace {

using std::chrono::steady_clock;

// Its jobs block until the gate is opened.
struct JobGate {
    std::promise<void> promise;
    std::shared_future<void> future{promise.get_future()};

    HandlerPool::Job job()
    {
        return [future = future] { future.wait(); };
    }
    void open() { promise.set_value(); }
};

TEST(HandlerPool, AddressesTakeTurns)
{
    JobGate gate;
    std::mutex lock;
    std::string order;
    const auto note = [&](char letter) {
        return [&, letter] {
            const std::lock_guard<std::mutex> guard(lock);
            order += letter;
        };
    };
    HandlerPool pool(1, 100, HandlerPool::Priority::Normal);
    ASSERT_TRUE(pool.add("z", gate.job()));
    for (int i = 0; i < 5; ++i) {
        pool.add("a", note('a'));
    }
    pool.add("b", note('b'));
    pool.add("c", note('c'));
    gate.open();
    ASSERT_TRUE(pool.drain(steady_clock::now() + std::chrono::seconds(10)));
    EXPECT_EQ(order, "abcaaaa");
}

TEST(HandlerPool, OneAddressLeavesAThreadForOthers)
{
    JobGate gate;
    HandlerPool pool(3, 100, HandlerPool::Priority::Low);
    for (int i = 0; i < 10; ++i) {
        pool.add("a", gate.job());
    }
    std::promise<void> ran;
    pool.add("b", [&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    gate.open();
    EXPECT_TRUE(pool.drain(steady_clock::now() + std::chrono::seconds(10)));
}

TEST(HandlerPool, ShortJobsOfOneAddressDoNotTakeAllProcessors)
{
    JobGate gate;
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    HandlerPool pool(8, 1000, HandlerPool::Priority::Normal, {2, std::chrono::hours(1)});
    for (int i = 0; i < 200; ++i) {
        pool.add("a", [&, opened = gate.future] {
            const int now = ++running;
            int before = most;
            while (before < now && !most.compare_exchange_weak(before, now)) {
            }
            opened.wait();
            --running;
        });
    }
    std::promise<void> ran;
    pool.add("b", [&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    gate.open();
    EXPECT_TRUE(pool.drain(steady_clock::now() + std::chrono::seconds(10)));
    EXPECT_EQ(most, 2);
}

TEST(HandlerPool, LongJobsOfOneAddressTakeAllThreadsExceptOne)
{
    JobGate gate;
    std::atomic<int> begun{0};
    std::promise<void> seventh;
    HandlerPool pool(8, 1000, HandlerPool::Priority::Normal, {2, std::chrono::milliseconds(1)});
    for (int i = 0; i < 20; ++i) {
        pool.add("a", [&, opened = gate.future] {
            if (++begun == 7) {
                seventh.set_value();
            }
            opened.wait();
        });
    }
    EXPECT_EQ(seventh.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    std::promise<void> ran;
    pool.add("b", [&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(begun, 7);
    gate.open();
    EXPECT_TRUE(pool.drain(steady_clock::now() + std::chrono::seconds(10)));
}

TEST(HandlerPool, RefusesJobsBeyondItsLimit)
{
    JobGate gate;
    HandlerPool pool(1, 2, HandlerPool::Priority::Normal);
    pool.add("a", gate.job());
    // The first one may still wait for its thread.
    int added = 0;
    while (added < 10 && pool.add("a", [] {})) {
        ++added;
    }
    EXPECT_LE(added, 2);
    EXPECT_FALSE(pool.drain(steady_clock::now() + std::chrono::milliseconds(50)));
    gate.open();
    EXPECT_TRUE(pool.drain(steady_clock::now() + std::chrono::seconds(10)));
}

}  // namespace
}  // namespace http
