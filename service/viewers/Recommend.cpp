#include "Recommend.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

namespace corvaned::recommend {
namespace {

using sqlite::Query;

constexpr std::int64_t kDay = 86400;
constexpr std::int64_t kHistory = 28 * kDay;
constexpr std::int64_t kMissedSpan = 7 * kDay;
constexpr std::int64_t kSlot = 10800;  // three hours
constexpr int kSlots = static_cast<int>(kDay / kSlot);
constexpr std::size_t kPerSlot = 5;
constexpr std::size_t kFallback = 10;
constexpr std::int64_t kAll = -1;  // no LIMIT
constexpr std::int64_t kMissedMost = 100;

// A viewer counts once a day for a channel, or zapping would decide.
constexpr std::string_view kPopular = R"sql(
    SELECT channel.source_id
    FROM channel LEFT JOIN (
        SELECT source_id, count(DISTINCT user_id || (at / 86400)) AS score
        FROM tuning WHERE at > ?1 AND at <= ?2 GROUP BY source_id) USING (source_id)
    ORDER BY coalesce(score, 0) DESC, position LIMIT ?3
)sql";

// Half hours, since the zones' offsets are whole numbers of them, but for a few that lose a quarter here.
constexpr std::string_view kHabit =
    "SELECT source_id, at / 1800, count(*) FROM tuning WHERE user_id = ?1 AND at > ?2 AND at <= ?3 GROUP BY 1, 2";
constexpr std::string_view kHabitOfAll =
    "SELECT source_id, at / 1800, count(DISTINCT user_id) FROM tuning WHERE at > ?2 AND at <= ?3 AND ?1 = '' "
    "GROUP BY 1, 2";

constexpr std::string_view kOnAt = R"sql(
    SELECT id FROM airing
    WHERE source_id = ?1 AND start <= ?2 AND stop > ?2
          AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1
    ORDER BY start DESC, clump, id LIMIT 1
)sql";
constexpr std::string_view kNext = "SELECT id FROM airing WHERE start >= ? ORDER BY start, id LIMIT ?";

// ?1 the user, ?2 from, ?3 to, ?4 whether what was watched counts, ?5 the order.
constexpr std::string_view kMissed = R"sql(
    WITH wished AS MATERIALIZED (
        SELECT content_id, series_id FROM wish LEFT JOIN remembered_content USING (content_id)
        WHERE user_id = ?1 AND watched <= ?4)
    SELECT id, max(start)
    FROM airing JOIN channel USING (source_id)
    WHERE start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1 AND start < ?3 AND stop > ?2 AND stop <= ?3
          AND (content_id IN (SELECT content_id FROM wished)
               OR (series_id <> 0 AND series_id IN (SELECT series_id FROM wished)))
          AND content_id NOT IN (SELECT content_id FROM dislike WHERE user_id = ?1)
          AND content_id NOT IN (SELECT content_id FROM tuning WHERE user_id = ?1)
          AND NOT EXISTS (SELECT 1 FROM tuning
                          WHERE user_id = ?1 AND tuning.source_id = airing.source_id AND at >= start AND at < stop)
    GROUP BY content_id
    ORDER BY CASE ?5 WHEN 1 THEN title END, CASE ?5 WHEN 2 THEN position END, max(start) DESC, id
    LIMIT ?6
)sql";

// A series weighs more than any people, a person more than any genres. ?1 the content, ?2 its series, ?3 now.
constexpr std::string_view kRelated = R"sql(
    SELECT content_id, sum(score)
    FROM (
        SELECT DISTINCT content_id, 10000 AS score FROM airing WHERE series_id = ?2 AND series_id <> 0
        UNION ALL
        SELECT other.content_id, 100 * count(DISTINCT other.person_id)
        FROM credit AS own JOIN credit AS other USING (person_id)
        WHERE own.content_id = ?1 GROUP BY other.content_id
        UNION ALL
        SELECT content_id, count(DISTINCT genre_id)
        FROM airing_genre JOIN airing ON airing.id = airing_id
        WHERE stop > ?3 AND genre_id IN (
            SELECT genre_id FROM airing_genre WHERE airing_id = (SELECT min(id) FROM airing WHERE content_id = ?1))
        GROUP BY content_id)
    WHERE content_id <> ?1
    GROUP BY content_id ORDER BY 2 DESC, content_id LIMIT ?4
)sql";

