#include "Supervisor.h"

#include <cstdint>
#include <cstring>

#include <fmt/format.h>
#include <systemd/sd-daemon.h>

#include "OperatorError.h"

namespace corvaned::supervisor {

std::optional<http::ListenAddress> inheritedAddress()
{
    const int count = sd_listen_fds(1);
    if (count == 0) {
        return std::nullopt;
    }
    if (count < 0) {
        throw OperatorError(fmt::format("cannot take the sockets that the service manager passed: {}; check LISTEN_FDS",
                                        std::strerror(-count)));
    }
    if (count > 1) {
        throw OperatorError(
            fmt::format("the service manager passed {} sockets; the service takes one, so name one address", count));
    }
    return http::ListenAddress::ofSocket(SD_LISTEN_FDS_START);
}

void announceReady(const std::string& status)
{
    sd_notify(0, fmt::format("READY=1\nSTATUS={}", status).c_str());
}

void announceReload()
{
    sd_notify(0, "RELOADING=1");
}

void announceStop()
{
    sd_notify(0, "STOPPING=1");
}

std::optional<std::chrono::milliseconds> watchdogTime()
{
    std::uint64_t microseconds = 0;
    if (sd_watchdog_enabled(0, &microseconds) <= 0) {
        return std::nullopt;
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::microseconds(microseconds));
}

void reportAlive()
{
    sd_notify(0, "WATCHDOG=1");
}

}  // namespace corvaned::supervisor
