#include "Recommend.h"

#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Guide.h"
#include "OnAir.h"
#include "Programmes.h"

namespace corvaned::recommend {
namespace {

constexpr std::int64_t kHistory = 28 * kDay;
constexpr std::int64_t kMissedSpan = 7 * kDay;
constexpr std::int64_t kSlot = 10800;  // three hours
constexpr std::int64_t kHalfHour = 1800;
constexpr int kSlots = static_cast<int>(kDay / kSlot);
constexpr std::size_t kPerSlot = 5;
constexpr std::size_t kFallback = 10;
constexpr std::size_t kAll = SIZE_MAX;
constexpr std::size_t kMissedMost = 100;

// Counts a viewer at most once a day for a channel, so that zapping has little weight.
constexpr std::string_view kPopularity =
    "SELECT source_id, sum(users) AS score FROM tuned_day WHERE day > ? GROUP BY source_id";

// Half hours are exact for nearly all zones, whose offsets are multiples of half an hour. In the other zones, slots are
// off by a quarter of an hour.
constexpr std::string_view kHabit = R"sql(
    SELECT source_id, at / 1800 AS half_hour, count(*) AS times
    FROM tuning WHERE user_id = ? AND at > ? AND at <= ? GROUP BY source_id, at / 1800
)sql";

// The counts, minus those that are older than four weeks and not deleted yet.
constexpr std::string_view kHabitOfAll = R"sql(
    SELECT source_id, half_hour_of_day, users FROM tuned_habit
    UNION ALL
    SELECT source_id, half_hour % 48, -users FROM tuned_half_hour WHERE half_hour <= ?
)sql";

constexpr std::string_view kHabitualChannels = R"sql(
    SELECT source_id FROM tuning WHERE user_id = ? AND at > ? AND at <= ?
    GROUP BY source_id ORDER BY count(*) DESC, max(at) DESC
)sql";

constexpr std::string_view kNext = "SELECT id FROM airing WHERE start >= ? ORDER BY start, id LIMIT ?";

// Airings from ?1 to ?2, only of the contents in ?3 and the series in ?4, which are JSON arrays.
const std::string kAirings = "SELECT id, content_id, series_id, source_id, start, stop FROM airing ";
const std::string kAmong = "WHERE " + guide::onAirDuring("?1", "?2") + R"sql(
    AND (content_id IN (SELECT value FROM json_each(?3))
         OR (series_id <> 0 AND series_id IN (SELECT value FROM json_each(?4))))
)sql";

// An order of airings and the index that has it.
struct AiringOrder {
    const char* index;
    const char* order;
};
constexpr AiringOrder kLatestFirst = {"airing_by_start", "ORDER BY start DESC, id"};
constexpr AiringOrder kSoonestFirst = {"airing_by_start", "ORDER BY start, id"};
constexpr AiringOrder kByTitle = {"airing_by_title", "ORDER BY title, start DESC, id"};

const std::string kOfChannel =
    "WHERE source_id = ?3 AND " + guide::onAirDuring("?1", "?2") + " ORDER BY start DESC, id";
const std::string kOfContent = "INDEXED BY airing_by_content WHERE content_id = ?3 AND " +
                               guide::onAirDuring("?1", "?2") + " ORDER BY start DESC, id";

// With at least this many wishes, it is faster to read all airings in the requested order and to stop at the last one
// needed. With fewer wishes there are few airings, which are found by content.
constexpr std::size_t kManyWishes = 500;

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

// The genres of the contents ?1, an array of JSON.
constexpr std::string_view kGenresOfFew = R"sql(
    SELECT DISTINCT genre_id FROM airing_genre JOIN airing ON airing.id = airing_id
    WHERE content_id IN (SELECT value FROM json_each(?1))
)sql";

// The same. Among many contents, nearly every genre has one of its first airings: CROSS JOIN and the plus keep the
// order of the search.
constexpr std::string_view kGenresOfMany = R"sql(
    SELECT id AS genre_id FROM genre
    WHERE EXISTS (SELECT 1 FROM airing_genre CROSS JOIN airing ON airing.id = airing_id
                  WHERE genre_id = genre.id AND +content_id IN (SELECT value FROM json_each(?1)))
)sql";

