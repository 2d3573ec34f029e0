// The tables of places, headends and their line-ups, a step of the schema (GuideSchema.h). PlacesImport.h fills them,
// Lineup.h reads them.
#pragma once

namespace corvaned {

/// The column `place` keeps the operator's order.
inline constexpr const char* kLineupTables = R"sql(
    CREATE TABLE state (
        code TEXT PRIMARY KEY,
        place INTEGER NOT NULL,
        name TEXT NOT NULL
    ) WITHOUT ROWID;
    CREATE TABLE city (
        code TEXT PRIMARY KEY,
        place INTEGER NOT NULL,
        state_code TEXT NOT NULL REFERENCES state,
        name TEXT NOT NULL
    ) WITHOUT ROWID;
    -- In capitals, without blanks and hyphens.
    CREATE TABLE postal_code (
        code TEXT PRIMARY KEY,
        city_code TEXT NOT NULL REFERENCES city
    ) WITHOUT ROWID;
    CREATE TABLE headend (
        id TEXT PRIMARY KEY,
        place INTEGER NOT NULL,
        name TEXT NOT NULL,
        operator_id TEXT NOT NULL,
        operator_name TEXT NOT NULL,
        service_type TEXT NOT NULL,
        satellite TEXT NOT NULL,
        -- For a headend without headend_channel rows: every leave_out-th channel of the guide is missing (0: none), and
        -- the others carry the numbers of those rotate places on.
        leave_out INTEGER NOT NULL,
        rotate INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE TABLE headend_city (
        city_code TEXT NOT NULL REFERENCES city,
        headend_id TEXT NOT NULL REFERENCES headend,
        PRIMARY KEY (city_code, headend_id)
    ) WITHOUT ROWID;
    CREATE TABLE headend_device (
        headend_id TEXT NOT NULL REFERENCES headend,
        place INTEGER NOT NULL,
        type TEXT NOT NULL,
        name TEXT NOT NULL,
        PRIMARY KEY (headend_id, place)
    ) WITHOUT ROWID;
    -- By the channel's id in the listings, so that a row may come before the listing that has the channel.
    CREATE TABLE headend_channel (
        headend_id TEXT NOT NULL REFERENCES headend,
        number TEXT NOT NULL,
        listing_id TEXT NOT NULL,
        PRIMARY KEY (headend_id, number)
    ) WITHOUT ROWID;
    CREATE TABLE app (
        id TEXT PRIMARY KEY,
        place INTEGER NOT NULL,
        title TEXT NOT NULL,
        category TEXT NOT NULL,
        image_url TEXT NOT NULL,
        image_width INTEGER NOT NULL,
        image_height INTEGER NOT NULL
    ) WITHOUT ROWID;
)sql";

}  // namespace corvaned
