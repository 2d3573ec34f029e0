// The first steps of every command for people: check the address, ask for the clock, open a session, fetch the line-up.
#pragma once

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Runtime.h"
#include "ServiceProblem.h"
#include "WVLChannel.h"
#include "WVLContent.h"
#include "WVLDownloadURL.h"
#include "WVLService.h"

namespace W::host {

/// Begin and end, in seconds since 1970-01-01T00:00:00Z.
using TimeSpan = std::pair<std::int64_t, std::int64_t>;

/// The steps, to be taken in this order. Each waits for its result and throws ServiceProblem if it fails.
class ServiceSession {
public:
    /// @param runtime   must outlive the session
    /// @param patience  the longest wait for each result
    ServiceSession(Runtime& runtime, std::chrono::milliseconds patience) : m_runtime(runtime), m_patience(patience) {}

    /// Checks that base_url is an http or https address.
    void checkAddress() const;

    WVLLocaltime fetchLocaltime();
    WVLSession open();

    /// Takes the steps that most operations need: checkAddress(), fetchLocaltime() and open().
    WVLLocaltime start();

    /// The line-up: each channel once, in order of number; empty if the service has none. See lineUp().
    std::list<WVLChannel> fetchChannels();

    /// Programmes of many channels. Splits long channel lists into several simultaneous requests, to limit their URLs.
    /// @param begin  seconds since 1970-01-01T00:00:00Z
    std::list<WVLContent> fetchSchedule(const std::vector<std::string>& sources, std::int64_t begin, int hours);

    /// The time span of the programmes that the service has within a month before and after a time, from a sample of
    /// the channels; nothing if there are none.
    std::optional<TimeSpan> fetchSpan(const std::vector<std::string>& sources, std::int64_t around);

    /// The files with today's schedule.
    std::list<WVLDownloadURL> fetchTodayFiles();

private:
    void check(const char* step, int status);

    Runtime& m_runtime;
    std::chrono::milliseconds m_patience;
};

/// Makes a line-up of a channel list. The service lists channels with a logo a second time, for recognition; the first
/// entry of each source counts. Channels are sorted by number, "5.1" before "10"; those without a number come last.
std::list<WVLChannel> lineUp(std::list<WVLChannel> channels);

/// Begin and end of all programmes that have a time; nothing if there are none.
std::optional<TimeSpan> spanOf(const std::list<WVLContent>& programmes);

}  // namespace W::host
