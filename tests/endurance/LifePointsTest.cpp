// Cancelling and destroying at every point of a request's life. A point is an allocation, a release or the taking of a
// lock by the thread in which the request is built or delivered. At that point another thread cancels the request or
// destroys the object: once while the first thread waits until that is done or blocked by it, and once concurrently.
// No result depends on a time-out.

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>

#include "Allocations.h"
#include "Calls.h"
#include "CommandedExecutor.h"
#include "Configuration.h"
#include "GoodReplies.h"
#include "LongForm.h"
#include "VorelService.h"

extern "C" {
W::WPlugin* createPlugin();
void destroyPlugin(W::WPlugin* plugin);

// The plug-in calls sync() after a cancelled download. It is slow and not tested here.
void sync() noexcept {}

// The linker replaces pthread_mutex_lock() by the second.
int __real_pthread_mutex_lock(pthread_mutex_t* mutex);  // NOLINT(bugprone-reserved-identifier)
int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex);  // NOLINT(bugprone-reserved-identifier)
}

namespace W::test {
namespace {

/// Whether a thread continues while the other one acts.
enum class Beside {
    No,
    Yes
};

/// Counts the points that a thread passes and lets another thread act at one of them.
class Points final : public AllocationWatch {
public:
    /// @param at  number of the point at which `act` runs; 0 for none
    Points(long at, Beside beside, std::function<void()> act)
        : m_at(at), m_goOn(beside == Beside::Yes), m_act(std::move(act))
    {}
    ~Points() override { join(); }

    bool onAllocate() override
    {
        pass();
        return true;
    }
    void onRelease() override { pass(); }
    void pass()
    {
        if (++m_seen == m_at) {
            interrupt();
        }
    }

    /// Lets the interrupted thread continue, because this thread has to wait for it.
    void letGo() { m_goOn = true; }
    void join()
    {
        if (m_actor.joinable()) {
            m_actor.join();
        }
    }
    long seen() const { return m_seen; }

    static thread_local Points* ofThread;      ///< counts this thread's points
    static thread_local Points* interrupting;  ///< the thread that waits for this one

private:
    void interrupt()
    {
        const UnwatchedThread alone;
        m_actor = std::thread([this] {
            interrupting = this;
            m_act();
            interrupting = nullptr;
            letGo();
        });
        while (!m_goOn) {
            std::this_thread::yield();
        }
    }

    const long m_at;
    std::atomic<bool> m_goOn;
    std::function<void()> m_act;
    long m_seen = 0;
    std::thread m_actor;
};

thread_local Points* Points::ofThread = nullptr;
thread_local Points* Points::interrupting = nullptr;

/// Counts a thread's points as long as the object lives.
class Counted {
public:
    explicit Counted(Points& points) : m_watched(points) { Points::ofThread = &points; }
    ~Counted() { Points::ofThread = nullptr; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;

private:
    WatchedThread m_watched;
};

enum class Action {
    Cancel,
    Destroy
};

struct LifePoints : ::testing::TestWithParam<vorel::Operation> {
    LifePoints()
    {
        for (const auto& [key, value] : allOptions()) {
            configuration.set(key, value, "test");
        }
        host::installConfigManager(&configuration);
        executor.onFlushWaits = [] {
            if (Points::interrupting != nullptr) {
                Points::interrupting->letGo();
            }
        };
    }
    ~LifePoints() override { host::installConfigManager(nullptr); }

