// Growth over many requests: memory, registered requests, descriptors, threads, and time per request.

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Calls.h"
#include "CommandedExecutor.h"
#include "Configuration.h"
#include "CurlExecutor.h"
#include "Debug.h"
#include "GoodReplies.h"
#include "LongForm.h"
#include "Process.h"
#include "ServerProcess.h"
#include "VorelService.h"

namespace {

long theSyncs = 0;

}  // namespace

// The plug-in calls sync() after a cancelled download. The real one takes longer than everything else here.
extern "C" void sync() noexcept
{
    ++theSyncs;
}

namespace W::test {
namespace {

constexpr bool kMeasures = !kIsSanitized;
constexpr std::size_t kShort = kIsSanitized ? 10'000 : 100'000;

constexpr double kMostGrowth = 1'000'000;  // bytes
constexpr double kMostCrowdedCost = 2.0;
constexpr double kMostAgedCost = 1.1;
constexpr double kMostAgedCostInShort = 1.5;  // few samples: on a busy machine their medians differ by a tenth
constexpr int kSamples = 20;

/// Processor time of this thread, in seconds.
double processorTime()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// A copy of this process at the time of construction, which measures on request.
class YoungProcess {
public:
    /// Call it while the process has one thread.
    explicit YoungProcess(const std::function<double()>& cost)
    {
        int orders[2] = {-1, -1};
        int results[2] = {-1, -1};
        EXPECT_EQ(::pipe2(orders, O_CLOEXEC) | ::pipe2(results, O_CLOEXEC), 0);
        m_id = ::fork();
        if (m_id == 0) {
            ::close(orders[1]);
            for (char order = 0; ::read(orders[0], &order, 1) == 1;) {
                const double result = cost();
                if (::write(results[1], &result, sizeof result) != sizeof result) {
                    break;
                }
            }
            ::_exit(0);
        }
        ::close(orders[0]);
        ::close(results[1]);
        m_orders = orders[1];
        m_results = results[0];
        measure();  // copies the memory that both share until one of them writes to it
    }
    ~YoungProcess()
    {
        ::close(m_orders);
        ::close(m_results);
        ::waitpid(m_id, nullptr, 0);
    }
    YoungProcess(const YoungProcess&) = delete;
    YoungProcess& operator=(const YoungProcess&) = delete;

    double measure() const
    {
        double result = 0;
        EXPECT_EQ(::write(m_orders, "", 1), 1);
        EXPECT_EQ(::read(m_results, &result, sizeof result), static_cast<ssize_t>(sizeof result));
        return result;
    }

private:
    pid_t m_id = -1;
    int m_orders = -1;
    int m_results = -1;
};

struct Growth : ::testing::Test {
    Growth()
    {
        for (const auto& [key, value] : allOptions()) {
            configuration.set(key, value, "test");
        }
        host::installConfigManager(&configuration);
        host::setDebugLevel(0);
    }
    ~Growth() override
    {
        host::setDebugLevel(1);
        host::installConfigManager(nullptr);
    }

    host::Configuration configuration;
};

/// Requests that the test completes.
struct GrowthOfThePlugin : Growth {
    struct InFlight {
        Counter counter;
        HttpRequest* request = nullptr;
        unsigned int key = 0;
    };

    GrowthOfThePlugin()
    {
        openSession(object);
        setClock(object);
    }

    void issue(InFlight& flight, unsigned int key)
    {
        flight.key = key;
        ASSERT_EQ(flight.counter.accepted(callOf(key).call(object, flight.counter)), 0);
        flight.request = executor.last();
    }
    void complete(const InFlight& flight)
    {
        ExchangeOutcome outcome{session::kCompleted, 200, goodReply(flight.key)};
        const std::size_t what = random.below(20);
        if (what == 0) {
            outcome.status = session::kBrokeOff;
        } else if (what == 1) {
            outcome.code = 500;
        } else if (what == 2) {
            outcome.body = "<html>";
        } else if (what == 3) {
            object.cancel(object.getContentProvider(), flight.counter.out.getReqRefernce());
        }
        executor.complete(flight.request, outcome);
    }
    void expectNothingLeft()
    {
        EXPECT_EQ(object.commandCount(), 0u);
        EXPECT_EQ(object.service()->requestCount(), 0u);
        EXPECT_EQ(object.service()->argsCount(), 0u);
    }

