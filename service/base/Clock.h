// Instants and time zones, and the strings in which the service writes them. An instant is a count of seconds since
// 1970-01-01 00:00 UTC. XmltvTime.h reads XMLTV's own format of times.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace date {
class time_zone;
}

namespace corvaned {

using Instant = std::int64_t;

inline constexpr Instant kDay = 86400;  ///< seconds

/// Returns the current time; tests use a fixed one.
using Clock = std::function<Instant()>;

/// The system's clock.
Instant systemNow();

/// The instant of a UTC calendar date and time; nothing if there is no such date or time (30 February, 24:00) in the
/// years from 0 to 9999.
std::optional<Instant> instantOf(int year, int month, int day, int hour, int minute, int second);

/// "2026-11-21T01:30:00Z".
std::string formatUtc(Instant instant);

/// Reads exactly the format that formatUtc writes; returns nothing for anything else.
std::optional<Instant> parseUtc(std::string_view text);

/// A time zone, for conf/localtime and for times of day.
class Zone {
public:
    /// The zone that this machine is set to: TZ, or the system's.
    static Zone ofMachine();

    /// @param name  an IANA name ("Asia/Seoul") or an offset ("+09:00")
    /// @throws OperatorError if the name is neither
    static Zone named(const std::string& name);

    const std::string& name() const { return m_name; }

    /// Seconds east of UTC at that instant.  [any thread]
    int offsetAt(Instant instant) const;

    /// "2026-11-21T10:30:00".
    std::string formatLocal(Instant instant) const;

    /// "+09:00" at that instant.
    std::string formatOffset(Instant instant) const;

    /// The midnight at or before that instant, by this zone's wall clock.
    Instant midnight(Instant instant) const;

private:
    Zone(std::string name, std::optional<int> offset, const date::time_zone* rules)
        : m_name(std::move(name)), m_offset(offset), m_rules(rules)
    {}

    // With neither an offset nor rules it is the machine's zone.
    std::string m_name;
    std::optional<int> m_offset;
    const date::time_zone* m_rules;  // of the zone database, which lives as long as the process
};

}  // namespace corvaned
