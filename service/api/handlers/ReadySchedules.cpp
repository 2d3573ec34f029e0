#include "ReadySchedules.h"

#include <algorithm>

#include "Programmes.h"
#include "ReplyParts.h"

namespace corvaned {
namespace {

Json contentOf(const guide::Programme& airing)
{
    Json content = {{"id", std::to_string(airing.content)},
                    {"lang", airing.lang},
                    {"title", airing.title},
                    {"type", airing.type},
                    {"starttime", formatUtc(airing.start)},
                    {"duration", durationOf(airing.start, airing.stop)},
                    {"genres", genresOf(airing.genres)}};
    addImage(content, "poster", airing.image, "poster");
    return content;
}

}  // namespace

ReadyDay::ReadyDay(sqlite::Connection& connection, std::int64_t source, Instant day, std::string_view lang) : m_day(day)
{
    const bool known = guide::findChannel(connection, source, [&](const guide::Channel& channel) {
        Json entry = {{"source", std::to_string(channel.source)}, {"name", channel.name}};
        addImage(entry, "station_img", channel.icon, "station");
        m_head = serialize(entry);
        m_head.back() = ',';
        m_head += "\"content\":[";
    });
    if (!known) {
        return;
    }
    guide::window(connection, source, day, day + kDay, lang, [&](const guide::Programme& airing) {
        m_airings += m_airings.empty() ? "" : ",";
        m_airings += serialize(contentOf(airing));
        m_rows.push_back({airing.start, airing.stop, m_airings.size()});
    });
    m_airings.shrink_to_fit();
    m_rows.shrink_to_fit();
}

void ReadyDay::append(std::string& json, Instant from, Instant to) const
{
    const auto startsBefore = [](const Row& row, Instant instant) { return row.start < instant; };
    const auto end = std::lower_bound(m_rows.begin(), m_rows.end(), to, startsBefore);
    auto run = from < m_day ? std::lower_bound(m_rows.begin(), end, m_day, startsBefore) : m_rows.begin();
    // Appends whole runs of airings at once. Only if airings overlap, one between others is left out.
    const auto lasts = [from](const Row& row) { return row.stop > from; };
    while ((run = std::find_if(run, end, lasts)) != end) {
        const auto over = std::find_if_not(run, end, lasts);
        const std::size_t begin = run == m_rows.begin() ? 0 : std::prev(run)->end + 1;
        json += json.back() == '[' ? "" : ",";
        json.append(m_airings, begin, std::prev(over)->end - begin);
        run = over;
    }
}

std::size_t ReadyDay::size() const
{
    return sizeof *this + m_head.capacity() + m_airings.capacity() + m_rows.capacity() * sizeof(Row);
}

bool ReadySchedules::append(std::string& json, sqlite::Connection& connection, const std::string& guide,
                            std::int64_t source, const std::string& lang, Instant from, Instant to)
{
    const Instant first = from - (from % kDay + kDay) % kDay;
    for (Instant day = first; day < to; day += kDay) {
        const std::shared_ptr<const ReadyDay> ready = of(connection, guide, source, lang, day);
        if (ready->head().empty()) {
            return false;
        }
        json += day == first ? ready->head() : "";
        ready->append(json, from, to);
    }
    json += "]}";
    return true;
}

std::shared_ptr<const ReadyDay> ReadySchedules::of(sqlite::Connection& connection, const std::string& guide,
                                                   std::int64_t source, const std::string& lang, Instant day)
{
    const Key key(source, day, lang);
    const std::shared_ptr<Slot> slot = slotOf(key);
    const std::lock_guard<std::mutex> lock(slot->lock);
    if (!slot->day || slot->guide != guide) {
        slot->day = std::make_shared<const ReadyDay>(connection, source, day, lang);
        slot->guide = guide;
        count(key, *slot, slot->day->size());
    }
    return slot->day;
}

std::shared_ptr<ReadySchedules::Slot> ReadySchedules::slotOf(const Key& key)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto [found, added] = m_slots.try_emplace(key);
    if (added) {
        m_order.emplace_front(key, std::make_shared<Slot>());
        found->second = m_order.begin();
    } else {
        m_order.splice(m_order.begin(), m_order, found->second);
    }
    return found->second->second;
}

void ReadySchedules::count(const Key& key, Slot& slot, std::size_t size)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto found = m_slots.find(key);
    if (found == m_slots.end() || found->second->second.get() != &slot) {
        return;  // evicted while it was being written
    }
    constexpr std::size_t kBeside = 300;  // overhead of the containers per entry
    size += kBeside + 2 * std::get<std::string>(key).size();
    m_size += size - slot.counted;
    slot.counted = size;
    while (m_size > m_most && m_order.size() > 1) {
        m_size -= m_order.back().second->counted;
        m_slots.erase(m_order.back().first);
        m_order.pop_back();
    }
}

}  // namespace corvaned