constexpr std::string_view kWishedSoon = R"sql(
    WITH wished AS MATERIALIZED (
        SELECT content_id, series_id FROM wish LEFT JOIN remembered_content USING (content_id)
        WHERE user_id = ?1)
    SELECT id, min(start)
    FROM airing
    WHERE start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1 AND start < ?3 AND stop > ?2
          AND (content_id IN (SELECT content_id FROM wished)
               OR (series_id <> 0 AND series_id IN (SELECT series_id FROM wished)))
          AND content_id NOT IN (SELECT content_id FROM dislike WHERE user_id = ?1)
    GROUP BY content_id ORDER BY min(start), id LIMIT ?4
)sql";

constexpr std::string_view kHabitualChannels = R"sql(
    SELECT source_id FROM tuning WHERE user_id = ? AND at > ? AND at <= ?
    GROUP BY source_id ORDER BY count(*) DESC, max(at) DESC
)sql";

constexpr std::string_view kFilms = R"sql(
    WITH liked AS MATERIALIZED (
        SELECT DISTINCT genre_id FROM airing_genre JOIN airing ON airing.id = airing_id
        WHERE content_id IN (SELECT content_id FROM wish WHERE user_id = ?1))
    SELECT id, min(start),
           (SELECT count(*) FROM airing_genre WHERE airing_id = airing.id AND genre_id IN (SELECT genre_id FROM liked))
    FROM airing
    WHERE type = 'movie' AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1 AND start < ?3 AND stop > ?2
          AND content_id NOT IN (SELECT content_id FROM dislike WHERE user_id = ?1)
    GROUP BY content_id ORDER BY 3 DESC, 2, id LIMIT ?4
)sql";

std::vector<std::int64_t> numbersOf(Query& rows)
{
    std::vector<std::int64_t> numbers;
    while (rows.next()) {
        numbers.push_back(rows.number(0));
    }
    return numbers;
}

// The airing on at that moment, 0 where the channel is silent.
std::int64_t onAt(sqlite::Connection& connection, std::int64_t source, Instant at)
{
    Query row(connection, kOnAt);
    return row.bind(source, at).next() ? row.number(0) : 0;
}

Instant slotBegin(const Zone& zone, Instant at)
{
    const Instant midnight = zone.midnight(at);
    return midnight + (at - midnight) / kSlot * kSlot;
}

std::vector<SlotPick> fromHabit(sqlite::Connection& connection, std::string_view habit, std::string_view user,
                                const Zone& zone, Instant now, Reason reason)
{
    std::map<int, std::map<std::int64_t, std::int64_t>> counts;  // by slot, then by source
    {
        Query rows(connection, habit);
        rows.bind(user, now - kHistory, now);
        while (rows.next()) {
            constexpr std::int64_t kHalfHour = 1800;
            counts[timeslotOf(zone, rows.number(1) * kHalfHour)][rows.number(0)] += rows.number(2);
        }
    }
    std::vector<SlotPick> picks;
    for (int ahead = 0; ahead < kSlots; ++ahead) {
        const Instant at = ahead == 0 ? now : slotBegin(zone, now) + ahead * kSlot;
        const int slot = timeslotOf(zone, at);
        std::vector<std::pair<std::int64_t, std::int64_t>> ranked;  // minus the count, then the source
        for (const auto& [source, count] : counts[slot]) {
            ranked.emplace_back(-count, source);
        }
        std::sort(ranked.begin(), ranked.end());
        int sequence = 0;
        for (std::size_t i = 0; i < ranked.size() && i < kPerSlot; ++i) {
            if (const std::int64_t airing = onAt(connection, ranked[i].second, at); airing != 0) {
                picks.push_back({airing, slot, ++sequence, reason});
            }
        }
    }
    return picks;
}

}  // namespace

