// The service manager that started this process, such as systemd: readiness, watchdog and inherited sockets, by the
// protocols of sd_notify(3), sd_watchdog_enabled(3) and sd_listen_fds(3). Without a manager these functions do nothing.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "HttpServer.h"

namespace corvaned::supervisor {

/// The address of the socket that the manager listens on for this process; nothing if it passed none. To be called
/// once, before threads are started, because it changes the environment.
/// @throws OperatorError if there are several, http::HttpSetupError if it cannot be served
std::optional<http::ListenAddress> inheritedAddress();

/// Announces that requests are answered from now on. `status` is shown to the operator.
void announceReady(const std::string& status);
/// Announces that files are being read again, until announceReady().
void announceReload();
void announceStop();

/// The time within which the manager expects a call of reportAlive(); nothing if it has no watchdog for this process.
std::optional<std::chrono::milliseconds> watchdogTime();
void reportAlive();

}  // namespace corvaned::supervisor
