// The time zone in which times are shown, with its offset at each instant. Does not change the process's TZ.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace date {
class time_zone;
}

namespace W::host {

/// Instants are seconds since 1970-01-01T00:00:00Z; local times are the same count on the zone's own clock.
class DisplayZone {
public:
    /// This machine's zone: TZ, or the system's.
    static DisplayZone machine() { return {ZoneKind::Machine, 0, nullptr}; }

    /// A zone without changes, such as UTC.
    /// @param offset  seconds east of Greenwich
    static DisplayZone fixed(int offset) { return {ZoneKind::Fixed, offset, nullptr}; }

    /// A zone of the system's database, as in "Europe/Berlin"; nothing if it has no such zone.
    static std::optional<DisplayZone> named(const std::string& name);

    /// Seconds east of Greenwich at an instant.
    int offsetAt(std::int64_t instant) const;

    std::int64_t localOf(std::int64_t instant) const { return instant + offsetAt(instant); }

    /// The instant of a local time. A time that occurs twice means its first occurrence. A time that the clock skips is
    /// converted with the offset before the change.
    std::int64_t instantOf(std::int64_t local) const;

private:
    enum class ZoneKind {
        Fixed,
        Machine,
        Named
    };
    DisplayZone(ZoneKind kind, int offset, const date::time_zone* zone) : m_kind(kind), m_offset(offset), m_zone(zone)
    {}

    ZoneKind m_kind;
    int m_offset;
    const date::time_zone* m_zone;  ///< of the database, which lives as long as the process
};

}  // namespace W::host