// ?1 are the contents that interest the user, ?4 the disliked ones, both as arrays of JSON.
std::string filmsBy(std::string_view genres)
{
    return "WITH liked AS MATERIALIZED (" + std::string(genres) + R"sql()
    SELECT id, min(start),
           (SELECT count(*) FROM airing_genre WHERE airing_id = airing.id AND genre_id IN (SELECT genre_id FROM liked))
    FROM airing
    WHERE type = 'movie' AND )sql" +
           guide::onAirDuring("?2", "?3") + R"sql(
          AND content_id NOT IN (SELECT value FROM json_each(?4))
    GROUP BY content_id ORDER BY 3 DESC, 2, id LIMIT ?5
)sql";
}

const std::string kFilms = filmsBy(kGenresOfFew);
const std::string kFilmsOfMany = filmsBy(kGenresOfMany);

using Numbers = std::unordered_set<std::int64_t>;

// What a user cares about.
struct Interests {
    Numbers contents;
    Numbers series;
    Numbers disliked;

    bool areFew() const { return contents.size() < kManyWishes; }
    bool isWished(std::int64_t content, std::int64_t ofSeries) const
    {
        return (contents.count(content) > 0 || (ofSeries != 0 && series.count(ofSeries) > 0)) &&
               disliked.count(content) == 0;
    }
};

// What a user has tuned to.
struct Tunings {
    Numbers contents;
    std::unordered_map<std::int64_t, std::vector<Instant>> times;  // by source

    bool hasSeen(std::int64_t content, std::int64_t source, Instant start, Instant stop) const
    {
        const auto found = times.find(source);
        return contents.count(content) > 0 ||
               (found != times.end() && std::any_of(found->second.begin(), found->second.end(),
                                                    [&](Instant at) { return at >= start && at < stop; }));
    }
};

template <typename Row>
std::vector<std::int64_t> numbersOf(Row& rows, std::string_view column)
{
    std::vector<std::int64_t> numbers;
    while (rows.next()) {
        numbers.push_back(rows.number(column));
    }
    return numbers;
}

std::string jsonOf(const Numbers& numbers)
{
    std::string json = "[";
    for (const std::int64_t number : numbers) {
        json += (json.size() > 1 ? "," : "") + std::to_string(number);
    }
    return json + "]";
}

Interests interestsOf(SqlConnection& connection, std::string_view user, Wish wish)
{
    Interests interests;
    SqlQuery wishes(connection,
                    "SELECT content_id, coalesce(series_id, 0) AS series_id FROM wish "
                    "LEFT JOIN remembered_content USING (content_id) WHERE user_id = ? AND watched <= ?");
    wishes.bind(user, std::int64_t{wish == Wish::Watched});
    while (wishes.next()) {
        interests.contents.insert(wishes.number("content_id"));
        interests.series.insert(wishes.number("series_id"));
    }
    SqlQuery dislikes(connection, "SELECT content_id FROM dislike WHERE user_id = ?");
    dislikes.bind(user);
    while (dislikes.next()) {
        interests.disliked.insert(dislikes.number("content_id"));
    }
    return interests;
}

Tunings tuningsOf(SqlConnection& connection, std::string_view user)
{
    Tunings tunings;
    SqlQuery rows(connection, "SELECT source_id, at, content_id FROM tuning WHERE user_id = ?");
    rows.bind(user);
    while (rows.next()) {
        tunings.contents.insert(rows.number("content_id"));
        tunings.times[rows.number("source_id")].push_back(rows.number("at"));
    }
    return tunings;
}

using IsTaken = std::function<bool(const sqlite::Query& row)>;

struct WishedAiring {
    std::int64_t id;
    std::int64_t source;
};