    /// One life with an action at a point. @return the number of points
    long live(Action action, long at, Beside beside)
    {
        auto* object = static_cast<WVorelOAI*>(createPlugin());
        openSession(*object);
        setClock(*object);
        Counter counter;
        std::atomic<bool> responded{false};
        std::atomic<bool> gone{false};
        bool mustBe600 = false;
        struct Observed {
            std::atomic<bool>* gone;
            bool calledAfterwards = false;
        } seen{&gone};
        counter.thenData = &seen;
        counter.then = [](Counter& self) {
            auto& noted = *static_cast<Observed*>(self.thenData);
            noted.calledAfterwards = noted.calledAfterwards || *noted.gone;
        };

        const auto act = [&] {
            if (action == Action::Destroy) {
                destroyPlugin(object);
                gone = true;
                return;
            }
            // The first reference of an object is 1, even before the operation has returned it.
            const int answer = object->cancel(object->getContentProvider(), 1);
            EXPECT_TRUE(answer == status::kCancelled || answer == status::kNotFound ||
                        answer == status::kNotCancellable)
                << answer;
            EXPECT_EQ(answer == status::kNotCancellable,
                      answer != status::kNotFound && row.cancel == vorel::Cancel::No);
            mustBe600 = answer == status::kCancelled && !responded;
        };
        Points points(at, beside, act);
        responding = &responded;

        int returned = 0;
        const auto issue = [&] { returned = callOf(row.key).call(*object, counter); };
        // A host must not destroy an object while one of its operations runs.
        if (action == Action::Cancel) {
            const Counted counted(points);
            issue();
        } else {
            issue();
        }
        EXPECT_EQ(returned, 0);
        std::thread delivery([&] {
            const ExchangeOutcome outcome{session::kCompleted, 200, goodReply(row.key)};
            const Counted counted(points);
            executor.completeIfPending(executor.last(), outcome);
        });
        delivery.join();
        points.join();

        EXPECT_FALSE(seen.calledAfterwards) << "a callback began after destroyPlugin had returned";
        EXPECT_LE(counter.calls, 1);
        if (action == Action::Cancel || at == 0) {
            EXPECT_EQ(counter.calls, 1);
        }
        if (mustBe600) {
            EXPECT_EQ(counter.status, status::kCancelled);
        }
        counter.expectedCalls = counter.calls;
        if (!gone) {
            EXPECT_EQ(object->commandCount(), 0u);
            EXPECT_EQ(object->service()->requestCount(), 0u);
            EXPECT_EQ(object->service()->argsCount(), 0u);
            destroyPlugin(object);
        }
        EXPECT_EQ(executor.pendingCount(), 0u);
        return points.seen();
    }

    void walk(Action action, const char* name)
    {
        live(action, 0, Beside::No);  // fills caches
        const long all = live(action, 0, Beside::No);
        EXPECT_GT(all, 10);
        // The short form skips points.
        const long step = shortOrLong(1 + all / 12, 1L);
        // Short lives are repeated: concurrent threads meet differently each time.
        for (long made = 0; made < shortOrLong(12L, 100L);) {
            for (const Beside beside : {Beside::No, Beside::Yes}) {
                for (long at = 1 + static_cast<long>(random.below(static_cast<std::size_t>(step))); at <= all;
                     at += step) {
                    SCOPED_TRACE(std::string(row.name) + ", " + name + " at point " + std::to_string(at) + " of " +
                                 std::to_string(all) + (beside == Beside::Yes ? ", beside it" : ""));
                    live(action, at, beside);
                    ++lives[action];
                    ++made;
                    if (HasFailure()) {
                        return;
                    }
                }
            }
        }
        fewest[action] = std::min(fewest.count(action) != 0 ? fewest[action] : all, all);
    }

    static void TearDownTestSuite()
    {
        for (const Action action : {Action::Cancel, Action::Destroy}) {
            const std::string name = action == Action::Cancel ? "cancelled" : "destroyed";
            figure("requests " + name + " at a point of their lives", static_cast<double>(lives[action]));
            figure("  points of the shortest life", static_cast<double>(fewest[action]));
        }
    }

    static inline std::map<Action, long> lives;
    static inline std::map<Action, long> fewest;
    static inline std::atomic<bool>* responding = nullptr;
    const vorel::Operation row = GetParam();
    Random random{seed() + row.key};
    host::Configuration configuration;
    CommandedExecutor executor{0, [](const HttpRequest&) {
                                   Plan plan;
                                   plan.responded = responding;
                                   return plan;
                               }};
};

TEST_P(LifePoints, CancelledAtAny)
{
    walk(Action::Cancel, "cancel");
}

TEST_P(LifePoints, DestroyedAtAny)
{
    walk(Action::Destroy, "destroy");
}

INSTANTIATE_TEST_SUITE_P(Operations, LifePoints, ::testing::ValuesIn(vorel::kOperations),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace W::test

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex)
{
    using W::test::Points;
    if (Points::ofThread != nullptr) {
        Points::ofThread->pass();
    }
    if (Points::interrupting == nullptr) {
        return __real_pthread_mutex_lock(mutex);
    }
    if (pthread_mutex_trylock(mutex) == 0) {
        return 0;
    }
    // The thread that waits for this one may hold the mutex.
    Points::interrupting->letGo();
    return __real_pthread_mutex_lock(mutex);
}
