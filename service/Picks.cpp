#include "Picks.h"

namespace corvaned {
namespace {

constexpr std::string_view kAiring = R"sql(
    SELECT content_id, airing.source_id, channel.number, channel.name, start, stop, type, season, episode, year, lang,
           title, ep_title, rating, (SELECT group_concat(genre_id) FROM airing_genre WHERE airing_id = airing.id),
           image_url, image_width, image_height, translations
    FROM airing JOIN channel USING (source_id)
    WHERE airing.id = ?
)sql";

constexpr std::string_view kRemembered = R"sql(
    SELECT content_id, 0, '', '', 0, 0, type, season, episode, year, lang, title, ep_title, '', '', image_url,
           image_width, image_height
    FROM remembered_content
    WHERE content_id = ?
)sql";

constexpr std::string_view kAiringOfContent = R"sql(
    SELECT id FROM airing WHERE content_id = ?1
    ORDER BY stop <= ?2, CASE WHEN stop > ?2 THEN start ELSE -start END
    LIMIT 1
)sql";

Pick read(const sqlite::Query& row)
{
    const auto text = [&row](int column) { return std::string(row.text(column)); };
    Pick pick;
    pick.content = row.number(0);
    pick.source = row.number(1);
    pick.channelNumber = text(2);
    pick.channelName = text(3);
    pick.start = row.number(4);
    pick.stop = row.number(5);
    pick.type = text(6);
    pick.season = row.number(7);
    pick.episode = row.number(8);
    pick.year = row.number(9);
    pick.lang = text(10);
    pick.title = text(11);
    pick.episodeTitle = text(12);
    pick.rating = text(13);
    pick.genres = text(14);
    pick.imageUrl = text(15);
    pick.imageWidth = row.number(16);
    pick.imageHeight = row.number(17);
    return pick;
}

void translate(sqlite::Connection& connection, std::int64_t airing, std::string_view lang, Pick& pick)
{
    int best = guide::languageMatch(pick.lang, lang);
    sqlite::Query rows(connection, "SELECT lang, title, ep_title FROM translation WHERE airing_id = ?");
    rows.bind(airing);
    while (best < 2 && rows.next()) {
        if (const int match = guide::languageMatch(rows.text(0), lang); match > best) {
            best = match;
            pick.lang = rows.text(0);
            pick.title = rows.text(1);
            pick.episodeTitle = rows.text(2);
        }
    }
}

}  // namespace

std::optional<Pick> pickAiring(sqlite::Connection& connection, std::int64_t airing, std::string_view lang)
{
    sqlite::Query row(connection, kAiring);
    if (!row.bind(airing).next()) {
        return std::nullopt;
    }
    Pick pick = read(row);
    if (row.number(18) > 0 && !lang.empty()) {
        translate(connection, airing, lang, pick);
    }
    return pick;
}

std::optional<Pick> pickContent(sqlite::Connection& connection, std::int64_t content, Instant now,
                                std::string_view lang)
{
    {
        sqlite::Query airing(connection, kAiringOfContent);
        if (airing.bind(content, now).next()) {
            return pickAiring(connection, airing.number(0), lang);
        }
    }
    sqlite::Query remembered(connection, kRemembered);
    if (!remembered.bind(content).next()) {
        return std::nullopt;
    }
    return read(remembered);
}

}  // namespace corvaned
