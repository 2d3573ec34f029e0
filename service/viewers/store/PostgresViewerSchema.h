// The schema of the viewers' store in PostgreSQL, as the steps of its history: the tables of SqliteViewerSchema.h. To
// change it, add a step at the end.
#pragma once

#include <cstdint>
#include <iterator>

namespace corvaned {

inline constexpr const char* kPostgresTables = R"sql(
    CREATE TABLE session (
        id TEXT COLLATE "C" PRIMARY KEY,
        user_id TEXT COLLATE "C" NOT NULL,
        seedkey TEXT NOT NULL,
        expires BIGINT NOT NULL
    );
    CREATE INDEX session_by_expiry ON session (expires);
    CREATE INDEX session_by_user ON session (user_id, expires);
    CREATE TABLE arrival (
        address TEXT COLLATE "C" NOT NULL,
        hour BIGINT NOT NULL,
        devices BIGINT NOT NULL,
        PRIMARY KEY (address, hour)
    );
    CREATE TABLE upload (
        user_id TEXT COLLATE "C" PRIMARY KEY,
        filename TEXT NOT NULL,
        received BIGINT NOT NULL,
        content BYTEA NOT NULL
    );
    CREATE TABLE favorite (
        user_id TEXT COLLATE "C" NOT NULL,
        kind TEXT COLLATE "C" NOT NULL,
        target BIGINT NOT NULL,
        since BIGINT NOT NULL,
        PRIMARY KEY (user_id, kind, target)
    );
    CREATE TABLE vote (
        kind TEXT COLLATE "C" NOT NULL,
        target BIGINT NOT NULL,
        user_id TEXT COLLATE "C" NOT NULL,
        likes BIGINT NOT NULL,
        since BIGINT NOT NULL,
        PRIMARY KEY (kind, target, user_id)
    );
    CREATE INDEX vote_by_user ON vote (user_id, kind);
    CREATE TABLE tuning (
        user_id TEXT COLLATE "C" NOT NULL,
        seq BIGINT NOT NULL,
        at BIGINT NOT NULL,
        source_id BIGINT NOT NULL,
        content_id BIGINT NOT NULL,
        PRIMARY KEY (user_id, seq)
    );
    CREATE INDEX tuning_by_user ON tuning (user_id, source_id, at);
    CREATE TABLE remembered_content (
        content_id BIGINT PRIMARY KEY,
        series_id BIGINT NOT NULL,
        type TEXT NOT NULL,
        season BIGINT NOT NULL,
        episode BIGINT NOT NULL,
        year BIGINT NOT NULL,
        image_url TEXT NOT NULL,
        image_width BIGINT NOT NULL,
        image_height BIGINT NOT NULL,
        lang TEXT NOT NULL,
        title TEXT NOT NULL,
        ep_title TEXT NOT NULL
    );
    CREATE VIEW wish AS
        SELECT user_id, target AS content_id, 0 AS watched FROM favorite WHERE kind = 'content'
        UNION ALL SELECT user_id, target, 0 FROM vote WHERE kind = 'content' AND likes <> 0
        UNION ALL SELECT user_id, content_id, 1 FROM tuning;
    CREATE VIEW dislike AS SELECT user_id, target AS content_id FROM vote WHERE kind = 'content' AND likes = 0;
    CREATE TABLE agreement (
        user_id TEXT COLLATE "C" PRIMARY KEY,
        status TEXT NOT NULL,
        anonymous BIGINT NOT NULL
    );
    CREATE TABLE saved_headend (
        user_id TEXT COLLATE "C" PRIMARY KEY,
        headend_id TEXT NOT NULL,
        device TEXT NOT NULL
    );
    CREATE TABLE tuned_day (
        day BIGINT NOT NULL,
        source_id BIGINT NOT NULL,
        users BIGINT NOT NULL,
        PRIMARY KEY (day, source_id)
    );
    CREATE TABLE tuned_half_hour (
        half_hour BIGINT NOT NULL,
        source_id BIGINT NOT NULL,
        users BIGINT NOT NULL,
        PRIMARY KEY (half_hour, source_id)
    );
    CREATE TABLE tuned_habit (
        half_hour_of_day BIGINT NOT NULL,
        source_id BIGINT NOT NULL,
        users BIGINT NOT NULL,
        PRIMARY KEY (half_hour_of_day, source_id)
    );
)sql";

