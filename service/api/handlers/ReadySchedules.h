// Schedules as finished JSON. The programmes of a channel and day are written once and stay in memory until the guide
// changes, so that a reply needs one binary search and one copy per channel and day. The endpoint channel/schedule
// (EndpointsGuide.cpp) uses them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Sqlite.h"

namespace corvaned {

/// The airings of one channel, in one language, that are on at any moment of a day of UTC.
class ReadyDay {
public:
    /// @param day   the first second of the day
    /// @param lang  as in guide::window
    ReadyDay(sqlite::Connection& connection, std::int64_t source, Instant day, std::string_view lang);

    /// The channel's JSON object up to the start of its "content"; empty if the line-up lacks the channel.
    const std::string& head() const { return m_head; }

    /// Appends the airings that are on at any moment of [from, to), except those of an earlier day of that window.
    /// @param json  ends with the head or with an airing
    void append(std::string& json, Instant from, Instant to) const;

    /// The memory that it uses, in bytes.
    std::size_t size() const;

private:
    struct Row {
        Instant start;
        Instant stop;
        std::size_t end;  // of its object in m_airings; the next one begins after a comma
    };

    const Instant m_day;
    std::string m_head;
    std::string m_airings;    // the airings' objects, separated by commas
    std::vector<Row> m_rows;  // by start
};

/// The days requested most recently, within a fixed amount of memory.  [any thread]
class ReadySchedules {
public:
    /// @param most  bytes; above this, the days not requested for the longest time are evicted
    explicit ReadySchedules(std::size_t most) : m_most(most) {}

    /// Appends the JSON object of a channel with its airings that are on at any moment of [from, to).
    /// @param guide       guide::digest() of the guide that the connection sees
    /// @return whether the line-up has the channel; if not, nothing is appended
    bool append(std::string& json, sqlite::Connection& connection, const std::string& guide, std::int64_t source,
                const std::string& lang, Instant from, Instant to);

    /// One day of a channel. If several threads miss the same day, one writes it and the others wait.
    /// @param day  the first second of a day of UTC
    std::shared_ptr<const ReadyDay> of(sqlite::Connection& connection, const std::string& guide, std::int64_t source,
                                       const std::string& lang, Instant day);

private:
    struct Slot {
        std::mutex lock;
        std::string guide;                    // guarded by lock, as is the day
        std::shared_ptr<const ReadyDay> day;  // null until it is first written
        std::size_t counted = 0;              // in m_size; guarded by m_lock
    };
    using Key = std::tuple<std::int64_t, Instant, std::string>;  // source, day, language
    using Order = std::list<std::pair<Key, std::shared_ptr<Slot>>>;

    std::shared_ptr<Slot> slotOf(const Key& key);
    void count(const Key& key, Slot& slot, std::size_t size);

    const std::size_t m_most;
    std::mutex m_lock;
    Order m_order;  // most recently requested first; guarded by m_lock, as all below
    std::map<Key, Order::iterator> m_slots;
    std::size_t m_size = 0;
};

}  // namespace corvaned
