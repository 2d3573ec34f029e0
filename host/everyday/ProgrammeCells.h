// Columns and cells for records of programmes, as JSON.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "DisplayZone.h"
#include "RecordJson.h"
#include "Table.h"

namespace W::host {

/// A string member; empty if it is missing.
std::string stringOf(const Json& record, const char* key);

/// The list in a container.
const Json& listOf(const Json& container);

/// Seconds since 1970-01-01T00:00:00Z of a date-time; nothing if it is not set.
std::optional<std::int64_t> instantOf(const Json& time);

/// When programmes begin, in words and for scripts, as seen from now.
class ShownTimes {
public:
    ShownTimes(std::int64_t now, DisplayZone zone) : m_now(now), m_zone(zone) {}

    /// People get "20:15" for today, "Sun 20:15" within the next week, else the day and month, and the year if it is
    /// another one. Scripts get RFC 3339 with the zone's offset.
    TableCell cell(std::optional<std::int64_t> instant) const;

    /// As in "20:15".
    std::string clock(std::int64_t instant) const;

    std::int64_t now() const { return m_now; }

private:
    std::int64_t m_now;
    DisplayZone m_zone;
};

/// Title, and after it the title of the episode.
std::string shownTitle(const Json& programme);

/// Names of the line-up by source, for records that have only the source.
class ChannelNames {
public:
    explicit ChannelNames(const std::list<WVLChannel>& channels);

    /// Number and name.
    std::string of(const std::string& source) const;
    std::string number(const std::string& source) const;
    std::string name(const std::string& source) const;

private:
    struct ChannelName {
        std::string number;
        std::string name;
    };
    std::map<std::string, ChannelName> m_names;
};

/// A list of programmes: when, channel, title and ID. Scripts get the ID, the start, the minutes, the source, number
/// and name of the channel, title and episode title.
Table programmeTable(const Json& programmes, const ShownTimes& times, const ChannelNames& names);

}  // namespace W::host
