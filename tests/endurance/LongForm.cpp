#include "LongForm.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include <gtest/gtest.h>
#include <unistd.h>

namespace W::test {

namespace {

/// Seconds. The short form takes a few on a quiet machine and a minute or two in an emulator.
constexpr unsigned kLongestShortForm = 900;
constexpr unsigned kLongestLongForm = 4 * 3600;

void endOfPatience(int /*signal*/)
{
    static constexpr char kMessage[] = "\nFAILED: the test hangs\n";
    if (::write(STDERR_FILENO, kMessage, sizeof kMessage - 1) < 0) {
        _exit(3);
    }
    std::abort();
}

std::uint64_t seedOfEnvironment()
{
    if (const char* const given = std::getenv("CORVANE_SEED")) {
        return std::strtoull(given, nullptr, 10);
    }
    return std::random_device()();
}

}  // namespace

bool isLong()
{
    static const bool s_long = [] {
        const char* const given = std::getenv("CORVANE_LONG");
        return given != nullptr && std::strcmp(given, "1") == 0;
    }();
    return s_long;
}

std::uint64_t seed()
{
    static const std::uint64_t s_seed = seedOfEnvironment();
    return s_seed;
}

void figure(const std::string& what, const std::string& value)
{
    std::printf("figure: %s: %s\n", what.c_str(), value.c_str());
    std::fflush(stdout);
}

void figure(const std::string& what, double value)
{
    char text[32];
    std::snprintf(text, sizeof text, std::floor(value) == value ? "%.0f" : "%.4g", value);
    figure(what, std::string(text));
}

double Distribution::percentile(unsigned percent) const
{
    if (m_samples.empty()) {
        return 0;
    }
    std::vector<double> sorted = m_samples;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t rank = (sorted.size() * percent + 99) / 100;
    return sorted[std::max<std::size_t>(rank, 1) - 1];
}

void figure(const std::string& what, const Distribution& distribution)
{
    figure(what + ", p50", distribution.percentile(50));
    figure(what + ", p95", distribution.percentile(95));
}

std::uint64_t Random::next()
{
    // SplitMix64.
    std::uint64_t mixed = m_state += 0x9E3779B97F4A7C15u;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
}

}  // namespace W::test

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests)) {
        return RUN_ALL_TESTS();
    }
    std::signal(SIGALRM, W::test::endOfPatience);
    alarm(W::test::isLong() ? W::test::kLongestLongForm : W::test::kLongestShortForm);
    std::printf("CORVANE_SEED=%llu replays this run\n", static_cast<unsigned long long>(W::test::seed()));
    std::fflush(stdout);
    // Programs that run at the same time must not share a directory.
    std::string directory = (std::filesystem::temp_directory_path() / "corvane-endurance-XXXXXX").string();
    if (::mkdtemp(directory.data()) == nullptr || ::setenv("TEST_TMPDIR", directory.c_str(), 1) != 0) {
        return 1;
    }
    const int result = RUN_ALL_TESTS();
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
    return result;
}