std::vector<std::int64_t> popularChannels(sqlite::Connection& connection, Instant now, std::int64_t count)
{
    Query rows(connection, kPopular);
    return numbersOf(rows.bind(now - kHistory, now, count));
}

int timeslotOf(const Zone& zone, Instant at)
{
    return static_cast<int>((at - zone.midnight(at)) / kSlot) % kSlots + 1;
}

std::vector<SlotPick> slotsOf(sqlite::Connection& connection, std::string_view user, const Zone& zone, Instant now)
{
    std::vector<SlotPick> picks = fromHabit(connection, kHabit, user, zone, now, Reason::History);
    return picks.empty() ? slotsOfAll(connection, zone, now) : picks;
}

std::vector<SlotPick> slotsOfAll(sqlite::Connection& connection, const Zone& zone, Instant now)
{
    std::vector<SlotPick> picks = fromHabit(connection, kHabitOfAll, "", zone, now, Reason::Popular);
    if (!picks.empty()) {
        return picks;
    }
    // Clients take an empty list for a failure.
    std::vector<std::int64_t> airings;
    for (const std::int64_t source : popularChannels(connection, now, kAll)) {
        if (airings.size() == kFallback) {
            break;
        }
        if (const std::int64_t airing = onAt(connection, source, now); airing != 0) {
            airings.push_back(airing);
        }
    }
    if (airings.empty()) {
        Query rows(connection, kNext);
        airings = numbersOf(rows.bind(now, std::int64_t{kFallback}));
    }
    int sequence = 0;
    for (const std::int64_t airing : airings) {
        picks.push_back({airing, timeslotOf(zone, now), ++sequence, Reason::OnNow});
    }
    return picks;
}

std::vector<std::int64_t> missed(sqlite::Connection& connection, std::string_view user, Instant now, Wish wish,
                                 MissedOrder order)
{
    Query rows(connection, kMissed);
    return numbersOf(rows.bind(user, now - kMissedSpan, now, std::int64_t{wish == Wish::Watched},
                               static_cast<std::int64_t>(order), kMissedMost));
}

std::vector<std::int64_t> related(sqlite::Connection& connection, std::int64_t content, std::int64_t series,
                                  Instant now, std::int64_t count)
{
    Query rows(connection, kRelated);
    return numbersOf(rows.bind(content, series, now, count));
}

std::vector<std::int64_t> television(sqlite::Connection& connection, std::string_view user, Instant now,
                                     std::int64_t count)
{
    std::vector<std::int64_t> airings;
    {
        Query rows(connection, kWishedSoon);
        airings = numbersOf(rows.bind(user, now, now + kDay, count));
    }
    std::vector<std::int64_t> sources;
    {
        Query rows(connection, kHabitualChannels);
        sources = numbersOf(rows.bind(user, now - kHistory, now));
    }
    const std::vector<std::int64_t> popular = popularChannels(connection, now, kAll);
    sources.insert(sources.end(), popular.begin(), popular.end());
    std::set<std::int64_t> taken(airings.begin(), airings.end());
    for (const std::int64_t source : sources) {
        if (static_cast<std::int64_t>(airings.size()) >= count) {
            break;
        }
        if (const std::int64_t airing = onAt(connection, source, now); airing != 0 && taken.insert(airing).second) {
            airings.push_back(airing);
        }
    }
    return airings;
}

std::vector<std::int64_t> films(sqlite::Connection& connection, std::string_view user, Instant now, std::int64_t count)
{
    Query rows(connection, kFilms);
    return numbersOf(rows.bind(user, now, now + 2 * kDay, count));
}

std::vector<App> apps(sqlite::Connection& connection)
{
    std::vector<App> list;
    Query rows(connection, "SELECT id, title, category, image_url, image_width, image_height FROM app ORDER BY place");
    while (rows.next()) {
        list.push_back({std::string(rows.text(0)), std::string(rows.text(1)), std::string(rows.text(2)),
                        std::string(rows.text(3)), rows.number(4), rows.number(5)});
    }
    return list;
}

}  // namespace corvaned::recommend
