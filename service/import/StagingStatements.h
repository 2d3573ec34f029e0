// SQL of an import: the staging tables, and how they become the guide. GuideImport.cpp runs it.
#pragma once

#include <string_view>

namespace corvaned {

inline constexpr const char* kStaging = R"sql(
    PRAGMA temp_store = FILE;
    CREATE TEMP TABLE staged_channel (
        id INTEGER PRIMARY KEY, listing_id TEXT NOT NULL UNIQUE, number TEXT NOT NULL, name TEXT NOT NULL,
        icon_url TEXT NOT NULL, icon_width INTEGER NOT NULL, icon_height INTEGER NOT NULL, details TEXT NOT NULL,
        source_id INTEGER
    );
    CREATE TEMP TABLE staged_airing (
        id INTEGER PRIMARY KEY, channel INTEGER NOT NULL, start INTEGER NOT NULL, stop INTEGER, clump INTEGER NOT NULL,
        content_id INTEGER NOT NULL, type TEXT NOT NULL, season INTEGER NOT NULL, episode INTEGER NOT NULL,
        year INTEGER NOT NULL, runtime INTEGER NOT NULL, image_url TEXT NOT NULL, image_width INTEGER NOT NULL,
        image_height INTEGER NOT NULL, translations INTEGER NOT NULL, lang TEXT NOT NULL, title TEXT NOT NULL,
        ep_title TEXT NOT NULL, short_desc TEXT NOT NULL, series_id INTEGER NOT NULL, rating TEXT NOT NULL,
        listing INTEGER NOT NULL, UNIQUE (channel, start, content_id)
    );
    -- Listings that are moved as one have the same bundle.
    CREATE TEMP TABLE staged_listing (id INTEGER PRIMARY KEY, bundle INTEGER NOT NULL);
    CREATE TEMP TABLE staged_move (
        bundle INTEGER NOT NULL, pass INTEGER NOT NULL, shift INTEGER NOT NULL, PRIMARY KEY (bundle, pass)
    ) WITHOUT ROWID;
    CREATE TEMP TABLE staged_translation (
        airing INTEGER NOT NULL, lang TEXT NOT NULL, title TEXT NOT NULL, ep_title TEXT NOT NULL,
        short_desc TEXT NOT NULL, PRIMARY KEY (airing, lang)
    ) WITHOUT ROWID;
    CREATE TEMP TABLE staged_credit (
        content_id INTEGER NOT NULL, place INTEGER NOT NULL, name TEXT NOT NULL, job TEXT NOT NULL, role TEXT NOT NULL,
        details TEXT NOT NULL, PRIMARY KEY (content_id, place)
    ) WITHOUT ROWID;
    CREATE TEMP TABLE staged_details (airing INTEGER PRIMARY KEY, genre_lang TEXT NOT NULL, details TEXT NOT NULL);
    CREATE TEMP TABLE staged_genre (id INTEGER PRIMARY KEY, name TEXT NOT NULL, genre_id INTEGER);
    CREATE TEMP TABLE staged_airing_genre (
        airing INTEGER NOT NULL, place INTEGER NOT NULL, genre INTEGER NOT NULL, PRIMARY KEY (airing, place)
    ) WITHOUT ROWID;
)sql";

inline constexpr std::string_view kDeclareChannel =
    "UPDATE staged_channel SET number = ?, name = ?, icon_url = ?, icon_width = ?, icon_height = ?, details = ? "
    "WHERE id = ?";

// A programme without an end lasts until the next one of its channel. If that is more than six hours later, the
// listing has a gap, and half an hour is assumed.
inline constexpr const char* kMissingStops = R"sql(
    UPDATE staged_airing SET stop = coalesce(
        (SELECT min(later.start) FROM staged_airing AS later
         WHERE later.channel = staged_airing.channel AND later.start > staged_airing.start
               AND later.start <= staged_airing.start + 6 * 3600),
        start + 1800)
    WHERE stop IS NULL
)sql";

inline constexpr const char* kEmptyGuide = R"sql(
    DELETE FROM channel;
    DELETE FROM airing;
    DELETE FROM translation;
    DELETE FROM airing_genre;
    DELETE FROM airing_details;
    DELETE FROM credit;
    INSERT OR IGNORE INTO source (listing_id) SELECT listing_id FROM staged_channel ORDER BY id;
    UPDATE staged_channel SET source_id = (SELECT id FROM source WHERE listing_id = staged_channel.listing_id);
    INSERT OR IGNORE INTO genre (name) SELECT name FROM staged_genre ORDER BY id;
    INSERT OR IGNORE INTO person (name) SELECT name FROM staged_credit ORDER BY content_id, place;
    INSERT INTO credit
        SELECT content_id, place, person.id, job, role, details FROM staged_credit JOIN person ON person.name = staged_credit.name;
    UPDATE staged_genre SET genre_id = (SELECT genre.id FROM genre WHERE genre.name = staged_genre.name);
)sql";

