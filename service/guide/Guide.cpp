#include "Guide.h"

#include <algorithm>
#include <cctype>

namespace corvaned::guide {
namespace {

constexpr std::string_view kChannels =
    "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM channel ORDER BY position";
constexpr std::string_view kOneChannel =
    "SELECT source_id, number, name, icon_url, icon_width, icon_height FROM channel WHERE source_id = ?";

// No airing is longer than the longest, so the index range begins where one that lasts into the window could begin.
constexpr std::string_view kAirings = R"sql(
    SELECT content_id, start, stop, type, lang, title, image_url, image_width, image_height,
           (SELECT group_concat(genre_id) FROM airing_genre WHERE airing_id = airing.id),
           translations, id
    FROM airing
    WHERE source_id = ?1 AND start < ?3 AND stop > ?2
          AND start > ?2 - (SELECT value FROM guide WHERE name = 'longest') - 1
    ORDER BY start, clump, id
)sql";

Channel channelOf(const sqlite::Query& row)
{
    return {row.number(0), row.text(1), row.text(2), {row.text(3), row.number(4), row.number(5)}};
}

// Puts the title of the language that serves best in the airing's place, where that is better than its own.
void translate(sqlite::Query& translations, std::string_view wanted, Airing& airing, std::string& lang,
               std::string& title)
{
    int best = languageMatch(airing.lang, wanted);
    while (best < 2 && translations.next()) {
        if (const int match = languageMatch(translations.text(0), wanted); match > best) {
            best = match;
            lang = translations.text(0);
            title = translations.text(1);
            airing.lang = lang;
            airing.title = title;
        }
    }
}

std::string_view primaryTag(std::string_view lang)
{
    return lang.substr(0, lang.find_first_of("-_"));
}

bool sameTag(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](unsigned char a, unsigned char b) {
        return (a == '_' ? '-' : std::tolower(a)) == (b == '_' ? '-' : std::tolower(b));
    });
}

}  // namespace

std::string digest(sqlite::Connection& connection)
{
    sqlite::Query fact(connection, "SELECT value FROM guide WHERE name = 'digest'");
    return fact.next() ? std::string(fact.text(0)) : std::string();
}

std::string lineupChecksum(sqlite::Connection& connection)
{
    sqlite::Query fact(connection, "SELECT value FROM guide WHERE name = 'lineup'");
    return fact.next() ? std::string(fact.text(0)) : std::string();
}

void forEachChannel(sqlite::Connection& connection, const std::function<void(const Channel&)>& visit)
{
    sqlite::Query rows(connection, kChannels);
    while (rows.next()) {
        visit(channelOf(rows));
    }
}

bool findChannel(sqlite::Connection& connection, std::int64_t source, const std::function<void(const Channel&)>& visit)
{
    sqlite::Query row(connection, kOneChannel);
    if (!row.bind(source).next()) {
        return false;
    }
    visit(channelOf(row));
    return true;
}

void forEachAiring(sqlite::Connection& connection, std::int64_t source, Instant from, Instant to, std::string_view lang,
                   const std::function<void(const Airing&)>& visit)
{
    std::string otherLang;
    std::string otherTitle;
    sqlite::Query rows(connection, kAirings);
    rows.bind(source, from, to);
    while (rows.next()) {
        Airing airing{rows.number(0), rows.number(1), rows.number(2), rows.text(3),
                      rows.text(4),   rows.text(5),   rows.text(9),   {rows.text(6), rows.number(7), rows.number(8)}};
        if (rows.number(10) > 0 && !lang.empty()) {
            sqlite::Query translations(connection, "SELECT lang, title FROM translation WHERE airing_id = ?");
            translate(translations.bind(rows.number(11)), lang, airing, otherLang, otherTitle);
        }
        visit(airing);
    }
}

int languageMatch(std::string_view offered, std::string_view wanted)
{
    if (sameTag(offered, wanted)) {
        return 2;
    }
    return !wanted.empty() && sameTag(primaryTag(offered), primaryTag(wanted)) ? 1 : 0;
}

}  // namespace corvaned::guide
