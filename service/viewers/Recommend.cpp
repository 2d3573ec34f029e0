#include "Recommend.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>
#include <unordered_set>
#include <utility>

#include "OnAir.h"
#include "Programmes.h"

namespace corvaned::recommend {
namespace {

using sqlite::Query;

constexpr std::int64_t kHistory = 28 * kDay;
constexpr std::int64_t kMissedSpan = 7 * kDay;
constexpr std::int64_t kSlot = 10800;  // three hours
constexpr std::int64_t kHalfHour = 1800;
constexpr int kSlots = static_cast<int>(kDay / kSlot);
constexpr std::size_t kPerSlot = 5;
constexpr std::size_t kFallback = 10;
constexpr std::int64_t kAll = -1;  // no LIMIT
constexpr std::int64_t kMissedMost = 100;

// Counts a viewer once a day for a channel, so that zapping does not decide.
constexpr std::string_view kPopular = R"sql(
    SELECT channel.source_id
    FROM channel LEFT JOIN (
        SELECT source_id, sum(users) AS score FROM tuned_day WHERE day > ?1 GROUP BY source_id) USING (source_id)
    ORDER BY coalesce(score, 0) DESC, position LIMIT ?2
)sql";

// Half hours are enough, since the offsets of nearly all zones are multiples of them; the others are off by a quarter
// of an hour here.
constexpr std::string_view kHabit = R"sql(
    SELECT source_id, at / 1800 AS half_hour, count(*) AS times
    FROM tuning WHERE user_id = ? AND at > ? AND at <= ? GROUP BY source_id, half_hour
)sql";

// The counts, and with a minus those that the next tuning will forget.
constexpr std::string_view kHabitOfAll = R"sql(
    SELECT source_id, half_hour_of_day, users FROM tuned_habit
    UNION ALL
    SELECT source_id, half_hour % 48, -users FROM tuned_half_hour WHERE half_hour <= ?
)sql";

constexpr std::string_view kNext = "SELECT id FROM airing WHERE start >= ? ORDER BY start, id LIMIT ?";

// Airings of contents that a user is interested in. ?1 is the user, ?2 from, ?3 to, ?4 whether watched contents count.
constexpr const char* kWishes = R"sql(
    SELECT content_id, series_id FROM wish LEFT JOIN remembered_content USING (content_id)
    WHERE user_id = ?1 AND watched <= ?4
)sql";
const std::string kWished = std::string("WITH wished AS MATERIALIZED (") + kWishes + ") ";
const std::string kIsWished = guide::onAirDuring("?2", "?3") + R"sql(
    AND (content_id IN (SELECT content_id FROM wished)
         OR (series_id <> 0 AND series_id IN (SELECT series_id FROM wished)))
    AND content_id NOT IN (SELECT content_id FROM dislike WHERE user_id = ?1)
)sql";
const std::string kIsOverAndUnseen = R"sql(
    AND stop <= ?3
    AND NOT EXISTS (SELECT 1 FROM tuning
                    WHERE user_id = ?1 AND tuning.source_id = airing.source_id AND at >= start AND at < stop)
)sql";
const std::string kIsMissed =
    kIsOverAndUnseen + "AND content_id NOT IN (SELECT content_id FROM tuning WHERE user_id = ?1) ";

// From this number of wishes on, it is faster to walk through the airings in the order wanted and to stop at the last
// one needed. A user with fewer wishes has few airings, which are found by content.
constexpr std::int64_t kManyWishes = 500;
struct ByWishes {
    std::string few;
    std::string many;
};

// @param index  the index that has the order of the rows
ByWishes wishedAirings(const char* index, const std::string& rest)
{
    const std::string select = kWished + "SELECT id, content_id FROM airing ";
    return {select + "WHERE " + kIsWished + rest, select + "INDEXED BY " + index + " WHERE " + kIsWished + rest};
}

const ByWishes kMissedByTime = wishedAirings("airing_by_start", kIsMissed + "ORDER BY start DESC, id");
const ByWishes kMissedByTitle = wishedAirings("airing_by_title", kIsMissed + "ORDER BY title, start DESC, id");
const ByWishes kWishedSoon = wishedAirings("airing_by_start", "ORDER BY start, id");

const std::string kMissedByChannel = kWished +
                                     "SELECT id, content_id FROM airing JOIN channel USING (source_id) WHERE " +
                                     kIsWished + kIsMissed + "ORDER BY position, start DESC, id";

