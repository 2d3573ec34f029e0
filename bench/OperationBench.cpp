// The cost of an operation inside the plug-in: getSchedule() is accepted by an executor that does nothing and completed
// without a reply. The cost must not grow with the number of outstanding or earlier requests.

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <malloc.h>

#include "CountingNew.h"
#include "Plugin.h"
#include "ScheduleText.h"
#include "SectionTimer.h"

namespace W::bench {

namespace {

constexpr int kExpected = -200;  ///< status of a callback whose exchange could not connect

/// Sends a request for each element of `statuses` and completes them. @param order  their indices
/// @return whether every callback got the expected status
bool run(Plugin& plugin, NullExecutor& executor, const std::vector<std::size_t>& order, std::vector<int>& statuses)
{
    for (int& status : statuses) {
        plugin.getSchedule(status);
    }
    for (const std::size_t index : order) {
        executor.complete(index, session::kNoConnection);
    }
    executor.clear();
    const bool complete = std::all_of(statuses.begin(), statuses.end(), [](int status) { return status == kExpected; });
    std::fill(statuses.begin(), statuses.end(), 12345);
    return complete;
}

/// Ten thousand requests, `count` of them in flight at a time.
void inFlight(benchmark::State& state, std::size_t count)
{
    constexpr std::size_t kRequests = 10000;
    NullExecutor executor;
    Plugin plugin(CORVANE_LIBRARY, executor);
    plugin.learnTime(executor);
    std::vector<int> statuses(count, 12345);
    std::vector<std::size_t> order(count);
    for (std::size_t index = 0; index < count; ++index) {
        order[index] = index;
    }
    std::shuffle(order.begin(), order.end(), std::mt19937(1));

    const unsigned long before = allocations();
    for (auto _ : state) {
        for (std::size_t done = 0; done < kRequests; done += count) {
            if (!run(plugin, executor, order, statuses)) {
                return state.SkipWithError("a callback did not get the status that was expected");
            }
        }
    }
    const auto requests = static_cast<double>(state.iterations()) * kRequests;
    state.counters["allocations"] = static_cast<double>(allocations() - before) / requests;
}

/// An object that has completed a number of requests.
struct Aged {
    NullExecutor executor;
    Plugin plugin{CORVANE_LIBRARY, executor};
    std::vector<int> statuses{12345};
    double bytesPerRequest = 0;  ///< growth since request 1,000

    explicit Aged(int requests)
    {
        plugin.learnTime(executor);
        double before = 0;
        for (int number = 0; number < requests; ++number) {
            if (number == 1000) {
                before = allocated();
            }
            run(plugin, executor, {0}, statuses);
        }
        if (requests > 1000) {
            bytesPerRequest = (allocated() - before) / (requests - 1000);
        }
    }

    static double allocated()
    {
        const struct mallinfo2 state = mallinfo2();
        return static_cast<double>(state.uordblks) + static_cast<double>(state.hblkhd);
    }
};

/// Further requests of an aged object.
void after(benchmark::State& state, Aged& aged)
{
    aged.plugin.install();
    for (auto _ : state) {
        if (!run(aged.plugin, aged.executor, {0}, aged.statuses)) {
            return state.SkipWithError("a callback did not get the status that was expected");
        }
    }
    state.counters["bytes"] = aged.bytesPerRequest;
}

void after1000(benchmark::State& state)
{
    Aged aged(1000);
    after(state, aged);
}

void after1000000(benchmark::State& state)
{
    static Aged s_aged(1000000);
    after(state, s_aged);
}

/// A request and a reply of 10 KB, with the library or with one that was built without trace lines.
void traced(benchmark::State& state, const char* library, bool withReply)
{
    const std::string text = schedule(10000, 3);
    NullExecutor executor;
    Plugin plugin(library, executor);
    plugin.learnTime(executor);
    for (auto _ : state) {
        int status = 12345;
        SectionTimer timer;
        timer.start();
        plugin.getSchedule(status);
        timer.stop();
        executor.request(0).response().setHttpResponseCode(200);
        executor.request(0).response().setPayload(withReply ? text : std::string());
        timer.start();
        executor.complete(0, withReply ? session::kCompleted : session::kNoConnection);
        timer.stop();
        executor.clear();
        if (status != (withReply ? 0 : kExpected)) {
            return state.SkipWithError("the reply was not delivered");
        }
        state.SetIterationTime(timer.seconds());
    }
}

/// Enough repetitions to see a difference of one percent.
void finely(benchmark::internal::Benchmark* made)
{
    made->UseManualTime()->Repetitions(45)->MinTime(0.05)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(inFlight, 10, 10)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(inFlight, 100, 100)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(inFlight, 10000, 10000)->Unit(benchmark::kMicrosecond);
BENCHMARK(after1000)->Iterations(2000)->Repetitions(25)->Unit(benchmark::kMicrosecond);
BENCHMARK(after1000000)->Iterations(2000)->Repetitions(25)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(traced, lines, CORVANE_LIBRARY, true)->Apply(finely);
BENCHMARK_CAPTURE(traced, none, CORVANE_SILENT_LIBRARY, true)->Apply(finely);

}  // namespace
}  // namespace W::bench