// The first airing of each content that interests the user, in the requested order, at most `most`.
// @param isTaken  decides about a row of kAirings
std::vector<WishedAiring> wishedAirings(sqlite::Connection& guide, const Interests& interests, Instant from, Instant to,
                                        const AiringOrder& order, std::size_t most, const IsTaken& isTaken)
{
    const bool areFew = interests.areFew();
    const std::string among =
        areFew ? kAmong : std::string("INDEXED BY ") + order.index + " WHERE " + guide::onAirDuring("?1", "?2");
    sqlite::Query rows(guide, kAirings + among + order.order);
    if (areFew) {
        rows.bind(from, to, jsonOf(interests.contents), jsonOf(interests.series));
    } else {
        rows.bind(from, to);
    }
    std::vector<WishedAiring> airings;
    Numbers contents;
    while (airings.size() < most && rows.next()) {
        const std::int64_t content = rows.number("content_id");
        if (interests.isWished(content, rows.number("series_id")) && contents.count(content) == 0 && isTaken(rows)) {
            contents.insert(content);
            airings.push_back({rows.number("id"), rows.number("source_id")});
        }
    }
    return airings;
}

// Whether the airing is the latest one of its content that is taken.
bool isLatest(sqlite::Connection& guide, Instant from, Instant to, std::int64_t content, std::int64_t airing,
              const IsTaken& isTaken)
{
    sqlite::Query rows(guide, kAirings + kOfContent);
    rows.bind(from, to, content);
    while (rows.next()) {
        if (isTaken(rows)) {
            return rows.number("id") == airing;
        }
    }
    return false;
}

// The latest airing of each content that interests the user, by the position of its channel, `most` at most. For many
// wishes: the first channels suffice.
std::vector<WishedAiring> wishedByChannel(sqlite::Connection& guide, const Interests& interests, Instant from,
                                          Instant to, std::size_t most, const IsTaken& isTaken)
{
    std::vector<std::int64_t> sources;
    guide::forEachChannel(guide, [&](const guide::Channel& channel) { sources.push_back(channel.source); });
    std::vector<WishedAiring> airings;
    for (const std::int64_t source : sources) {
        sqlite::Query rows(guide, kAirings + kOfChannel);
        rows.bind(from, to, source);
        while (airings.size() < most && rows.next()) {
            const std::int64_t content = rows.number("content_id");
            const std::int64_t airing = rows.number("id");
            if (interests.isWished(content, rows.number("series_id")) && isTaken(rows) &&
                isLatest(guide, from, to, content, airing, isTaken)) {
                airings.push_back({airing, source});
            }
        }
    }
    return airings;
}

using Scores = std::unordered_map<std::int64_t, std::int64_t>;  // by source

Scores popularityOf(SqlConnection& connection, Instant now)
{
    Scores scores;
    SqlQuery rows(connection, kPopularity);
    rows.bind((now - kHistory) / kDay);
    while (rows.next()) {
        scores[rows.number("source_id")] = rows.number("score");
    }
    return scores;
}

// The sources of the line-up, the highest score first.
std::vector<std::int64_t> byScore(sqlite::Connection& guide, const Scores& scores, std::size_t most)
{
    std::vector<std::pair<std::int64_t, std::int64_t>> ranked;  // minus the score, then the source
    guide::forEachChannel(guide, [&](const guide::Channel& channel) {
        const auto score = scores.find(channel.source);
        ranked.emplace_back(score == scores.end() ? 0 : -score->second, channel.source);
    });
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::vector<std::int64_t> sources;
    for (std::size_t i = 0; i < ranked.size() && i < most; ++i) {
        sources.push_back(ranked[i].second);
    }
    return sources;
}

// The id of the airing that is on at that moment; 0 if the channel has none.
std::int64_t onAt(sqlite::Connection& guide, std::int64_t source, Instant at)
{
    std::int64_t airing = 0;
    guide::onAir(guide, source, at, {}, [&](const guide::Programme& programme) { airing = programme.airing; });
    return airing;
}

Instant slotBegin(const Zone& zone, Instant at)
{
    const Instant midnight = zone.midnight(at);
    return midnight + (at - midnight) / kSlot * kSlot;
}

using Habit = std::map<int, std::map<std::int64_t, std::int64_t>>;  // times by slot, then by source