// The same triggers as in TuningCountsSchema.h.
inline constexpr const char* kPostgresCounts = R"sql(
    CREATE FUNCTION count_half_hour() RETURNS trigger LANGUAGE plpgsql AS $$
    DECLARE
        changed BIGINT := CASE TG_OP WHEN 'INSERT' THEN NEW.users WHEN 'UPDATE' THEN NEW.users - OLD.users
                          ELSE -OLD.users END;
        half BIGINT := CASE TG_OP WHEN 'DELETE' THEN OLD.half_hour ELSE NEW.half_hour END % 48;
        source BIGINT := CASE TG_OP WHEN 'DELETE' THEN OLD.source_id ELSE NEW.source_id END;
    BEGIN
        INSERT INTO tuned_habit VALUES (half, source, changed)
            ON CONFLICT (half_hour_of_day, source_id) DO UPDATE SET users = tuned_habit.users + excluded.users;
        IF TG_OP = 'DELETE' THEN
            DELETE FROM tuned_habit WHERE half_hour_of_day = half AND source_id = source AND users <= 0;
        END IF;
        RETURN NULL;
    END $$;
    CREATE TRIGGER half_hour_changed AFTER INSERT OR UPDATE OR DELETE ON tuned_half_hour
        FOR EACH ROW EXECUTE FUNCTION count_half_hour();

    CREATE FUNCTION count_tuning() RETURNS trigger LANGUAGE plpgsql AS $$
    BEGIN
        IF NOT EXISTS (SELECT 1 FROM tuning WHERE user_id = NEW.user_id AND source_id = NEW.source_id
                       AND seq <> NEW.seq AND at >= NEW.at / 86400 * 86400 AND at < NEW.at / 86400 * 86400 + 86400)
        THEN
            INSERT INTO tuned_day VALUES (NEW.at / 86400, NEW.source_id, 1)
                ON CONFLICT (day, source_id) DO UPDATE SET users = tuned_day.users + 1;
        END IF;
        IF NOT EXISTS (SELECT 1 FROM tuning WHERE user_id = NEW.user_id AND source_id = NEW.source_id
                       AND seq <> NEW.seq AND at >= NEW.at / 1800 * 1800 AND at < NEW.at / 1800 * 1800 + 1800)
        THEN
            INSERT INTO tuned_half_hour VALUES (NEW.at / 1800, NEW.source_id, 1)
                ON CONFLICT (half_hour, source_id) DO UPDATE SET users = tuned_half_hour.users + 1;
        END IF;
        RETURN NULL;
    END $$;
    CREATE TRIGGER tuning_added AFTER INSERT ON tuning FOR EACH ROW EXECUTE FUNCTION count_tuning();

    -- A trigger for each row would run after all rows of the statement are deleted, so it could not see which was the last.
    CREATE FUNCTION uncount_tunings() RETURNS trigger LANGUAGE plpgsql AS $$
    BEGIN
        UPDATE tuned_day SET users = tuned_day.users - lost.users
            FROM (SELECT at / 86400 AS day, source_id, count(DISTINCT user_id) AS users FROM gone
                  WHERE NOT EXISTS (
                      SELECT 1 FROM tuning WHERE tuning.user_id = gone.user_id AND tuning.source_id = gone.source_id
                          AND tuning.at >= gone.at / 86400 * 86400 AND tuning.at < gone.at / 86400 * 86400 + 86400)
                  GROUP BY 1, 2) AS lost
            WHERE tuned_day.day = lost.day AND tuned_day.source_id = lost.source_id;
        UPDATE tuned_half_hour SET users = tuned_half_hour.users - lost.users
            FROM (SELECT at / 1800 AS half_hour, source_id, count(DISTINCT user_id) AS users FROM gone
                  WHERE NOT EXISTS (
                      SELECT 1 FROM tuning WHERE tuning.user_id = gone.user_id AND tuning.source_id = gone.source_id
                          AND tuning.at >= gone.at / 1800 * 1800 AND tuning.at < gone.at / 1800 * 1800 + 1800)
                  GROUP BY 1, 2) AS lost
            WHERE tuned_half_hour.half_hour = lost.half_hour AND tuned_half_hour.source_id = lost.source_id;
        RETURN NULL;
    END $$;
    CREATE TRIGGER tunings_removed AFTER DELETE ON tuning REFERENCING OLD TABLE AS gone
        FOR EACH STATEMENT EXECUTE FUNCTION uncount_tunings();
)sql";

inline constexpr const char* kPostgresSteps[] = {kPostgresTables, kPostgresCounts};
inline constexpr auto kPostgresFormat = static_cast<std::int64_t>(std::size(kPostgresSteps));

}  // namespace corvaned
