// The schema of the viewers' file, as the steps of its history. To change it, add a step at the end; it is applied to
// files that lack it. ViewerSchema.h and TuningCountsSchema.h have the first tables, which were once part of the
// guide's file.
#pragma once

#include <cstdint>
#include <iterator>

#include "TuningCountsSchema.h"
#include "ViewerSchema.h"

namespace corvaned {

/// Marks the file ("crvv"), so that another program's database is not changed.
inline constexpr std::int64_t kViewersApplication = 0x63727676;

inline constexpr const char* kSessionTables = R"sql(
    CREATE TABLE session (
        id TEXT PRIMARY KEY,
        user_id TEXT NOT NULL,
        seedkey TEXT NOT NULL,
        expires INTEGER NOT NULL
    ) WITHOUT ROWID;
    CREATE INDEX session_by_expiry ON session (expires);
    CREATE INDEX session_by_user ON session (user_id, expires);
    -- New devices of a client's address in an hour, counted from 1970.
    CREATE TABLE arrival (
        address TEXT NOT NULL,
        hour INTEGER NOT NULL,
        devices INTEGER NOT NULL,
        PRIMARY KEY (address, hour)
    ) WITHOUT ROWID;
    -- The file that a user sent last.
    CREATE TABLE upload (
        user_id TEXT PRIMARY KEY,
        filename TEXT NOT NULL,
        received INTEGER NOT NULL,
        content BLOB NOT NULL
    ) WITHOUT ROWID;
)sql";

inline constexpr const char* kViewerSteps[] = {kSessionTables, kViewerTables, kTuningCounts};
inline constexpr auto kViewersFormat = static_cast<std::int64_t>(std::size(kViewerSteps));

}  // namespace corvaned
