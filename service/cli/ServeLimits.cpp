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
    {"--max-connections", &Limits::connections, 1, 1'000'000, "Connections in all"},
    {"--max-connections-per-address", &Limits::connectionsPerAddress, 1, 1'000'000,
     "Connections of one client address"},
    {"--max-requests-per-connection", &Limits::requestsPerConnection, 1, kMany, "Requests of one connection"},
    {"--max-request-line", &Limits::requestLineBytes, 256, 1 << 20, "Bytes of a request line"},
    {"--max-header-bytes", &Limits::headerBytes, 256, 1 << 20, "Bytes of a request's header"},
    {"--max-header-fields", &Limits::headerCount, 8, 10'000, "Fields of a request's header"},
    {"--max-body", &Limits::bodyBytes, 1, kMany, "Bytes of a request's body, also after decompression"},
    {"--max-body-memory", &Limits::bodyBytesInAll, 1, kMany, "Bytes of bodies kept for all connections together"},
    {"--max-unsent-memory", &Limits::unsentBytesInAll, 1, kMany, "Bytes of replies kept for slow clients together"},
    {"--max-waiting", &Limits::waitingRequests, 1, 1'000'000, "Requests that wait for a worker"},
    {"--workers", &Limits::handlers, 1, 256, "Threads that answer requests"},
};

struct TimeOption {
    const char* name;
    std::chrono::milliseconds Limits::*limit;
    const char* help;
};

constexpr TimeOption kTimes[] = {
    {"--handshake-seconds", &Limits::handshakeTime, "Seconds for a TLS handshake"},
    {"--idle-seconds", &Limits::idleTime, "Seconds that a connection may be idle"},
    {"--header-seconds", &Limits::headerTime, "Seconds for a request's header"},
    {"--body-seconds", &Limits::bodyTime, "Seconds for a request's body"},
    {"--reply-seconds", &Limits::handlerTime, "Seconds until a reply must be made"},
    {"--send-pause-seconds", &Limits::sendPauseTime, "Seconds that a client may read nothing of a reply"},
    {"--send-seconds", &Limits::sendTime, "Seconds for sending a whole reply"},
    {"--stop-seconds", &Limits::stopTime, "Seconds until the service ends after SIGTERM"},
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
