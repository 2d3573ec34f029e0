// The counts that recommendations read, a step of the schema (SqliteViewerSchema.h). Triggers update them when `tuning`
// changes, so that no request has to count a million tunings. Recommend.h reads them.
#pragma once

namespace corvaned {

/// Days and half hours are counted from 1970 in UTC. Recommend.h forgets counts of more than four weeks ago.
inline constexpr const char* kTuningCounts = R"sql(
    DROP INDEX tuning_by_time;
    CREATE INDEX tuning_by_user ON tuning (user_id, source_id, at);
    -- Users who tuned to a channel on a day.
    CREATE TABLE tuned_day (
        day INTEGER NOT NULL,
        source_id INTEGER NOT NULL,
        users INTEGER NOT NULL,
        PRIMARY KEY (day, source_id)
    ) WITHOUT ROWID;
    -- Users who tuned to a channel within a half hour.
    CREATE TABLE tuned_half_hour (
        half_hour INTEGER NOT NULL,
        source_id INTEGER NOT NULL,
        users INTEGER NOT NULL,
        PRIMARY KEY (half_hour, source_id)
    ) WITHOUT ROWID;
    -- The rows of tuned_half_hour, summed by half hour of the day: 0 to 47.
    CREATE TABLE tuned_habit (
        half_hour_of_day INTEGER NOT NULL,
        source_id INTEGER NOT NULL,
        users INTEGER NOT NULL,
        PRIMARY KEY (half_hour_of_day, source_id)
    ) WITHOUT ROWID;

    CREATE TRIGGER half_hour_added AFTER INSERT ON tuned_half_hour BEGIN
        INSERT INTO tuned_habit VALUES (NEW.half_hour % 48, NEW.source_id, NEW.users)
            ON CONFLICT DO UPDATE SET users = users + excluded.users;
    END;
    CREATE TRIGGER half_hour_changed AFTER UPDATE ON tuned_half_hour BEGIN
        UPDATE tuned_habit SET users = users + NEW.users - OLD.users
            WHERE half_hour_of_day = NEW.half_hour % 48 AND source_id = NEW.source_id;
    END;
    CREATE TRIGGER half_hour_removed AFTER DELETE ON tuned_half_hour BEGIN
        UPDATE tuned_habit SET users = users - OLD.users
            WHERE half_hour_of_day = OLD.half_hour % 48 AND source_id = OLD.source_id;
        DELETE FROM tuned_habit
            WHERE half_hour_of_day = OLD.half_hour % 48 AND source_id = OLD.source_id AND users <= 0;
    END;

    -- A user counts once per day and once per half hour: with the first tuning, until the last one is deleted.
    CREATE TRIGGER tuning_added AFTER INSERT ON tuning BEGIN
        INSERT INTO tuned_day SELECT NEW.at / 86400, NEW.source_id, 1
            WHERE NOT EXISTS (
                SELECT 1 FROM tuning WHERE user_id = NEW.user_id AND source_id = NEW.source_id AND seq <> NEW.seq
                    AND at >= NEW.at / 86400 * 86400 AND at < NEW.at / 86400 * 86400 + 86400)
            ON CONFLICT DO UPDATE SET users = users + 1;
        INSERT INTO tuned_half_hour SELECT NEW.at / 1800, NEW.source_id, 1
            WHERE NOT EXISTS (
                SELECT 1 FROM tuning WHERE user_id = NEW.user_id AND source_id = NEW.source_id AND seq <> NEW.seq
                    AND at >= NEW.at / 1800 * 1800 AND at < NEW.at / 1800 * 1800 + 1800)
            ON CONFLICT DO UPDATE SET users = users + 1;
    END;
    CREATE TRIGGER tuning_removed AFTER DELETE ON tuning BEGIN
        UPDATE tuned_day SET users = users - 1
            WHERE day = OLD.at / 86400 AND source_id = OLD.source_id AND NOT EXISTS (
                SELECT 1 FROM tuning WHERE user_id = OLD.user_id AND source_id = OLD.source_id
                    AND at >= OLD.at / 86400 * 86400 AND at < OLD.at / 86400 * 86400 + 86400);
        UPDATE tuned_half_hour SET users = users - 1
            WHERE half_hour = OLD.at / 1800 AND source_id = OLD.source_id AND NOT EXISTS (
                SELECT 1 FROM tuning WHERE user_id = OLD.user_id AND source_id = OLD.source_id
                    AND at >= OLD.at / 1800 * 1800 AND at < OLD.at / 1800 * 1800 + 1800);
    END;

    -- What databases hold already.
    INSERT INTO tuned_day SELECT at / 86400, source_id, count(DISTINCT user_id) FROM tuning GROUP BY 1, 2;
    INSERT INTO tuned_half_hour SELECT at / 1800, source_id, count(DISTINCT user_id) FROM tuning GROUP BY 1, 2;
)sql";

}  // namespace corvaned
