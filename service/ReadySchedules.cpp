#include "ReadySchedules.h"

#include <algorithm>

#include "Guide.h"
#include "ReplyParts.h"

namespace corvaned {
namespace {

// Of time; no listing goes so far.
constexpr Instant kBegin = -(Instant{1} << 40);
constexpr Instant kEnd = Instant{1} << 40;

Json contentOf(const guide::Airing& airing)
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

ReadySchedule::ReadySchedule(sqlite::Connection& connection, std::int64_t source, std::string_view lang)
{
    guide::findChannel(connection, source, [&](const guide::Channel& channel) {
        Json entry = {{"source", std::to_string(channel.source)}, {"name", channel.name}};
        addImage(entry, "station_img", channel.icon, "station");
        m_head = textOf(entry);
        m_head.back() = ',';
        m_head += "\"content\":[";
    });
    if (!known()) {
        return;
    }
    guide::forEachAiring(connection, source, kBegin, kEnd, lang, [&](const guide::Airing& airing) {
        m_text += m_text.empty() ? "" : ",";
        m_text += textOf(contentOf(airing));
        m_rows.push_back({airing.start, airing.stop, m_text.size()});
        m_longest = std::max(m_longest, airing.stop - airing.start);
    });
    m_text.shrink_to_fit();
    m_rows.shrink_to_fit();
}

void ReadySchedule::append(std::string& text, Instant from, Instant to) const
{
    text += m_head;
    const auto startsBefore = [](const Row& row, Instant instant) { return row.start < instant; };
    const auto end = std::lower_bound(m_rows.begin(), m_rows.end(), to, startsBefore);
    // Nothing that began earlier than the longest airing takes can last into the window. What does last into it is
    // copied in whole runs.
    auto run = std::lower_bound(m_rows.begin(), end, from - m_longest, startsBefore);
    const auto lasts = [from](const Row& row) { return row.stop > from; };
    bool first = true;
    while ((run = std::find_if(run, end, lasts)) != end) {
        const auto over = std::find_if_not(run, end, lasts);
        const std::size_t begin = run == m_rows.begin() ? 0 : std::prev(run)->end + 1;
        text += first ? "" : ",";
        text.append(m_text, begin, std::prev(over)->end - begin);
        first = false;
        run = over;
    }
    text += "]}";
}

std::size_t ReadySchedule::size() const
{
    return sizeof *this + m_head.capacity() + m_text.capacity() + m_rows.capacity() * sizeof(Row);
}

std::shared_ptr<const ReadySchedule> ReadySchedules::of(sqlite::Connection& connection, const std::string& guide,
                                                        std::int64_t source, const std::string& lang)
{
    const Key key(source, lang);
    const std::shared_ptr<Slot> slot = slotOf(key);
    const std::lock_guard<std::mutex> lock(slot->lock);
    if (!slot->schedule || slot->guide != guide) {
        slot->schedule = std::make_shared<const ReadySchedule>(connection, source, lang);
        slot->guide = guide;
        count(key, *slot, slot->schedule->size());
    }
    return slot->schedule;
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
        return;  // forgotten while it was written
    }
    constexpr std::size_t kBeside = 300;  // what the containers themselves take for an entry
    size += kBeside + 2 * key.second.size();
    m_size += size - slot.counted;
    slot.counted = size;
    while (m_size > m_most && m_order.size() > 1) {
        m_size -= m_order.back().second->counted;
        m_slots.erase(m_order.back().first);
        m_order.pop_back();
    }
}

}  // namespace corvaned
