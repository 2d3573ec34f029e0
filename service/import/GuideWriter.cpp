#include "GuideWriter.h"

#include <limits>
#include <set>
#include <utility>

#include <fmt/format.h>

namespace corvaned {
namespace {

// The stop of an airing whose stop is missing, until setMissingStops().
constexpr std::int64_t kNoStop = std::numeric_limits<std::int64_t>::min();

constexpr std::string_view kAfterStop =
    "clump, content_id, type, season, episode, year, runtime, image_url, image_width, image_height, translations, "
    "lang, title, ep_title, short_desc, series_id, rating";

// Tables of what belongs to an airing, and their columns after the airing's id.
constexpr std::pair<std::string_view, std::string_view> kPartsOfAirings[] = {
    {"translation", "lang, title, ep_title, short_desc"},
    {"airing_genre", "place, genre_id"},
    {"airing_details", "genre_lang, details"},
};

// A table that gives numbers to names.
struct Numbering {
    std::string_view find;
    std::string_view add;
};
constexpr Numbering kSources = {"SELECT id FROM source WHERE listing_id = ?",
                                "INSERT INTO source (listing_id) VALUES (?)"};
constexpr Numbering kGenres = {"SELECT id FROM genre WHERE name = ?", "INSERT INTO genre (name) VALUES (?)"};
constexpr Numbering kPeople = {"SELECT id FROM person WHERE name = ?", "INSERT INTO person (name) VALUES (?)"};

std::int64_t numberOf(sqlite::Connection& guide, const Numbering& numbering, std::string_view name)
{
    sqlite::Query known(guide, numbering.find);
    if (known.bind(name).next()) {
        return known.number(0);
    }
    sqlite::Query(guide, numbering.add).run(name);
    return sqlite3_last_insert_rowid(guide.handle());
}

// Once per content, whatever the number of its airings. In the order of the row ids, because in any other order the
// index is rewritten again and again.
constexpr const char* kFillSearch = R"sql(
    INSERT INTO search (rowid, title, ep_title, short_desc, people)
    SELECT content_id,
           title || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(title, ' ') FROM translation WHERE airing_id = first.id) END,
           ep_title || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(ep_title, ' ') FROM translation WHERE airing_id = first.id) END,
           short_desc || CASE translations WHEN 0 THEN '' ELSE
               (SELECT ' ' || group_concat(short_desc, ' ') FROM translation WHERE airing_id = first.id) END,
           (SELECT group_concat(name, ' ') FROM credit JOIN person ON person.id = person_id
            WHERE credit.content_id = first.content_id)
    FROM airing AS first
    WHERE id IN (SELECT min(id) FROM airing GROUP BY content_id)
    ORDER BY content_id
)sql";

}  // namespace

// An index that is made of all rows at once takes a fraction of the time, and no memory for a tree in random order.
GuideWriter::GuideWriter(sqlite::Connection& guide)
    : m_guide(guide),
      m_insertAiring(guide,
                     "INSERT OR IGNORE INTO airing VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, "
                     "?)"),
      m_insertTranslation(guide, "INSERT INTO translation VALUES (?, ?, ?, ?, ?)"),
      m_insertGenre(guide, "INSERT INTO airing_genre VALUES (?, ?, ?)"),
      m_insertDetails(guide, "INSERT INTO airing_details VALUES (?, ?, ?)"),
      m_insertCredit(guide, "INSERT INTO credit VALUES (?, ?, ?, ?, ?, ?)")
{
    std::string drop;
    sqlite::Query indexes(guide,
                          "SELECT name, sql FROM sqlite_schema WHERE type = 'index' AND sql IS NOT NULL "
                          "AND tbl_name IN ('airing', 'airing_genre', 'credit')");
    while (indexes.next()) {
        drop.append("DROP INDEX ").append(indexes.text("name")).append(";");
        m_indexes.emplace_back(indexes.text("sql"));
    }
    guide.execute(drop);
}

std::int64_t GuideWriter::addChannel(std::string_view listingId)
{
    const std::int64_t source = numberOf(m_guide, kSources, listingId);
    sqlite::Query(m_guide, "INSERT INTO channel VALUES (?, ?, '', ?, '', 0, 0, '', 0)")
        .run(source, m_channels++, listingId);
    return source;
}