// No index has the order of the line-up, so many wishes are looked up in memory, one channel after the other: ?4.
constexpr std::string_view kPassed = R"sql(
    SELECT content_id FROM tuning WHERE user_id = ?1 UNION ALL SELECT content_id FROM dislike WHERE user_id = ?1
)sql";
const std::string kOverOnChannel = "SELECT id, content_id, series_id FROM airing WHERE source_id = ?4 AND " +
                                   guide::onAirDuring("?2", "?3") + kIsOverAndUnseen + "ORDER BY start DESC, id";

// A common series weighs more than any number of people, one person more than any number of genres. ?1 is the content,
// ?2 its series, ?3 now.
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

constexpr std::string_view kHabitualChannels = R"sql(
    SELECT source_id FROM tuning WHERE user_id = ? AND at > ? AND at <= ?
    GROUP BY source_id ORDER BY count(*) DESC, max(at) DESC
)sql";

const std::string kFilms = R"sql(
    WITH liked AS MATERIALIZED (
        SELECT DISTINCT genre_id FROM airing_genre JOIN airing ON airing.id = airing_id
        WHERE content_id IN (SELECT content_id FROM wish WHERE user_id = ?1))
    SELECT id, min(start),
           (SELECT count(*) FROM airing_genre WHERE airing_id = airing.id AND genre_id IN (SELECT genre_id FROM liked))
    FROM airing
    WHERE type = 'movie' AND )sql" +
                           guide::onAirDuring("?2", "?3") + R"sql(
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

bool hasManyWishes(sqlite::Connection& connection, std::string_view user, std::int64_t watched)
{
    Query count(connection, "SELECT count(*) FROM (SELECT 1 FROM wish WHERE user_id = ? AND watched <= ? LIMIT ?)");
    count.bind(user, watched, kManyWishes).next();
    return count.number(0) >= kManyWishes;
}

std::string_view queryFor(sqlite::Connection& connection, const ByWishes& queries, std::string_view user,
                          std::int64_t watched)
{
    return hasManyWishes(connection, user, watched) ? queries.many : queries.few;
}

// One user's wishes, in memory.
class WishSets {
public:
    WishSets(sqlite::Connection& connection, std::string_view user, std::int64_t watched)
    {
        Query wishes(connection, kWishes);
        wishes.bind(user, 0, 0, watched);
        while (wishes.next()) {
            m_contents.insert(wishes.number("content_id"));
            m_series.insert(wishes.number("series_id"));
        }
        m_series.erase(0);
        Query passed(connection, kPassed);
        passed.bind(user);
        while (passed.next()) {
            m_passed.insert(passed.number("content_id"));
        }
    }

    bool has(std::int64_t content, std::int64_t series) const
    {
        return (m_contents.count(content) > 0 || m_series.count(series) > 0) && m_passed.count(content) == 0;
    }

private:
    std::unordered_set<std::int64_t> m_contents;
    std::unordered_set<std::int64_t> m_series;
    std::unordered_set<std::int64_t> m_passed;  // contents that the user disliked or tuned to
};

// The ids of the first row of each content, `most` at most. The rows have the columns id and content_id.
std::vector<std::int64_t> firstOfContents(Query& rows, std::int64_t most)
{
    std::vector<std::int64_t> airings;
    std::set<std::int64_t> contents;
    while (static_cast<std::int64_t>(airings.size()) < most && rows.next()) {
        if (contents.insert(rows.number("content_id")).second) {
            airings.push_back(rows.number("id"));
        }
    }
    return airings;
}

// As firstOfContents of kMissedByChannel.
std::vector<std::int64_t> missedByChannel(sqlite::Connection& connection, std::string_view user, Instant now,
                                          std::int64_t watched)
{
    const WishSets wishes(connection, user, watched);
    std::vector<std::int64_t> sources;
    {
        Query lineup(connection, "SELECT source_id FROM channel ORDER BY position, source_id");
        sources = numbersOf(lineup);
    }
    std::vector<std::int64_t> airings;
    std::set<std::int64_t> contents;
    for (const std::int64_t source : sources) {
        Query rows(connection, kOverOnChannel);
        rows.bind(user, now - kMissedSpan, now, source);
        while (rows.next()) {
            const std::int64_t content = rows.number("content_id");
            if (!wishes.has(content, rows.number("series_id")) || !contents.insert(content).second) {
                continue;
            }
            airings.push_back(rows.number("id"));
            if (static_cast<std::int64_t>(airings.size()) == kMissedMost) {
                return airings;
            }
        }
    }
    return airings;
}

// The id of the airing that is on at that moment; 0 if the channel has none.
std::int64_t onAt(sqlite::Connection& connection, std::int64_t source, Instant at)
{
    std::int64_t airing = 0;
    guide::onAir(connection, source, at, {}, [&](const guide::Programme& programme) { airing = programme.airing; });
    return airing;
}