Habit habitOf(SqlConnection& connection, std::string_view user, const Zone& zone, Instant now)
{
    Habit habit;
    SqlQuery rows(connection, kHabit);
    rows.bind(user, now - kHistory, now);
    while (rows.next()) {
        habit[timeslotOf(zone, rows.number("half_hour") * kHalfHour)][rows.number("source_id")] += rows.number("times");
    }
    return habit;
}

// Maps half hours of UTC to today's half hours in the zone, also for days before a change of its clock.
Habit habitOfAll(SqlConnection& connection, const Zone& zone, Instant now)
{
    std::array<int, kDay / kHalfHour> slots{};
    for (std::size_t i = 0; i < slots.size(); ++i) {
        slots[i] = timeslotOf(zone, now / kDay * kDay + static_cast<Instant>(i) * kHalfHour);
    }
    Habit habit;
    SqlQuery rows(connection, kHabitOfAll);
    rows.bind((now - kHistory) / kHalfHour);
    while (rows.next()) {
        habit[slots.at(static_cast<std::size_t>(rows.number("half_hour_of_day")))][rows.number("source_id")] +=
            rows.number("users");
    }
    return habit;
}

std::vector<SlotPick> picksOf(sqlite::Connection& guide, Habit counts, const Zone& zone, Instant now, PickReason reason)
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
            if (const std::int64_t airing = onAt(guide, ranked[i].second, at); airing != 0) {
                picks.push_back({airing, slot, ++sequence, reason});
            }
        }
    }
    return picks;
}

}  // namespace

std::vector<std::int64_t> popularChannels(ViewerStore& viewers, sqlite::Connection& guide, Instant now,
                                          std::int64_t count)
{
    Scores scores;
    viewers.read([&](SqlConnection& connection) { scores = popularityOf(connection, now); });
    return byScore(guide, scores, static_cast<std::size_t>(count));
}

void forgetOldCounts(SqlConnection& connection, Instant now)
{
    SqlQuery(connection, "DELETE FROM tuned_day WHERE day <= ?").bind((now - kHistory) / kDay).run();
    SqlQuery(connection, "DELETE FROM tuned_half_hour WHERE half_hour <= ?").bind((now - kHistory) / kHalfHour).run();
}

int timeslotOf(const Zone& zone, Instant at)
{
    return static_cast<int>((at - zone.midnight(at)) / kSlot) % kSlots + 1;
}

std::vector<SlotPick> slotsOf(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, const Zone& zone,
                              Instant now)
{
    Habit habit;
    viewers.read([&](SqlConnection& connection) { habit = habitOf(connection, user, zone, now); });
    std::vector<SlotPick> picks = picksOf(guide, std::move(habit), zone, now, PickReason::History);
    return picks.empty() ? slotsOfAll(viewers, guide, zone, now) : picks;
}

std::vector<SlotPick> slotsOfAll(ViewerStore& viewers, sqlite::Connection& guide, const Zone& zone, Instant now)
{
    Habit habit;
    Scores scores;
    viewers.read([&](SqlConnection& connection) {
        habit = habitOfAll(connection, zone, now);
        scores = popularityOf(connection, now);
    });
    std::vector<SlotPick> picks = picksOf(guide, std::move(habit), zone, now, PickReason::Popular);
    if (!picks.empty()) {
        return picks;
    }
    // Falls back to what is on now or comes next, because clients take an empty list for a failure.
    std::vector<std::int64_t> airings;
    for (const std::int64_t source : byScore(guide, scores, kAll)) {
        if (airings.size() == kFallback) {
            break;
        }
        if (const std::int64_t airing = onAt(guide, source, now); airing != 0) {
            airings.push_back(airing);
        }
    }
    if (airings.empty()) {
        sqlite::Query rows(guide, kNext);
        airings = numbersOf(rows.bind(now, std::int64_t{kFallback}), "id");
    }
    int sequence = 0;
    for (const std::int64_t airing : airings) {
        picks.push_back({airing, timeslotOf(zone, now), ++sequence, PickReason::OnNow});
    }
    return picks;
}

