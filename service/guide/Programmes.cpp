#include "Programmes.h"

#include <algorithm>

#include "OnAir.h"

namespace corvaned::guide {
namespace {

// Every query of programmes selects these columns, so ProgrammeReader reads the rows of all of them.
std::string programmeQuery(const std::string& rest)
{
    return R"sql(
        SELECT airing.start, airing.stop, airing.runtime, airing.short_desc, airing.rating,
               (SELECT group_concat(genre_id) FROM airing_genre WHERE airing_id = airing.id) AS genres,
               channel.source_id, channel.number, channel.name, channel.icon_url, channel.icon_width,
               channel.icon_height, airing.id AS airing_id, airing.content_id, airing.series_id, airing.type,
               airing.season, airing.episode, airing.year, airing.lang, airing.title, airing.ep_title,
               airing.image_url, airing.image_width, airing.image_height, airing.translations
        FROM airing JOIN channel ON channel.source_id = airing.source_id )sql" +
           rest;
}

constexpr const char* kEndOfTime = "9223372036854775807";

const std::string kOnAir = programmeQuery("WHERE airing.source_id = ?1 AND " + onAirAt("?2") + " ORDER BY " +
                                          std::string(kLatestFirst) + " LIMIT 1");

const std::string kWindow = programmeQuery("WHERE airing.source_id = ?1 AND " + onAirDuring("?2", "?3") +
                                           " ORDER BY airing.start, airing.clump, airing.id");

const std::string kFollowing = programmeQuery("WHERE airing.source_id = ?1 AND " + onAirDuring("?2", kEndOfTime) +
                                              " ORDER BY airing.start, airing.clump, airing.id LIMIT ?3");

// ?5 holds the genres as a JSON array; an empty one means any genre.
const std::string kContents = programmeQuery(
    "WHERE airing.id IN (SELECT id FROM (SELECT id, min(start) FROM airing WHERE " + onAirDuring("?1", "?2") + R"sql(
            AND (json_array_length(?5) = 0 OR EXISTS (
                  SELECT 1 FROM airing_genre
                  WHERE airing_id = airing.id AND genre_id IN (SELECT value FROM json_each(?5))))
            GROUP BY content_id))
    ORDER BY start, channel.position, airing.id LIMIT ?4 OFFSET ?3)sql");

const std::string kAiringsOf = programmeQuery(R"sql(
    WHERE content_id = ?1 AND start >= ?2 AND (?3 = 0 OR airing.source_id = ?3)
    ORDER BY channel.position, start, airing.id)sql");

const std::string kNextAiring = programmeQuery(R"sql(
    WHERE content_id = ?1
    ORDER BY stop <= ?2, CASE WHEN stop > ?2 THEN start ELSE -start END, channel.position, airing.id LIMIT 1)sql");

// ?1 holds the contents as a JSON array.
constexpr std::string_view kDescribeContents = R"sql(
    SELECT airing.id AS airing_id, airing.content_id, airing.series_id, airing.type, airing.season, airing.episode,
           airing.year, airing.lang, airing.title, airing.ep_title, airing.image_url, airing.image_width,
           airing.image_height, airing.translations
    FROM json_each(?1) AS wanted
    JOIN airing ON airing.id = (SELECT id FROM airing WHERE content_id = wanted.value ORDER BY start DESC, id LIMIT 1)
    ORDER BY wanted.key)sql";

const std::string kAiring = programmeQuery("WHERE airing.id = ?1");

const std::string kEpisodesOf = programmeQuery(R"sql(
    WHERE airing.id IN (
        SELECT id FROM (
            SELECT id, row_number() OVER (
                PARTITION BY content_id
                ORDER BY source_id <> ?2, stop <= ?3, CASE WHEN stop > ?3 THEN start ELSE -start END, id) AS place
            FROM airing WHERE series_id = ?1 AND series_id <> 0)
        WHERE place = 1)
    ORDER BY season = 0, season, episode = 0, episode, start, airing.id)sql");