    /// Microseconds of processor time per request, of 10,000 requests of one kind.
    /// @param inFlight  how many are in flight at a time; they complete in random order
    double cost(std::size_t inFlight)
    {
        constexpr unsigned int kKey = 18;
        constexpr std::size_t kRequests = 10'000;
        double spent = 0;
        for (std::size_t done = 0; done < kRequests; done += inFlight) {
            std::deque<InFlight> flights(inFlight);
            std::vector<std::size_t> order(inFlight);
            for (std::size_t index = 0; index < inFlight; ++index) {
                order[index] = index;
            }
            for (std::size_t index = inFlight - 1; index > 0; --index) {
                std::swap(order[index], order[random.below(index + 1)]);
            }
            const double begin = processorTime();
            for (InFlight& flight : flights) {
                issue(flight, kKey);
            }
            for (const std::size_t index : order) {
                executor.complete(flights[index].request, {session::kCompleted, 200, goodReply(kKey)});
            }
            spent += processorTime() - begin;
        }
        return spent / kRequests * 1e6;
    }

    Random random{seed()};
    CommandedExecutor executor;
    WVorelOAI object;
};

TEST_F(GrowthOfThePlugin, AMillionRequestsLeaveNothing)
{
    const std::size_t all = shortOrLong<std::size_t>(kShort, 1'000'000);
    constexpr std::size_t kInFlight = 50;
    std::array<std::optional<InFlight>, kInFlight> flights;
    std::size_t memory = 0;
    const std::size_t descriptors = descriptorsOfProcess();
    const std::size_t threads = threadsOfProcess();
    for (std::size_t number = 0; number < all; ++number) {
        std::optional<InFlight>& flight = flights[random.below(kInFlight)];
        if (flight) {
            complete(*flight);
        }
        flight.emplace();
        issue(*flight, vorel::kFirstKey + static_cast<unsigned int>(number % vorel::kOperationCount));
        // Successful replies to getAuthSeedkey() and getLocalTime() replace the session and the time.
        if (number % 1000 == 0) {
            openSession(object);
        }
        if (number == all / 10) {
            memory = residentBytes();
        }
        if (HasFailure()) {
            return;
        }
    }
    for (std::optional<InFlight>& flight : flights) {
        if (flight) {
            complete(*flight);
        }
    }
    const double grown = static_cast<double>(residentBytes()) - static_cast<double>(memory);
    expectNothingLeft();
    EXPECT_EQ(descriptorsOfProcess(), descriptors);
    EXPECT_EQ(threadsOfProcess(), threads);
    EXPECT_GT(theSyncs, 0) << "sync() was not replaced";
    figure("requests in one process", static_cast<double>(all));
    if (kMeasures) {
        figure("  resident bytes that they added after the first tenth", grown);
        EXPECT_LE(grown, kMostGrowth);
    }
}

TEST_F(GrowthOfThePlugin, ARequestInACrowdCostsAtMostTwice)
{
    if (!kMeasures) {
        cost(1000);
        return expectNothingLeft();
    }
    cost(10'000);
    Distribution few;
    Distribution many;
    // In turns, so that both meet the same machine.
    for (int sample = 0; sample < kSamples; ++sample) {
        few.add(cost(10));
        many.add(cost(10'000));
    }
    const double ratio = many.percentile(50) / few.percentile(50);
    figure("microseconds of a request with 10 in flight", few);
    figure("  with 10,000 in flight, completed in random order", many);
    figure("  ratio of the medians", ratio);
    EXPECT_LE(ratio, kMostCrowdedCost);
    expectNothingLeft();
}

TEST_F(GrowthOfThePlugin, ARequestAfterAMillionCostsTheSame)
{
    const std::size_t all = shortOrLong<std::size_t>(kShort, 1'000'000);
    cost(10);
    YoungProcess young([this] { return cost(10); });
    for (std::size_t done = 0; done < all; done += 10'000) {
        cost(10);
    }
    Distribution before;
    Distribution after;
    // In turns, so that both meet the same machine.
    for (int sample = 0; sample < kSamples; ++sample) {
        before.add(young.measure());
        after.add(cost(10));
    }
    expectNothingLeft();
    const double ratio = after.percentile(50) / before.percentile(50);
    figure("microseconds of a request after ten thousand", before);
    figure("  after " + std::to_string(all), after);
    figure("  ratio of the medians", ratio);
    if (kMeasures) {
        EXPECT_LE(ratio, shortOrLong(kMostAgedCostInShort, kMostAgedCost));
    }
}

/// Reads no bodies and keeps no requests.
void answerHeads(host::RawServer::RawConnection& connection)
{
    for (;;) {
        connection.readHead();
        connection.answer(R"({"rsp":{"stat":"OK"}})");
    }
}

/// Counts outstanding callbacks.
struct Tally {
    std::mutex lock;
    std::condition_variable changed;
    std::size_t outstanding = 0;
};

TEST_F(Growth, OfTheRealExecutorStops)
{
    const ServerProcess server(answerHeads);
    configuration.set("vorel_base_url", server.url(), "test");
    host::CurlExecutor executor;
    host::installHttpDelegator(&executor);
    const std::size_t all = shortOrLong<std::size_t>(kMeasures ? 10'000 : 2000, 300'000);
    constexpr std::size_t kInFlight = 32;
    std::vector<unsigned int> keys;
    for (const vorel::Operation& operation : vorel::kOperations) {
        // Except those whose replies change the session or the time.
        if (operation.verb == vorel::Verb::Get && operation.session == vorel::Session::Needed) {
            keys.push_back(operation.key);
        }
    }
    std::size_t memory = 0;
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    {
        WVorelOAI object;
        openSession(object);
        setClock(object);
        static Tally tally;
        std::array<std::optional<Counter>, kInFlight> counters;
        for (std::size_t done = 0; done < all; done += kInFlight) {
            tally.outstanding = kInFlight;
            for (std::size_t index = 0; index < kInFlight; ++index) {
                Counter& counter = counters[index].emplace();
                counter.then = [](Counter& /*self*/) {
                    const std::lock_guard<std::mutex> hold(tally.lock);
                    --tally.outstanding;
                    tally.changed.notify_all();
                };
                ASSERT_EQ(counter.accepted(callOf(keys[(done + index) % keys.size()]).call(object, counter)), 0);
            }
            std::unique_lock<std::mutex> hold(tally.lock);
            ASSERT_TRUE(tally.changed.wait_for(hold, std::chrono::seconds(60), [] { return tally.outstanding == 0; }));
            hold.unlock();
            if (done % 1000 < kInFlight) {
                openSession(object);
                setClock(object);
            }
            if (memory == 0 && done >= all / 10) {
                memory = residentBytes();
                descriptors = descriptorsOfProcess();
                threads = threadsOfProcess();
            }
        }
        const double grown = static_cast<double>(residentBytes()) - static_cast<double>(memory);
        figure("requests through the real executor", static_cast<double>(all));
        // Connections come and go; a leak would grow with the number of requests.
        EXPECT_LE(descriptorsOfProcess(), descriptors + 2 * kInFlight);
        EXPECT_LE(threadsOfProcess(), threads + kInFlight);
        if (kMeasures) {
            figure("  resident bytes that they added after the first tenth", grown);
            EXPECT_LE(grown, kMostGrowth);
        }
    }
    executor.stop();
    host::installHttpDelegator(nullptr);
}

}  // namespace
}  // namespace W::test