// An index that is made of all rows at once takes a fraction of the time, and no memory for a tree in random order.
// GuideSchema.h has the same indexes.
inline constexpr const char* kDropIndexes = R"sql(
    DROP INDEX airing_by_content;
    DROP INDEX airing_by_series;
    DROP INDEX airing_by_start;
    DROP INDEX airing_by_title;
    DROP INDEX airing_genre_by_genre;
    DROP INDEX credit_by_person;
)sql";
inline constexpr const char* kMakeIndexes = R"sql(
    CREATE INDEX airing_by_content ON airing (content_id, start);
    CREATE INDEX airing_by_series ON airing (series_id, start) WHERE series_id <> 0;
    CREATE INDEX airing_by_start ON airing (start);
    CREATE INDEX airing_by_title ON airing (title, start DESC);
    CREATE INDEX airing_genre_by_genre ON airing_genre (genre_id);
    CREATE INDEX credit_by_person ON credit (person_id);
)sql";

// Parameters of the copies: what is added to the ids of airings, and the pass.
inline constexpr std::string_view kCopyAirings = R"sql(
    INSERT INTO airing
    SELECT staged.id + ?1, source_id, start + shift, stop + shift, clump, content_id, type, season, episode, year,
           runtime, image_url, image_width, image_height, translations, lang, title, ep_title, short_desc, series_id,
           rating
    FROM staged_airing AS staged JOIN staged_channel ON staged_channel.id = channel
         JOIN staged_listing ON staged_listing.id = listing
         JOIN staged_move ON staged_move.bundle = staged_listing.bundle AND pass = ?2
    ORDER BY staged.id
)sql";
inline constexpr std::string_view kCopyTranslations =
    "INSERT INTO translation SELECT airing + ?1, lang, title, ep_title, short_desc FROM staged_translation";
inline constexpr std::string_view kCopyGenres =
    "INSERT INTO airing_genre SELECT airing + ?1, place, genre_id FROM staged_airing_genre "
    "JOIN staged_genre ON staged_genre.id = genre";
inline constexpr std::string_view kCopyDetails =
    "INSERT INTO airing_details SELECT airing + ?1, genre_lang, details FROM staged_details";

// What a merge keeps of the guide that is held, until its tables have been filled anew.
inline constexpr const char* kHoldGuide = R"sql(
    CREATE TEMP TABLE held_airing AS SELECT * FROM airing;
    CREATE TEMP TABLE held_translation AS SELECT * FROM translation;
    CREATE TEMP TABLE held_airing_genre AS SELECT * FROM airing_genre;
    CREATE TEMP TABLE held_airing_details AS SELECT * FROM airing_details;
    CREATE TEMP TABLE held_credit AS SELECT * FROM credit;
)sql";

// A new programme replaces whatever the held guide has at that time on its channel. No programme is longer than the
// longest, ?1, so the range of the index on start has two ends.
inline constexpr std::string_view kDropReplaced = R"sql(
    DELETE FROM held_airing WHERE EXISTS (
        SELECT 1 FROM airing AS new
        WHERE new.source_id = held_airing.source_id AND new.start < held_airing.stop
              AND new.start > held_airing.start - ?1 AND new.stop > held_airing.start)
)sql";

// ?1 is added to the ids of airings.
inline constexpr std::string_view kKeepHeld[] = {
    R"sql(
    INSERT INTO airing
    SELECT id + ?1, source_id, start, stop, clump, content_id, type, season, episode, year, runtime, image_url,
           image_width, image_height, translations, lang, title, ep_title, short_desc, series_id, rating
    FROM held_airing ORDER BY id
    )sql",
    "INSERT INTO translation SELECT airing_id + ?1, lang, title, ep_title, short_desc FROM held_translation "
    "WHERE airing_id IN (SELECT id FROM held_airing)",
    "INSERT INTO airing_genre SELECT airing_id + ?1, place, genre_id FROM held_airing_genre "
    "WHERE airing_id IN (SELECT id FROM held_airing)",
    "INSERT INTO airing_details SELECT airing_id + ?1, genre_lang, details FROM held_airing_details "
    "WHERE airing_id IN (SELECT id FROM held_airing)",
};
inline constexpr const char* kKeepCredits = R"sql(
    INSERT INTO credit SELECT * FROM held_credit
    WHERE content_id IN (SELECT content_id FROM held_airing) AND content_id NOT IN (SELECT content_id FROM credit)
)sql";

// Once per content, whatever the number of its airings. In the order of the row ids, because in any other order the
// index is rewritten again and again.
inline constexpr const char* kFillSearch = R"sql(
    INSERT INTO search (search) VALUES ('delete-all');
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
    FROM (SELECT min(id) AS id, content_id, translations, title, ep_title, short_desc
          FROM airing GROUP BY content_id) AS first
    ORDER BY content_id;
)sql";

}  // namespace corvaned
