#include "ServeLimits.h"

#include <algorithm>
#include <cstdint>

#include <sys/resource.h>

namespace corvaned {
namespace {

using Limits = http::ServerLimits;

constexpr const char* kGroup = "Limits";

struct CountOption {
    const char* name;
    std::size_t Limits::*limit;
    std::int64_t least;
    std::int64_t most;
    const char* help;
};

constexpr std::int64_t kMany = 1 << 30;
constexpr CountOption kCounts[] = {
    {"--max-connections", &Limits::connections, 1, 1'000'000, "Limit the number of connections"},
    {"--max-connections-per-address", &Limits::connectionsPerAddress, 1, 1'000'000,
     "Limit the connections of each client address"},
    {"--max-requests-per-connection", &Limits::requestsPerConnection, 1, kMany,
     "Close a connection after this many requests"},
    {"--max-request-line", &Limits::requestLineBytes, 256, 1 << 20, "Limit the bytes of a request line"},
    {"--max-header-bytes", &Limits::headerBytes, 256, 1 << 20, "Limit the bytes of a request's header"},
    {"--max-header-fields", &Limits::headerCount, 8, 10'000, "Limit the fields of a request's header"},
    {"--max-body", &Limits::bodyBytes, 1, kMany, "Limit the bytes of a request's body, also after decompression"},
    {"--max-body-memory", &Limits::bodyBytesInAll, 1, kMany,
     "Limit the bytes of request bodies in memory, of all connections together"},
    {"--max-unsent-memory", &Limits::unsentBytesInAll, 1, kMany,
     "Limit the bytes of unsent replies in memory, of all connections together"},
    {"--max-waiting", &Limits::waitingRequests, 1, 1'000'000, "Limit the requests that wait for a worker"},
    {"--workers", &Limits::handlers, 1, 256, "Answer requests on this many threads"},
};

struct TimeOption {
    const char* name;
    std::chrono::milliseconds Limits::*limit;
    const char* help;
};

constexpr TimeOption kTimes[] = {
    {"--handshake-seconds", &Limits::handshakeTime, "Limit the time of a TLS handshake, in seconds"},
    {"--idle-seconds", &Limits::idleTime, "Close a connection that is idle for this many seconds"},
    {"--header-seconds", &Limits::headerTime, "Limit the time to receive a request's header, in seconds"},
    {"--body-seconds", &Limits::bodyTime, "Limit the time to receive a request's body, in seconds"},
    {"--reply-seconds", &Limits::handlerTime, "Answer 503 if a reply takes longer than this many seconds"},
    {"--send-pause-seconds", &Limits::sendPauseTime,
     "Close a connection whose client reads nothing for this many seconds"},
    {"--send-seconds", &Limits::sendTime, "Limit the time to send a whole reply, in seconds"},
    {"--stop-seconds", &Limits::stopTime, "End at most this many seconds after SIGTERM"},
};

}  // namespace

void addLimitOptions(CLI::App& command, http::ServerLimits& limits)
{
    for (const CountOption& option : kCounts) {
        command.add_option(option.name, limits.*option.limit, option.help)
            ->capture_default_str()
            ->check(CLI::Range(option.least, option.most))
            ->group(kGroup);
    }
    for (const TimeOption& option : kTimes) {
        constexpr double kLeast = 0.1;
        constexpr double kMost = 86'400;
        std::chrono::milliseconds& limit = limits.*option.limit;
        command
            .add_option_function<double>(
                option.name,
                [&limit](double seconds) {
                    limit = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
                },
                option.help)
            ->default_str(std::to_string(limit.count() / 1000))
            ->check(CLI::Range(kLeast, kMost))
            ->group(kGroup);
    }
}

bool fitToDescriptors(http::ServerLimits& limits)
{
    constexpr rlim_t kOthers = 200;  // descriptors of the database and of the process itself
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0) {
        return true;
    }
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    const rlim_t room = files.rlim_cur > 2 * kOthers ? files.rlim_cur - kOthers : files.rlim_cur / 2;
    const bool fits = files.rlim_cur == RLIM_INFINITY || limits.connections <= room;
    if (!fits) {
        limits.connections = room;
    }
    return fits;
}

}  // namespace corvaned
