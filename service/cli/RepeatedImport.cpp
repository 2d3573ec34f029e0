#include "RepeatedImport.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <thread>

#include <fmt/format.h>
#include <unistd.h>

#include "Commands.h"

namespace corvaned {
namespace {

struct Unit {
    char letter;
    std::int64_t seconds;
};

constexpr Unit kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};

std::int64_t secondsOf(char letter)
{
    for (const Unit& unit : kUnits) {
        if (unit.letter == letter) {
            return unit.seconds;
        }
    }
    return 0;
}

void endAtOnce(int)
{
    ::_exit(kDone);
}

}  // namespace

std::optional<std::chrono::seconds> intervalOf(const std::string& text)
{
    constexpr std::int64_t kYear = 366LL * 86400;
    std::int64_t count = 0;
    const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), count);
    const bool hasUnit = read.ec == std::errc() && read.ptr + 1 == text.data() + text.size();
    const std::int64_t unit = hasUnit ? secondsOf(*read.ptr) : 0;
    if (unit == 0 || count < 1 || count > kYear / unit) {
        return std::nullopt;
    }
    return std::chrono::seconds(count * unit);
}

void repeatImport(std::chrono::seconds interval, const std::function<void()>& import)
{
    constexpr int kSteps = 64;
    const auto shortest = std::max(interval / kSteps, std::chrono::seconds(1));
    (void)std::signal(SIGTERM, &endAtOnce);
    (void)std::signal(SIGINT, &endAtOnce);
    std::chrono::seconds pause = shortest;
    while (true) {
        try {
            import();
            pause = shortest;
            std::fflush(stdout);
            std::this_thread::sleep_for(interval);
        } catch (const std::exception& error) {
            fmt::print(stderr, "corvaned: {}\ncorvaned: trying again in {} s\n", error.what(), pause.count());
            std::this_thread::sleep_for(pause);
            pause = std::min(2 * pause, interval);
        }
    }
}

}  // namespace corvaned