// Reads rows of programmeQuery. Owns the strings of a translation, to which the programme then points.
class ProgrammeReader {
public:
    ProgrammeReader(sqlite::Connection& connection, std::string_view lang) : m_connection(connection), m_wanted(lang) {}

    void visit(const sqlite::Query& row, const ProgrammeVisit& visit)
    {
        Programme programme;
        programme.start = row.number("start");
        programme.stop = row.number("stop");
        programme.runtime = static_cast<int>(row.number("runtime"));
        programme.description = row.text("short_desc");
        programme.rating = row.text("rating");
        programme.genres = row.text("genres");
        programme.channel = channelOf(row);
        visitContent(row, programme, visit);
    }

    // Sets the members that rows of kDescribeContents have, too.
    void visitContent(const sqlite::Query& row, Programme& programme, const ProgrammeVisit& visit)
    {
        programme.airing = row.number("airing_id");
        programme.content = row.number("content_id");
        programme.series = row.number("series_id");
        programme.type = row.text("type");
        programme.season = static_cast<int>(row.number("season"));
        programme.episode = static_cast<int>(row.number("episode"));
        programme.year = static_cast<int>(row.number("year"));
        programme.lang = row.text("lang");
        programme.title = row.text("title");
        programme.episodeTitle = row.text("ep_title");
        programme.image = {row.text("image_url"), row.number("image_width"), row.number("image_height")};
        if (row.number("translations") > 0 && !m_wanted.empty()) {
            translate(programme);
        }
        visit(programme);
    }

private:
    // Where a translation has no string, the one of the first language remains.
    void translate(Programme& programme)
    {
        int best = languageMatch(programme.lang, m_wanted);
        sqlite::Query rows(m_connection,
                           "SELECT lang, title, ep_title, short_desc FROM translation WHERE airing_id = ?");
        rows.bind(programme.airing);
        while (best < kSameLanguage && rows.next()) {
            const int match = languageMatch(rows.text("lang"), m_wanted);
            if (match <= best) {
                continue;
            }
            best = match;
            replace(programme.lang, rows.text("lang"), m_lang);
            replace(programme.title, rows.text("title"), m_title);
            replace(programme.episodeTitle, rows.text("ep_title"), m_episodeTitle);
            replace(programme.description, rows.text("short_desc"), m_description);
        }
    }

    static void replace(std::string_view& own, std::string_view translated, std::string& kept)
    {
        if (!translated.empty()) {
            kept = translated;
            own = kept;
        }
    }

    sqlite::Connection& m_connection;
    std::string_view m_wanted;
    std::string m_lang;
    std::string m_title;
    std::string m_episodeTitle;
    std::string m_description;
};

std::string jsonArray(const std::vector<std::int64_t>& numbers)
{
    std::string array = "[";
    for (const std::int64_t number : numbers) {
        array.append(array.size() > 1 ? "," : "").append(std::to_string(number));
    }
    return array += "]";
}

// Runs the query, whose parameters are already bound, to its end.
bool forEach(sqlite::Connection& connection, sqlite::Query& rows, std::string_view lang, const ProgrammeVisit& visit)
{
    ProgrammeReader reader(connection, lang);
    bool any = false;
    while (rows.next()) {
        any = true;
        reader.visit(rows, visit);
    }
    return any;
}

}  // namespace

void onAir(sqlite::Connection& connection, std::int64_t source, Instant at, std::string_view lang,
           const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kOnAir);
    forEach(connection, rows.bind(source, at), lang, visit);
}

void window(sqlite::Connection& connection, std::int64_t source, Instant from, Instant to, std::string_view lang,
            const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kWindow);
    forEach(connection, rows.bind(source, from, to), lang, visit);
}

