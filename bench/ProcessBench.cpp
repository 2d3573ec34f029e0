// One sample of a measurement that needs a new process; bench/run takes medians of many. Prints wall microseconds,
// processor microseconds and peak kilobytes of:
//
//     process_bench parse SIZE CHANNELS     the JSON library's parse of a schedule, first call; memory above the body
//     process_bench deliver SIZE CHANNELS   the same body delivered by the plug-in
//     process_bench run COMMAND...          another program, whose output is discarded; fails if it fails

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "BareParse.h"
#include "Plugin.h"
#include "Sample.h"
#include "ScheduleBody.h"

namespace W::bench {

namespace {

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
    if (status != 0) {
        throw std::runtime_error("the reply was not delivered");
    }
    return result;
}

Sample run(char** command)
{
    const Clock::time_point begin = Clock::now();
    const pid_t child = fork();
    if (child < 0) {
        throw std::runtime_error("cannot start a process");
    }
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
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(std::string(command[0]) + " failed");
    }
    result.processorSeconds = processorSeconds(usage);
    result.peakKilobytes = usage.ru_maxrss;
    return result;
}

Sample sampleOf(int argc, char** argv)
{
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "run" && argc > 2) {
        return run(argv + 2);
    }
    if ((what == "parse" || what == "deliver") && argc == 4) {
        const std::size_t size = std::strtoul(argv[2], nullptr, 10);
        const int channels = std::atoi(argv[3]);
        if (size > 0 && channels > 0) {
            return what == "parse" ? parse(size, channels) : deliver(size, channels);
        }
    }
    throw std::runtime_error("usage: process_bench parse|deliver SIZE CHANNELS | run COMMAND...");
}

}  // namespace
}  // namespace W::bench

int main(int argc, char** argv)
{
    return W::bench::print("process_bench", [&] { return W::bench::sampleOf(argc, argv); });
}