std::vector<std::int64_t> missed(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Instant now,
                                 Wish wish, MissedOrder order)
{
    Interests interests;
    Tunings tunings;
    viewers.read([&](SqlConnection& connection) {
        interests = interestsOf(connection, user, wish);
        tunings = tuningsOf(connection, user);
    });
    const auto isMissed = [&](const sqlite::Query& row) {
        const Instant stop = row.number("stop");
        return stop <= now &&
               !tunings.hasSeen(row.number("content_id"), row.number("source_id"), row.number("start"), stop);
    };
    const Instant from = now - kMissedSpan;
    const bool isByChannel = order == MissedOrder::Channel;
    std::vector<WishedAiring> airings =
        isByChannel && !interests.areFew()
            ? wishedByChannel(guide, interests, from, now, kMissedMost, isMissed)
            : wishedAirings(guide, interests, from, now, order == MissedOrder::Title ? kByTitle : kLatestFirst,
                            isByChannel ? kAll : kMissedMost, isMissed);
    if (isByChannel && interests.areFew()) {
        Scores positions;
        guide::forEachChannel(guide, [&](const guide::Channel& channel) {
            positions.emplace(channel.source, static_cast<std::int64_t>(positions.size()));
        });
        std::stable_sort(airings.begin(), airings.end(), [&](const WishedAiring& left, const WishedAiring& right) {
            return positions[left.source] < positions[right.source];
        });
    }
    std::vector<std::int64_t> ids;
    for (std::size_t i = 0; i < airings.size() && i < kMissedMost; ++i) {
        ids.push_back(airings[i].id);
    }
    return ids;
}

std::vector<std::int64_t> related(sqlite::Connection& guide, std::int64_t content, std::int64_t series, Instant now,
                                  std::int64_t count)
{
    sqlite::Query rows(guide, kRelated);
    return numbersOf(rows.bind(content, series, now, count), "content_id");
}

PersonalChoice personalChoice(ViewerStore& viewers, sqlite::Connection& guide, std::string_view user, Instant now,
                              std::int64_t count)
{
    Interests interests;
    std::vector<std::int64_t> sources;
    Scores scores;
    viewers.read([&](SqlConnection& connection) {
        interests = interestsOf(connection, user, Wish::Watched);
        SqlQuery rows(connection, kHabitualChannels);
        sources = numbersOf(rows.bind(user, now - kHistory, now), "source_id");
        scores = popularityOf(connection, now);
    });
    PersonalChoice choice;
    for (const WishedAiring& airing :
         wishedAirings(guide, interests, now, now + kDay, kSoonestFirst, static_cast<std::size_t>(count),
                       [](const sqlite::Query&) { return true; })) {
        choice.television.push_back(airing.id);
    }
    const std::vector<std::int64_t> popular = byScore(guide, scores, kAll);
    sources.insert(sources.end(), popular.begin(), popular.end());
    std::set<std::int64_t> taken(choice.television.begin(), choice.television.end());
    for (const std::int64_t source : sources) {
        if (static_cast<std::int64_t>(choice.television.size()) >= count) {
            break;
        }
        if (const std::int64_t airing = onAt(guide, source, now); airing != 0 && taken.insert(airing).second) {
            choice.television.push_back(airing);
        }
    }
    sqlite::Query films(guide, interests.areFew() ? kFilms : kFilmsOfMany);
    choice.films =
        numbersOf(films.bind(jsonOf(interests.contents), now, now + 2 * kDay, jsonOf(interests.disliked), count), "id");
    return choice;
}

std::vector<App> apps(sqlite::Connection& guide)
{
    std::vector<App> list;
    sqlite::Query rows(guide,
                       "SELECT id, title, category, image_url, image_width, image_height FROM app ORDER BY place");
    while (rows.next()) {
        list.push_back({std::string(rows.text("id")), std::string(rows.text("title")),
                        std::string(rows.text("category")), std::string(rows.text("image_url")),
                        rows.number("image_width"), rows.number("image_height")});
    }
    return list;
}

}  // namespace corvaned::recommend
