// The tables of viewers' data, a step of the schema (SqliteViewerSchema.h). Viewer.h writes them; Recommend.h reads
// them.
#pragma once

namespace corvaned {

/// user_id is the user of Session.h. Channels and contents are named by numbers that stay the same from one import to
/// the next, so nothing here refers to the guide's tables. Times are seconds since 1970.
inline constexpr const char* kViewerTables = R"sql(
    CREATE TABLE favorite (
        user_id TEXT NOT NULL,
        kind TEXT NOT NULL,
        target INTEGER NOT NULL,
        since INTEGER NOT NULL,
        PRIMARY KEY (user_id, kind, target)
    ) WITHOUT ROWID;
    -- One row per user and target: a changed mind replaces it.
    CREATE TABLE vote (
        kind TEXT NOT NULL,
        target INTEGER NOT NULL,
        user_id TEXT NOT NULL,
        likes INTEGER NOT NULL,
        since INTEGER NOT NULL,
        PRIMARY KEY (kind, target, user_id)
    ) WITHOUT ROWID;
    CREATE INDEX vote_by_user ON vote (user_id, kind);
    -- seq counts a user's tunings; content_id is 0 if the client named none.
    CREATE TABLE tuning (
        user_id TEXT NOT NULL,
        seq INTEGER NOT NULL,
        at INTEGER NOT NULL,
        source_id INTEGER NOT NULL,
        content_id INTEGER NOT NULL,
        PRIMARY KEY (user_id, seq)
    ) WITHOUT ROWID;
    CREATE INDEX tuning_by_time ON tuning (at, source_id, user_id);
    -- The guide's facts about contents that viewers named, for use after the guide has dropped them.
    CREATE TABLE remembered_content (
        content_id INTEGER PRIMARY KEY,
        series_id INTEGER NOT NULL,
        type TEXT NOT NULL,
        season INTEGER NOT NULL,
        episode INTEGER NOT NULL,
        year INTEGER NOT NULL,
        image_url TEXT NOT NULL,
        image_width INTEGER NOT NULL,
        image_height INTEGER NOT NULL,
        lang TEXT NOT NULL,
        title TEXT NOT NULL,
        ep_title TEXT NOT NULL
    );
    -- Contents that users care about; watched ones are those that they only tuned to.
    CREATE VIEW wish AS
        SELECT user_id, target AS content_id, 0 AS watched FROM favorite WHERE kind = 'content'
        UNION ALL SELECT user_id, target, 0 FROM vote WHERE kind = 'content' AND likes
        UNION ALL SELECT user_id, content_id, 1 FROM tuning;
    CREATE VIEW dislike AS SELECT user_id, target AS content_id FROM vote WHERE kind = 'content' AND NOT likes;
    CREATE TABLE agreement (
        user_id TEXT PRIMARY KEY,
        status TEXT NOT NULL,
        anonymous INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE TABLE saved_headend (
        user_id TEXT PRIMARY KEY,
        headend_id TEXT NOT NULL,
        device TEXT NOT NULL
    ) WITHOUT ROWID;
)sql";

}  // namespace corvaned