void GuideWriter::declareChannel(std::int64_t source, const ListingChannel& channel)
{
    sqlite::Query(m_guide,
                  "UPDATE channel SET number = ?, name = ?, icon_url = ?, icon_width = ?, icon_height = ?, "
                  "details = ? WHERE source_id = ?")
        .run(channel.number, channel.name, channel.icon.url, channel.icon.width, channel.icon.height, channel.details,
             source);
}

bool GuideWriter::addAiring(const ListingProgramme& programme, std::int64_t source, const ProgrammeIds& ids)
{
    const ListingStrings& first = programme.strings.front();
    const std::int64_t airing = m_lastAiring + 1;
    m_insertAiring.run(airing, source, programme.start, programme.stop.value_or(kNoStop), programme.clump, ids.content,
                       programme.type, programme.season, programme.episode, programme.year, programme.runtime,
                       programme.image.url, programme.image.width, programme.image.height,
                       static_cast<std::int64_t>(programme.strings.size() - 1), first.lang, first.title,
                       first.episodeTitle, first.description, ids.series, programme.rating);
    if (m_guide.changes() == 0) {
        return false;
    }
    m_lastAiring = airing;
    for (std::size_t i = 1; i < programme.strings.size(); ++i) {
        const ListingStrings& translated = programme.strings[i];
        m_insertTranslation.run(airing, translated.lang, translated.title, translated.episodeTitle,
                                translated.description);
    }
    std::int64_t place = 0;
    for (const std::string& genre : programme.genres) {
        m_insertGenre.run(airing, place++, genreId(genre));
    }
    if (!programme.details.empty() || !programme.genreLang.empty()) {
        m_insertDetails.run(airing, programme.genreLang, programme.details);
    }
    addCredits(programme, ids.content);
    return true;
}

// The first airing with credits decides for all airings of its content.
void GuideWriter::addCredits(const ListingProgramme& programme, std::int64_t content)
{
    if (programme.credits.empty() ||
        sqlite::Query(m_guide, "SELECT 1 FROM credit WHERE content_id = ? LIMIT 1").bind(content).next()) {
        return;
    }
    std::int64_t place = 0;
    for (const ListingCredit& credit : programme.credits) {
        m_insertCredit.run(content, place++, numberOf(m_guide, kPeople, credit.name), credit.job, credit.role,
                           credit.details);
    }
}

std::int64_t GuideWriter::genreId(const std::string& name)
{
    const auto [known, added] = m_genres.try_emplace(name, 0);
    if (added) {
        known->second = numberOf(m_guide, kGenres, name);
    }
    return known->second;
}

void GuideWriter::setMissingStops()
{
    sqlite::Query(m_guide, R"sql(
        UPDATE airing SET stop = coalesce(
            (SELECT min(later.start) FROM airing AS later
             WHERE later.source_id = airing.source_id AND later.start > airing.start
                   AND later.start <= airing.start + 6 * 3600),
            start + 1800)
        WHERE stop = ?
    )sql")
        .run(kNoStop);
}

void GuideWriter::move(const AiringRange& airings, std::int64_t seconds)
{
    sqlite::Query(m_guide, "UPDATE airing SET start = start + ?1, stop = stop + ?1 WHERE id BETWEEN ?2 AND ?3")
        .run(seconds, airings.first, airings.last);
}

void GuideWriter::repeat(const AiringRange& airings, std::int64_t idsTaken, std::int64_t seconds)
{
    sqlite::Query(m_guide, fmt::format("INSERT INTO airing SELECT id + ?1, source_id, start + ?2, stop + ?2, {} "
                                       "FROM airing WHERE id BETWEEN ?3 AND ?4",
                                       kAfterStop))
        .run(idsTaken, seconds, airings.first, airings.last);
    for (const auto& [table, columns] : kPartsOfAirings) {
        sqlite::Query(m_guide, fmt::format("INSERT INTO {0} SELECT airing_id + ?, {1} FROM {0} "
                                           "WHERE airing_id BETWEEN ? AND ?",
                                           table, columns))
            .run(idsTaken, airings.first, airings.last);
    }
}

void GuideWriter::addHeldChannels()
{
    m_guide.execute(
        "INSERT INTO main.channel SELECT source_id, position, iif(is_number_listed, number, ''), name, icon_url, "
        "icon_width, icon_height, details, 0 FROM held.channel");
    m_channels = m_guide.changes();
}

