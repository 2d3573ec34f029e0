// Every query selects the same columns of a programme, so one function reads all rows.
#include "GuideBrowse.h"

#include <algorithm>

namespace corvaned::guide {
namespace {

// A statement's text must last as long as the connection: these are made once and kept.
std::string programmeQuery(std::string_view rest)
{
    return std::string(R"sql(
        SELECT airing.content_id, airing.series_id, airing.start, airing.stop, airing.type, airing.season,
               airing.episode, airing.year, airing.runtime, airing.lang, airing.title, airing.ep_title,
               airing.short_desc, airing.rating, airing.image_url, airing.image_width, airing.image_height,
               (SELECT group_concat(genre_id) FROM airing_genre WHERE airing_id = airing.id),
               channel.source_id, channel.number, channel.name, channel.icon_url, channel.icon_width,
               channel.icon_height, airing.translations, airing.id
        FROM airing JOIN channel ON channel.source_id = airing.source_id
    )sql")
        .append(rest);
}

const std::string kOnAir = programmeQuery(R"sql(
    WHERE airing.source_id = ?1 AND start <= ?2 AND stop > ?2
          AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1
    ORDER BY start DESC, clump, airing.id LIMIT 1)sql");

const std::string kWindow = programmeQuery(R"sql(
    WHERE airing.source_id = ?1 AND start < ?3 AND stop > ?2
          AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1
    ORDER BY start, clump, airing.id)sql");

const std::string kFollowing = programmeQuery(R"sql(
    WHERE airing.source_id = ?1 AND stop > ?2
          AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1
    ORDER BY start, clump, airing.id LIMIT ?3)sql");

// ?5 holds the genres as a JSON array; an empty one asks for none in particular.
const std::string kContents = programmeQuery(R"sql(
    WHERE airing.id IN (
        SELECT id FROM (
            SELECT id, min(start) FROM airing
            WHERE start < ?2 AND stop > ?1 AND start > ?1 - (SELECT value FROM guide WHERE name = 'longest') - 1
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

// Reads rows of programmes; keeps the texts of another language that it puts in the place of the airing's own.
class Reader {
public:
    Reader(sqlite::Connection& connection, std::string_view lang) : m_connection(connection), m_wanted(lang) {}

    void visit(const sqlite::Query& row, const ProgrammeVisit& visit)
    {
        Programme programme;
        programme.content = row.number(0);
        programme.series = row.number(1);
        programme.start = row.number(2);
        programme.stop = row.number(3);
        programme.type = row.text(4);
        programme.season = static_cast<int>(row.number(5));
        programme.episode = static_cast<int>(row.number(6));
        programme.year = static_cast<int>(row.number(7));
        programme.runtime = static_cast<int>(row.number(8));
        programme.lang = row.text(9);
        programme.title = row.text(10);
        programme.episodeTitle = row.text(11);
        programme.description = row.text(12);
        programme.rating = row.text(13);
        programme.image = {row.text(14), row.number(15), row.number(16)};
        programme.genres = row.text(17);
        programme.channel = {
            row.number(18), row.text(19), row.text(20), {row.text(21), row.number(22), row.number(23)}};
        if (row.number(24) > 0 && !m_wanted.empty()) {
            translate(row.number(25), programme);
        }
        visit(programme);
    }

private:
    void translate(std::int64_t airing, Programme& programme)
    {
        int best = languageMatch(programme.lang, m_wanted);
        sqlite::Query rows(m_connection,
                           "SELECT lang, title, ep_title, short_desc FROM translation WHERE airing_id = ?");
        rows.bind(airing);
        while (best < 2 && rows.next()) {
            if (const int match = languageMatch(rows.text(0), m_wanted); match > best) {
                best = match;
                // A translation without a text of its own leaves the first language's there.
                const std::string_view own[] = {programme.lang, programme.title, programme.episodeTitle,
                                                programme.description};
                for (int i = 0; i < 4; ++i) {
                    m_texts[i] = rows.text(i).empty() ? std::string(own[i]) : std::string(rows.text(i));
                }
                programme.lang = m_texts[0];
                programme.title = m_texts[1];
                programme.episodeTitle = m_texts[2];
                programme.description = m_texts[3];
            }
        }
    }

    sqlite::Connection& m_connection;
    std::string_view m_wanted;
    std::string m_texts[4];
};

// Runs the query, whose parameters are bound, to its end.
bool forEach(sqlite::Connection& connection, sqlite::Query& rows, std::string_view lang, const ProgrammeVisit& visit)
{
    Reader reader(connection, lang);
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
    std::string list = "[";
    for (const std::int64_t genre : genres) {
        list.append(list.size() > 1 ? "," : "").append(std::to_string(genre));
    }
    list += "]";
    sqlite::Query rows(connection, kContents);
    forEach(connection, rows.bind(from, to, page.start, page.count, list), lang, visit);
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

bool airing(sqlite::Connection& connection, std::int64_t row, std::string_view lang, const ProgrammeVisit& visit)
{
    sqlite::Query rows(connection, kAiring);
    const bool known = rows.bind(row).next();
    if (known) {
        Reader(connection, lang).visit(rows, visit);
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
        visit({rows.number(0), rows.text(1), rows.text(2), rows.text(3)});
    }
}

std::optional<Person> findPerson(sqlite::Connection& connection, std::int64_t id)
{
    Person person;
    {
        sqlite::Query row(connection,
                          "SELECT name, (SELECT job FROM credit WHERE person_id = person.id GROUP BY job "
                          "ORDER BY count(*) DESC, job LIMIT 1) FROM person WHERE id = ?");
        if (!row.bind(id).next()) {
            return std::nullopt;
        }
        person = {id, std::string(row.text(0)), std::string(row.text(1)), {}};
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
        result.push_back({rows.number(0), std::string(rows.text(1))});
    }
    return result;
}

}  // namespace corvaned::guide
