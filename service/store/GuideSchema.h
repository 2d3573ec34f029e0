// The schema of the guide's file, as the steps of its history. To change it, add a step at the end: NewGuide.cpp makes
// every new file with all of them, CombinedDatabase.cpp brings old files up to date with those that they lack.
//
// Up to kCombinedFormat, one file had the guide and the viewers' data.
#pragma once

#include <cstdint>
#include <iterator>

#include "LineupSchema.h"
#include "TuningCountsSchema.h"
#include "ViewerSchema.h"

namespace corvaned {

/// Marks the file as corvaned's ("crvn"), so that another program's database is not changed.
inline constexpr std::int64_t kGuideApplication = 0x6372766e;

inline constexpr const char* kGuideSteps[] = {
    R"sql(
    -- Channels ever seen. What viewers keep refers to these numbers, so a row is never removed or renumbered.
    CREATE TABLE source (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        listing_id TEXT NOT NULL UNIQUE
    );
    -- The line-up of the current guide.
    CREATE TABLE channel (
        source_id INTEGER PRIMARY KEY REFERENCES source,
        position INTEGER NOT NULL,
        number TEXT NOT NULL,
        name TEXT NOT NULL,
        icon_url TEXT NOT NULL,
        icon_width INTEGER NOT NULL,
        icon_height INTEGER NOT NULL
    );
    -- One showing of a programme. Times are seconds since 1970; runtime is in minutes; 0 and '' mean unknown.
    -- Airings of the same film or episode share their content_id, also from one import to the next.
    CREATE TABLE airing (
        id INTEGER PRIMARY KEY,
        source_id INTEGER NOT NULL REFERENCES channel,
        start INTEGER NOT NULL,
        stop INTEGER NOT NULL,
        clump INTEGER NOT NULL,
        content_id INTEGER NOT NULL,
        type TEXT NOT NULL,
        season INTEGER NOT NULL,
        episode INTEGER NOT NULL,
        year INTEGER NOT NULL,
        runtime INTEGER NOT NULL,
        image_url TEXT NOT NULL,
        image_width INTEGER NOT NULL,
        image_height INTEGER NOT NULL,
        translations INTEGER NOT NULL,
        lang TEXT NOT NULL,
        title TEXT NOT NULL,
        ep_title TEXT NOT NULL,
        short_desc TEXT NOT NULL,
        UNIQUE (source_id, start, content_id)
    );
    -- The strings of an airing in further languages.
    CREATE TABLE translation (
        airing_id INTEGER NOT NULL REFERENCES airing,
        lang TEXT NOT NULL,
        title TEXT NOT NULL,
        ep_title TEXT NOT NULL,
        short_desc TEXT NOT NULL,
        PRIMARY KEY (airing_id, lang)
    ) WITHOUT ROWID;
    -- Genres ever seen; clients cache their numbers, so a row is never removed or renumbered.
    CREATE TABLE genre (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        name TEXT NOT NULL UNIQUE
    );
    CREATE TABLE airing_genre (
        airing_id INTEGER NOT NULL REFERENCES airing,
        place INTEGER NOT NULL,
        genre_id INTEGER NOT NULL REFERENCES genre,
        PRIMARY KEY (airing_id, place)
    ) WITHOUT ROWID;
    -- Facts about the guide as a whole, by name.
    CREATE TABLE guide (
        name TEXT PRIMARY KEY,
        value NOT NULL
    ) WITHOUT ROWID;
    CREATE TABLE session (
        id TEXT PRIMARY KEY,
        user_id TEXT NOT NULL,
        seedkey TEXT NOT NULL,
        expires INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE INDEX session_by_expiry ON session (expires);
    )sql",
    R"sql(
    -- 0 if an airing belongs to no series.
    ALTER TABLE airing ADD COLUMN series_id INTEGER NOT NULL DEFAULT 0;
    ALTER TABLE airing ADD COLUMN rating TEXT NOT NULL DEFAULT '';
    CREATE INDEX airing_by_content ON airing (content_id, start);
    CREATE INDEX airing_by_series ON airing (series_id, start) WHERE series_id <> 0;
    CREATE INDEX airing_by_start ON airing (start);
    CREATE INDEX airing_genre_by_genre ON airing_genre (genre_id);
    -- People ever named, identified by name. Clients keep their numbers, so a row is never removed.
    CREATE TABLE person (
        id INTEGER PRIMARY KEY AUTOINCREMENT,
        name TEXT NOT NULL UNIQUE
    );
    CREATE TABLE credit (
        content_id INTEGER NOT NULL,
        place INTEGER NOT NULL,
        person_id INTEGER NOT NULL REFERENCES person,
        job TEXT NOT NULL,
        role TEXT NOT NULL,
        PRIMARY KEY (content_id, place)
    ) WITHOUT ROWID;
    CREATE INDEX credit_by_person ON credit (person_id);
    -- The words of a content in all its languages; rowid is the content_id.
    CREATE VIRTUAL TABLE search USING fts5 (
        title, ep_title, short_desc, people, content = '', prefix = '2 3', tokenize = 'unicode61 remove_diacritics 2'
    );
    -- Guides imported before lack all of this, so the same listing must count as a new one.
    DELETE FROM guide WHERE name = 'digest';
    )sql",
    R"sql(
    -- The file that a user sent last.
    CREATE TABLE upload (
        user_id TEXT PRIMARY KEY,
        filename TEXT NOT NULL,
        received INTEGER NOT NULL,
        content BLOB NOT NULL
    ) WITHOUT ROWID;
    )sql",        kViewerTables,
    kLineupTables, kTuningCounts,
    R"sql(
    -- Lines of XML (service/import/ListingDetails.h) with what the other columns cannot hold; empty if there is nothing.
    ALTER TABLE channel ADD COLUMN details TEXT NOT NULL DEFAULT '';
    ALTER TABLE credit ADD COLUMN details TEXT NOT NULL DEFAULT '';
    CREATE TABLE airing_details (
        airing_id INTEGER PRIMARY KEY REFERENCES airing,
        genre_lang TEXT NOT NULL,
        details TEXT NOT NULL
    );
    -- 0: the import has chosen the number.
    ALTER TABLE channel ADD COLUMN is_number_listed INTEGER NOT NULL DEFAULT 1;
    -- The versions of the listings that the guide with that digest was made of, if they came from the network.
    CREATE TABLE fetched_listing (
        url_digest TEXT PRIMARY KEY,
        etag TEXT NOT NULL,
        last_modified TEXT NOT NULL,
        guide_digest TEXT NOT NULL
    ) WITHOUT ROWID;
    -- Guides imported before lack all of this, so the same listing must count as a new one.
    DELETE FROM guide WHERE name = 'digest';
    )sql",        "CREATE INDEX airing_by_title ON airing (title, start DESC);",
    R"sql(
    -- What viewers keep has its own store (service/viewers/store).
    DROP VIEW wish;
    DROP VIEW dislike;
    DROP TABLE tuning;
    DROP TABLE tuned_day;
    DROP TABLE tuned_half_hour;
    DROP TABLE tuned_habit;
    DROP TABLE favorite;
    DROP TABLE vote;
    DROP TABLE remembered_content;
    DROP TABLE agreement;
    DROP TABLE saved_headend;
    DROP TABLE upload;
    DROP TABLE session;
    )sql",
};

inline constexpr std::int64_t kCombinedFormat = 8;
inline constexpr auto kGuideFormat = static_cast<std::int64_t>(std::size(kGuideSteps));
static_assert(kGuideFormat == kCombinedFormat + 1);

}  // namespace corvaned