// No programme is longer than the longest, so the range of the index on start has two ends.
void GuideWriter::addHeldAirings(std::int64_t idsTaken)
{
    m_guide.execute(R"sql(
        CREATE TEMP TABLE kept_airing (id INTEGER PRIMARY KEY);
        INSERT INTO kept_airing SELECT id FROM held.airing AS old WHERE NOT EXISTS (
            SELECT 1 FROM main.airing AS new
            WHERE new.source_id = old.source_id AND new.start < old.stop AND new.stop > old.start
                  AND new.start > old.start - (SELECT max(stop - start) FROM main.airing));
    )sql");
    sqlite::Query(m_guide, fmt::format("INSERT INTO main.airing SELECT id + ?, source_id, start, stop, {} "
                                       "FROM held.airing WHERE id IN kept_airing ORDER BY id",
                                       kAfterStop))
        .run(idsTaken);
    for (const auto& [table, columns] : kPartsOfAirings) {
        sqlite::Query(m_guide, fmt::format("INSERT INTO main.{0} SELECT airing_id + ?, {1} FROM held.{0} "
                                           "WHERE airing_id IN kept_airing",
                                           table, columns))
            .run(idsTaken);
    }
    m_guide.execute(R"sql(
        INSERT INTO main.credit SELECT * FROM held.credit
        WHERE content_id IN (SELECT content_id FROM held.airing WHERE id IN kept_airing)
              AND content_id NOT IN (SELECT content_id FROM main.credit)
    )sql");
}

void GuideWriter::finish()
{
    setGuideFact(m_guide, "lineup", numberChannels());
    for (const std::string& index : m_indexes) {
        m_guide.execute(index);
    }
    m_guide.execute(kFillSearch);
    m_guide.execute("INSERT OR REPLACE INTO guide SELECT 'longest', coalesce(max(stop - start), 0) FROM airing");
}

// Orders the line-up and returns its checksum. A channel without a number in the listings gets the next free one.
std::string GuideWriter::numberChannels()
{
    std::vector<std::int64_t> ordered;
    std::set<std::string, std::less<>> taken;
    std::size_t listed = 0;
    // A number may have two parts, as in "5.1".
    sqlite::Query numbers(m_guide, R"sql(
        SELECT source_id, number FROM channel
        ORDER BY number = '', CAST(number AS INTEGER),
                 CAST(substr(number, length(rtrim(number, '0123456789')) + 1) AS INTEGER)
                     * (length(rtrim(number, '0123456789')) > 0), position
    )sql");
    while (numbers.next()) {
        ordered.push_back(numbers.number("source_id"));
        if (!numbers.text("number").empty()) {
            taken.emplace(numbers.text("number"));
            ++listed;
        }
    }
    std::int64_t lastGiven = 0;
    sqlite::Query place(m_guide,
                        "UPDATE channel SET position = ?1, number = iif(?2 = '', number, ?2), "
                        "is_number_listed = ?2 = '' WHERE source_id = ?3");
    for (std::size_t position = 0; position < ordered.size(); ++position) {
        std::string given;
        if (position >= listed) {
            do {
                given = std::to_string(++lastGiven);
            } while (taken.count(given) > 0);
        }
        place.run(static_cast<std::int64_t>(position), given, ordered[position]);
    }
    Digest checksum;
    sqlite::Query rows(m_guide,
                       "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM channel "
                       "ORDER BY position");
    while (rows.next()) {
        checksum.add(rows.number("source_id"));
        checksum.add(rows.text("number"));
        checksum.add(rows.text("name"));
        checksum.add(rows.text("icon_url"));
        checksum.add(rows.number("icon_width"));
        checksum.add(rows.number("icon_height"));
    }
    return checksum.hex();
}

std::string guideFact(sqlite::Connection& guide, std::string_view name)
{
    sqlite::Query value(guide, "SELECT value FROM guide WHERE name = ?");
    value.bind(name);
    return value.next() ? std::string(value.text(0)) : std::string();
}

void setGuideFact(sqlite::Connection& guide, std::string_view name, std::string_view value)
{
    sqlite::Query(guide, "INSERT OR REPLACE INTO guide VALUES (?, ?)").run(name, value);
}

}  // namespace corvaned
