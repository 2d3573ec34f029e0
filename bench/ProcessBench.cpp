// One sample of what only a whole process shows; bench/run takes many and their medians. Prints wall microseconds,
// processor microseconds and peak kilobytes of what is named:
//
//     process_bench parse SIZE CHANNELS     the JSON library's parse of a schedule, first call; memory above the text
//     process_bench deliver SIZE CHANNELS   the same text delivered by the plug-in
//     process_bench load                    dlopen and createPlugin, in a host with a running executor
//     process_bench run COMMAND...          a program of its own, whose output is dropped; fails when it does

#include "BareParse.h"
#include "CurlExecutor.h"
#include "Plugin.h"
#include "ScheduleText.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

namespace W::bench {

namespace {

struct Sample {
    double wallSeconds = 0;
    double processorSeconds = 0;
    long peakKilobytes = 0;
};

using Clock = std::chrono::steady_clock;

double processorSeconds(const rusage& usage)
{
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return processorSeconds(usage);
}

/// A line of /proc/self/status, in kilobytes.
long statusLine(const char* name)
{
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(name, 0) == 0)
            return std::strtol(line.c_str() + std::strlen(name) + 1, nullptr, 10);
    }
    throw std::runtime_error("/proc/self/status has no such line");
}

/// Samples a call, with the memory that it needs at most above what is there before.
template <class Call>
Sample sample(Call call)
{
    // Makes what is resident now the peak so far.
    std::ofstream("/proc/self/clear_refs") << "5";
    const long before = statusLine("VmRSS");
    const double processorBefore = processorSeconds();
    const Clock::time_point begin = Clock::now();
    call();
    Sample result;
    result.wallSeconds = std::chrono::duration<double>(Clock::now() - begin).count();
    result.processorSeconds = processorSeconds() - processorBefore;
    result.peakKilobytes = statusLine("VmHWM") - before;
    return result;
}

Sample parse(std::size_t size, int channels)
{
    const std::string text = schedule(size, channels);
    return sample([&] { bareParse(text); });
}

Sample deliver(std::size_t size, int channels)
{
    NullExecutor executor;
    Plugin plugin(CORVANE_LIBRARY, executor);
    plugin.learnTime(executor);
    int status = 12345;
    plugin.getSchedule(status);
    executor.request(0).response().setHttpResponseCode(200);
    executor.request(0).response().setPayload(schedule(size, channels));
    const Sample result = sample([&] { executor.complete(0, session::kCompleted); });
    if (status != 0)
        throw std::runtime_error("the reply was not delivered");
    return result;
}

Sample load()
{
    host::installHttpDelegator(new host::CurlExecutor);
    WPlugin* made = nullptr;
    host::PluginLibrary* library = nullptr;
    const Sample result = sample([&] {
        library = new host::PluginLibrary(CORVANE_LIBRARY);
        made = library->create().release();
    });
    if (made == nullptr)
        throw std::runtime_error("there is no object");
    return result;
}

Sample run(char** command)
{
    const Clock::time_point begin = Clock::now();
    const pid_t child = fork();
    if (child < 0)
        throw std::runtime_error("cannot start a process");
    if (child == 0) {
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, STDOUT_FILENO);
        execv(command[0], command);
        std::perror(command[0]);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    Sample result;
    result.wallSeconds = std::chrono::duration<double>(Clock::now() - begin).count();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error(std::string(command[0]) + " failed");
    result.processorSeconds = processorSeconds(usage);
    result.peakKilobytes = usage.ru_maxrss;
    return result;
}

Sample sampleOf(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "load" && argc == 2)
        return load();
    if (what == "run" && argc > 2)
        return run(argv + 2);
    if ((what == "parse" || what == "deliver") && argc == 4) {
        const std::size_t size = std::strtoul(argv[2], nullptr, 10);
        const int channels = std::atoi(argv[3]);
        if (size > 0 && channels > 0)
            return what == "parse" ? parse(size, channels) : deliver(size, channels);
    }
    throw std::runtime_error("usage: process_bench parse|deliver SIZE CHANNELS | load | run COMMAND...");
}

}  // namespace
}  // namespace W::bench

int main(int argc, char** argv)
{
    try {
        const W::bench::Sample sample = W::bench::sampleOf(argc, argv);
        std::printf("%.0f %.0f %ld\n", sample.wallSeconds * 1e6, sample.processorSeconds * 1e6, sample.peakKilobytes);
        return 0;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "process_bench: %s\n", problem.what());
        return 1;
    }
}
