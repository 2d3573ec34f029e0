// Compares the delivery of a reply, up to the container that the callback gets, with the JSON library's parse of the
// same reply, and measures the memory of the container.

#include <list>

#include <benchmark/benchmark.h>

#include "BareParse.h"
#include "CountingNew.h"
#include "Plugin.h"
#include "ScheduleText.h"
#include "SectionTimer.h"

namespace W::bench {

namespace {

struct MeasuredText {
    std::size_t size;
    int channels;
};
constexpr MeasuredText k10KB{10000, 3};
constexpr MeasuredText k1MB{1000000, 40};
constexpr MeasuredText k20MB{20000000, 200};

void parse(benchmark::State& state, MeasuredText wanted)
{
    const std::string text = schedule(wanted.size, wanted.channels);
    for (auto _ : state) {
        SectionTimer timer;
        timer.start();
        bareParse(text);
        timer.stop();
        state.SetIterationTime(timer.seconds());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// Times the executor's complete(): trampoline, parse, callback, clean-up.
void deliver(benchmark::State& state, MeasuredText wanted)
{
    const std::string text = schedule(wanted.size, wanted.channels);
    NullExecutor executor;
    Plugin plugin(CORVANE_LIBRARY, executor);
    plugin.learnTime(executor);
    for (auto _ : state) {
        int status = 12345;
        plugin.getSchedule(status);
        executor.request(0).response().setHttpResponseCode(200);
        executor.request(0).response().setPayload(text);
        SectionTimer timer;
        timer.start();
        executor.complete(0, session::kCompleted);
        timer.stop();
        executor.clear();
        if (status != 0) {
            return state.SkipWithError("the reply was not delivered");
        }
        state.SetIterationTime(timer.seconds());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// A programme with a poster, two genres and its own channel. Its strings are so short that they allocate nothing.
void record(benchmark::State& state)
{
    unsigned long bytes = 0;
    for (auto _ : state) {
        const unsigned long before = allocatedBytes();
        WVLContent content;
        content.setID("SH00000001");
        content.setTitle("Evening");
        content.setDuration(30);
        WVLChannel channel;
        channel.setSource("101");
        channel.setName("Channel 1");
        content.setChannel(std::move(channel));
        std::list<WVLImage> poster(1);
        poster.front().setURL("http://img/1");
        content.setPoster(std::move(poster));
        std::list<WVLGenre> genres(2);
        for (WVLGenre& genre : genres) {
            genre.setGenreID("g1");
        }
        content.setGenrelist(std::move(genres));
        bytes = sizeof content + allocatedBytes() - before;
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void manual(benchmark::internal::Benchmark* made)
{
    made->UseManualTime()->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(parse, 10KB, k10KB)->Apply(manual);
BENCHMARK_CAPTURE(deliver, 10KB, k10KB)->Apply(manual);
BENCHMARK_CAPTURE(parse, 1MB, k1MB)->Apply(manual);
BENCHMARK_CAPTURE(deliver, 1MB, k1MB)->Apply(manual);
BENCHMARK_CAPTURE(parse, 20MB, k20MB)->Apply(manual);
BENCHMARK_CAPTURE(deliver, 20MB, k20MB)->Apply(manual);
BENCHMARK(record)->Iterations(1);

}  // namespace
}  // namespace W::bench