Instant slotBegin(const Zone& zone, Instant at)
{
    const Instant midnight = zone.midnight(at);
    return midnight + (at - midnight) / kSlot * kSlot;
}

using Habit = std::map<int, std::map<std::int64_t, std::int64_t>>;  // times by slot, then by source

Habit habitOf(sqlite::Connection& connection, std::string_view user, const Zone& zone, Instant now)
{
    Habit habit;
    Query rows(connection, kHabit);
    rows.bind(user, now - kHistory, now);
    while (rows.next()) {
        habit[timeslotOf(zone, rows.number("half_hour") * kHalfHour)][rows.number("source_id")] += rows.number("times");
    }
    return habit;
}

// Maps half hours of UTC to today's half hours in the zone, also for days before a change of its clock.
Habit habitOfAll(sqlite::Connection& connection, const Zone& zone, Instant now)
{
    std::array<int, kDay / kHalfHour> slots{};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        slots[i] = timeslotOf(zone, now / kDay * kDay + static_cast<Instant>(i) * kHalfHour);
    }
    Habit habit;
    Query rows(connection, kHabitOfAll);
    rows.bind((now - kHistory) / kHalfHour);
    while (rows.next()) {
        habit[slots.at(static_cast<std::size_t>(rows.number("half_hour_of_day")))][rows.number("source_id")] +=
            rows.number("users");
    }
    return habit;
}

std::vector<SlotPick> picksOf(sqlite::Connection& connection, Habit counts, const Zone& zone, Instant now,
                              Reason reason)
{
    std::vector<SlotPick> picks;
    for (int ahead = 0; ahead < kSlots; ++ahead) {
        const Instant at = ahead == 0 ? now : slotBegin(zone, now) + ahead * kSlot;
        const int slot = timeslotOf(zone, at);
        std::vector<std::pair<std::int64_t, std::int64_t>> ranked;  // minus the count, then the source
        for (const auto& [source, count] : counts[slot]) {
            if (count > 0) {
                ranked.emplace_back(-count, source);
            }
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
    return numbersOf(rows.bind((now - kHistory) / kDay, count));
}

void forgetOldCounts(sqlite::Connection& connection, Instant now)
{
    Query(connection, "DELETE FROM tuned_day WHERE day <= ?").bind((now - kHistory) / kDay).run();
    Query(connection, "DELETE FROM tuned_half_hour WHERE half_hour <= ?").bind((now - kHistory) / kHalfHour).run();
}

int timeslotOf(const Zone& zone, Instant at)
{
    return static_cast<int>((at - zone.midnight(at)) / kSlot) % kSlots + 1;
}

std::vector<SlotPick> slotsOf(sqlite::Connection& connection, std::string_view user, const Zone& zone, Instant now)
{
    std::vector<SlotPick> picks = picksOf(connection, habitOf(connection, user, zone, now), zone, now, Reason::History);
    return picks.empty() ? slotsOfAll(connection, zone, now) : picks;
}

std::vector<SlotPick> slotsOfAll(sqlite::Connection& connection, const Zone& zone, Instant now)
{
    std::vector<SlotPick> picks = picksOf(connection, habitOfAll(connection, zone, now), zone, now, Reason::Popular);
    if (!picks.empty()) {
        return picks;
    }
    // Falls back to what is on now or comes next, because clients take an empty list for a failure.
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
    const std::int64_t watched = wish == Wish::Watched ? 1 : 0;
    std::string_view query = kMissedByChannel;
    if (order != MissedOrder::Channel) {
        query = queryFor(connection, order == MissedOrder::Time ? kMissedByTime : kMissedByTitle, user, watched);
    } else if (hasManyWishes(connection, user, watched)) {
        return missedByChannel(connection, user, now, watched);
    }
    Query rows(connection, query);
    return firstOfContents(rows.bind(user, now - kMissedSpan, now, watched), kMissedMost);
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
    constexpr std::int64_t kAlsoWatched = 1;
    std::vector<std::int64_t> airings;
    {
        Query rows(connection, queryFor(connection, kWishedSoon, user, kAlsoWatched));
        airings = firstOfContents(rows.bind(user, now, now + kDay, kAlsoWatched), count);
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
        list.push_back({std::string(rows.text("id")), std::string(rows.text("title")),
                        std::string(rows.text("category")), std::string(rows.text("image_url")),
                        rows.number("image_width"), rows.number("image_height")});
    }
    return list;
}

}  // namespace corvaned::recommend
