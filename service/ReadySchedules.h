// Schedules as finished JSON text. The airings of a channel are written once, in order of their start, and stay in
// memory as long as the guide is the same one; the reply to any window of any channels is then a binary search and a
// copy per channel. The endpoint channel/schedule (EndpointsGuide.cpp) is made of these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Clock.h"
#include "Sqlite.h"

namespace corvaned {

/// All airings of one channel in one language.
class ReadySchedule {
public:
    /// Reads the channel from the guide.
    /// @param lang  as in guide::forEachAiring
    ReadySchedule(sqlite::Connection& connection, std::int64_t source, std::string_view lang);

    /// Whether the line-up has the channel.
    bool known() const { return !m_head.empty(); }

    /// Appends the JSON object of the channel with its airings that are on at any moment of [from, to).
    void append(std::string& text, Instant from, Instant to) const;

    /// What it takes in memory, in bytes.
    std::size_t size() const;

private:
    struct Row {
        Instant start;
        Instant stop;
        std::size_t end;  // of its object in m_text; the next one begins behind a comma
    };

    std::string m_head;  // the channel's object up to its "content"
    std::string m_text;  // the airings' objects, separated by commas
    std::vector<Row> m_rows;
    std::int64_t m_longest = 0;  // seconds
};

/// The schedules that were asked for lately, within a fixed amount of memory.  [any thread]
class ReadySchedules {
public:
    /// @param most  bytes; beyond, what was asked for longest ago is forgotten
    explicit ReadySchedules(std::size_t most) : m_most(most) {}

    /// The channel's schedule in the guide that the connection sees. Of several threads that miss the same one, one
    /// writes it and the others wait.
    /// @param connection  in a read transaction
    /// @param guide       tells that guide from others: guide::digest()
    std::shared_ptr<const ReadySchedule> of(sqlite::Connection& connection, const std::string& guide,
                                            std::int64_t source, const std::string& lang);

private:
    struct Slot {
        std::mutex lock;
        std::string guide;                              // guarded by lock, as is the schedule
        std::shared_ptr<const ReadySchedule> schedule;  // null until it is first written
        std::size_t counted = 0;                        // in m_size; guarded by m_lock
    };
    using Key = std::pair<std::int64_t, std::string>;
    using Order = std::list<std::pair<Key, std::shared_ptr<Slot>>>;

    std::shared_ptr<Slot> slotOf(const Key& key);
    void count(const Key& key, Slot& slot, std::size_t size);

    const std::size_t m_most;
    std::mutex m_lock;
    Order m_order;  // the last one asked for first; this and all below is guarded by m_lock
    std::map<Key, Order::iterator> m_slots;
    std::size_t m_size = 0;
};

}  // namespace corvaned