void following(sqlite::Connection& connection, std::int64_t source, Instant at, std::int64_t count,
               std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kFollowing);
    forEach(connection, rows.bind(source, at, count), lang, visit);
}

void contents(sqlite::Connection& connection, const std::vector<std::int64_t>& genres, Instant from, Instant to,
              Page page, std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kContents);
    forEach(connection, rows.bind(from, to, page.start, page.count, jsonArray(genres)), lang, visit);
}

void airingsOf(sqlite::Connection& connection, std::int64_t content, std::int64_t source, Instant from,
               std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kAiringsOf);
    forEach(connection, rows.bind(content, from, source), lang, visit);
}

bool nextAiring(sqlite::Connection& connection, std::int64_t content, Instant at, std::string_view lang,
                const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kNextAiring);
    return forEach(connection, rows.bind(content, at), lang, visit);
}

void describeContents(sqlite::Connection& connection, const std::vector<std::int64_t>& contents, std::string_view lang,
                      const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kDescribeContents);
    rows.bind(jsonArray(contents));
    ProgrammeReader reader(connection, lang);
    while (rows.next()) {
        Programme programme;
        reader.visitContent(rows, programme, visit);
    }
}

bool airing(sqlite::Connection& connection, std::int64_t row, std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kAiring);
    const bool known = rows.bind(row).next();
    if (known) {
        ProgrammeReader(connection, lang).visit(rows, visit);
    }
    return known;
}

std::int64_t seriesOf(sqlite::Connection& connection, std::int64_t contentOrSeries)
{
    {
        sqlite::Query episode(connection,
                              "SELECT series_id FROM airing WHERE content_id = ? AND series_id <> 0 LIMIT 1");
        if (episode.bind(contentOrSeries).next()) {
            return episode.number(0);
        }
    }
    sqlite::Query series(connection, "SELECT 1 FROM airing WHERE series_id = ? AND series_id <> 0 LIMIT 1");
    return series.bind(contentOrSeries).next() ? contentOrSeries : 0;
}

void episodesOf(sqlite::Connection& connection, std::int64_t series, std::int64_t source, Instant at,
                std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kEpisodesOf);
    forEach(connection, rows.bind(series, source, at), lang, visit);
}

void forEachCredit(sqlite::Connection& connection, std::int64_t content,
                   const std::function<void(const Credit&)>& visit)
{
    sqlite::Query rows(connection,
                       "SELECT person_id, name, job, role FROM credit JOIN person ON person.id = person_id "
                       "WHERE content_id = ? ORDER BY place");
    rows.bind(content);
    while (rows.next()) {
        visit({rows.number("person_id"), rows.text("name"), rows.text("job"), rows.text("role")});
    }
}

std::optional<Person> findPerson(sqlite::Connection& connection, std::int64_t id)
{
    Person person;
    {
        sqlite::Query row(connection,
                          "SELECT name, (SELECT job FROM credit WHERE person_id = person.id GROUP BY job "
                          "ORDER BY count(*) DESC, job LIMIT 1) AS job FROM person WHERE id = ?");
        if (!row.bind(id).next()) {
            return std::nullopt;
        }
        person = {id, std::string(row.text("name")), std::string(row.text("job")), {}};
    }
    sqlite::Query rows(connection, "SELECT DISTINCT content_id FROM credit WHERE person_id = ? ORDER BY content_id");
    rows.bind(id);
    while (rows.next()) {
        person.contents.push_back(rows.number(0));
    }
    return person;
}

std::vector<Genre> genres(sqlite::Connection& connection)
{
    std::vector<Genre> result;
    sqlite::Query rows(connection,
                       "SELECT id, name FROM genre WHERE EXISTS (SELECT 1 FROM airing_genre WHERE genre_id = genre.id) "
                       "ORDER BY id");
    while (rows.next()) {
        result.push_back({rows.number("id"), std::string(rows.text("name"))});
    }
    return result;
}

}  // namespace corvaned::guide
