// Runs the benchmarks in random order, so that other load on the machine affects all of them alike, and takes medians.
// For people a table goes to standard error; for bench/run one line per figure, its name and value, to standard output.
//
//     corvane_bench [--benchmark_filter=REGEX] [other options of Google Benchmark]

#include <cmath>
#include <cstdio>
#include <iostream>
#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <curl/curl.h>

#include "LoopbackServer.h"

namespace W::bench {

namespace {

enum class FigureKind {
    Ratio,     ///< of two benchmarks' times
    Percent,   ///< the same, in hundredths
    Exponent,  ///< of the growth from one to the other, which is twenty times as large
    Milliseconds,
    Bytes,  ///< the benchmark's counter of that name
};

/// One row of bench/figures.
struct Figure {
    const char* name;
    FigureKind kind;
    const char* benchmark;
    const char* comparedWith = nullptr;
    double parts = 1;  ///< equal pieces of work in the benchmark's iteration, over the other one's
};

constexpr Figure kFigures[] = {
    {"delivery", FigureKind::Ratio, "deliver/1MB", "parse/1MB"},
    {"delivery-small", FigureKind::Ratio, "deliver/10KB", "parse/10KB"},
    {"delivery-growth", FigureKind::Exponent, "deliver/20MB", "deliver/1MB"},
    {"request", FigureKind::Percent, "inFlight/10", "easy", 10000},
    // The cost of a request depends on whether other work keeps the processors awake. If they sleep between packets,
    // the parse of 10 KB costs as much as five requests; the parse costs the same on a busy machine.
    {"request-by-parse", FigureKind::Percent, "inFlight/10", "parse/10KB", 10000 / 5.0},
    {"request-in-crowd", FigureKind::Ratio, "inFlight/10000", "inFlight/10"},
    {"request-late", FigureKind::Ratio, "after1000000", "after1000"},
    {"request-leftover", FigureKind::Bytes, "after1000000"},
    {"executor-1", FigureKind::Ratio, "executor/1", "multi/1"},
    {"executor-8", FigureKind::Ratio, "executor/8", "multi/8"},
    {"executor-64", FigureKind::Ratio, "executor/64", "multi/64"},
    {"trace-off", FigureKind::Ratio, "traced/lines", "traced/none"},
    {"record-size", FigureKind::Bytes, "record"},
    {"cancel", FigureKind::Milliseconds, "cancel"},
    {"destroy", FigureKind::Milliseconds, "destroyOutstanding"},
};

/// Collects the medians.
class Reporter : public benchmark::ConsoleReporter {
public:
    Reporter() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            m_failed = m_failed || run.error_occurred;
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
                m_medians[run.run_name.function_name] = run;
            }
        }
    }

    void printFigures() const
    {
        for (const Figure& figure : kFigures) {
            const auto measured = m_medians.find(figure.benchmark);
            const auto other = m_medians.find(figure.comparedWith != nullptr ? figure.comparedWith : figure.benchmark);
            if (measured != m_medians.end() && other != m_medians.end()) {
                std::printf("%s\t%.4f\n", figure.name, value(figure, measured->second, other->second));
            }
        }
    }

    bool hasFailed() const { return m_failed; }

private:
    /// In microseconds.
    static double time(const Run& run)
    {
        return run.run_name.time_type == "manual_time" ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
    }

    static double value(const Figure& figure, const Run& run, const Run& other)
    {
        switch (figure.kind) {
            case FigureKind::Ratio:
                return time(run) / time(other) / figure.parts;
            case FigureKind::Percent:
                return 100 * time(run) / time(other) / figure.parts;
            case FigureKind::Exponent:
                return std::log(time(run) / time(other)) / std::log(20.0);
            case FigureKind::Milliseconds:
                return time(run) / 1000;
            case FigureKind::Bytes:
                return run.counters.at("bytes");
        }
        return 0;
    }

    std::map<std::string, Run> m_medians;
    bool m_failed = false;
};

}  // namespace
}  // namespace W::bench

int main(int argc, char** argv)
{
    W::bench::LoopbackServer::instance();
    curl_global_init(CURL_GLOBAL_DEFAULT);
    // Options of the command line come later and take precedence.
    static char s_options[][64] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=9",
                                   "--benchmark_display_aggregates_only=true", "--benchmark_min_time=0.2"};
    std::vector<char*> arguments = {argv[0]};
    for (auto& option : s_options) {
        arguments.push_back(option);
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    W::bench::Reporter reporter;
    reporter.SetOutputStream(&std::cerr);
    if (benchmark::RunSpecifiedBenchmarks(&reporter) == 0 || reporter.hasFailed()) {
        return 1;
    }
    reporter.printFigures();
    return 0;
}
