// If a run is interrupted, the next one completes it. The steps are: link the old file to a second name, copy the
// viewers' data into an empty store in one transaction, and rename the new guide onto the old file's first name.
#include "CombinedDatabase.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "GuideFile.h"
#include "GuideSchema.h"
#include "NewGuide.h"
#include "OperatorError.h"
#include "Sqlite.h"
#include "ViewerStore.h"

namespace corvaned {
namespace {

struct CopiedTable {
    const char* name;
    std::vector<const char*> numbers;
    std::vector<const char*> texts;
    const char* bytes = nullptr;
};

// Triggers fill the tables of counts.
const CopiedTable kTables[] = {
    {"session", {"expires"}, {"id", "user_id", "seedkey"}},
    {"upload", {"received"}, {"user_id", "filename"}, "content"},
    {"favorite", {"target", "since"}, {"user_id", "kind"}},
    {"vote", {"target", "likes", "since"}, {"kind", "user_id"}},
    {"tuning", {"seq", "at", "source_id", "content_id"}, {"user_id"}},
    {"remembered_content",
     {"content_id", "series_id", "season", "episode", "year", "image_width", "image_height"},
     {"type", "image_url", "lang", "title", "ep_title"}},
    {"agreement", {"anonymous"}, {"user_id", "status"}},
    {"saved_headend", {}, {"user_id", "headend_id", "device"}},
};

std::string columnsOf(const CopiedTable& table)
{
    std::vector<const char*> all = table.numbers;
    all.insert(all.end(), table.texts.begin(), table.texts.end());
    if (table.bytes != nullptr) {
        all.push_back(table.bytes);
    }
    return fmt::format("{}", fmt::join(all, ", "));
}

std::int64_t copyTable(sqlite::Connection& from, SqlConnection& to, const CopiedTable& table)
{
    const std::string columns = columnsOf(table);
    const std::size_t count = table.numbers.size() + table.texts.size() + (table.bytes != nullptr ? 1 : 0);
    std::string marks = "?";
    for (std::size_t i = 1; i < count; ++i) {
        marks += ", ?";
    }
    const std::string insert = fmt::format("INSERT INTO {} ({}) VALUES ({})", table.name, columns, marks);
    std::int64_t copied = 0;
    sqlite::Query rows(from, fmt::format("SELECT {} FROM {}", columns, table.name));
    for (; rows.next(); ++copied) {
        const std::unique_ptr<SqlStatement> statement = to.prepare(insert);
        int place = 0;
        for (const char* const column : table.numbers) {
            statement->bindNumber(++place, rows.number(column));
        }
        for (const char* const column : table.texts) {
            statement->bindText(++place, rows.text(column));
        }
        if (table.bytes != nullptr) {
            statement->bindBytes(++place, rows.text(table.bytes));
        }
        statement->next();
    }
    return copied;
}

bool isEmpty(SqlConnection& connection)
{
    for (const CopiedTable& table : kTables) {
        if (SqlQuery(connection, fmt::format("SELECT 1 AS one FROM {} LIMIT 1", table.name)).next()) {
            return false;
        }
    }
    return true;
}

bool hasViewers(sqlite::Connection& old)
{
    for (const CopiedTable& table : kTables) {
        if (sqlite::Query(old, fmt::format("SELECT 1 FROM {} LIMIT 1", table.name)).next()) {
            return true;
        }
    }
    return false;
}

void keepAs(const std::string& path, const std::string& kept)
{
    if (::link(path.c_str(), kept.c_str()) != 0) {
        throw OperatorError(fmt::format("cannot keep {} as {}: {}", path, kept, std::strerror(errno)));
    }
}

// Applies the missing steps of the combined format and copies the write-ahead log into the file.
void bringUpToDate(sqlite::Connection& old)
{
    sqlite::Transaction transaction(old, sqlite::Transaction::Kind::Write);
    std::int64_t step = 0;
    {
        sqlite::Query version(old, "PRAGMA user_version");
        version.next();
        step = version.number(0);
    }
    for (; step < kCombinedFormat; ++step) {
        old.execute(kGuideSteps[step]);
    }
    old.execute(fmt::format("PRAGMA user_version = {}", kCombinedFormat));
    transaction.commit();
    old.execute("PRAGMA wal_checkpoint(TRUNCATE); PRAGMA journal_mode = DELETE");
}

}  // namespace

void splitCombinedDatabase(const std::string& path, const std::string& viewers,
                           const std::function<void(const std::string& line)>& log,
                           void (*fill)(sqlite::Connection& connection))
{
    if (!isCombinedDatabase(path)) {
        return;
    }
    const std::string kept = path + ".combined";
    const std::string location = viewers.empty() ? viewersBeside(path) : viewers;
    std::error_code failed;
    // Both names have the same file if an earlier run was interrupted.
    const bool hasBegun = std::filesystem::exists(kept, failed) && std::filesystem::equivalent(kept, path, failed);
    if (!hasBegun && std::filesystem::exists(kept, failed)) {
        throw OperatorError(
            fmt::format("cannot split {} into guide and viewers' data: {} exists already; move it away", path, kept));
    }
    try {
        sqlite::Connection old(path, SQLITE_OPEN_READWRITE);
        bringUpToDate(old);
        if (hasViewers(old)) {
            const std::unique_ptr<ViewerStore> store = openViewers(location);
            const auto isStoreEmpty = [&store] {
                bool isAllEmpty = false;
                store->read([&](SqlConnection& connection) { isAllEmpty = isEmpty(connection); });
                return isAllEmpty;
            };
            if (!hasBegun && !isStoreEmpty()) {
                throw OperatorError(fmt::format("{} and {} both have viewers' data; name an empty store with --viewers",
                                                path, store->name()));
            }
            if (!hasBegun) {
                keepAs(path, kept);
            }
            // The copy is one transaction: a store that is not empty has all of it.
            if (isStoreEmpty()) {
                std::int64_t copied = 0;
                store->write([&](SqlConnection& connection) {
                    copied = 0;
                    for (const CopiedTable& table : kTables) {
                        copied += copyTable(old, connection, table);
                    }
                });
                log(fmt::format("corvaned: {} rows of viewers' data were copied from {} to {}", copied, path,
                                store->name()));
            }
        } else if (!hasBegun) {
            keepAs(path, kept);
        }
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file and its folder must be readable and writable", error.what()));
    } catch (const StoreUnavailable& error) {
        throw OperatorError(error.what());
    }
    NewGuide made(path, NewGuide::Begin::Combined, log);
    if (fill != nullptr) {
        fill(made.connection());
    }
    made.place();
    log(fmt::format("corvaned: the old database is kept as {}; delete it once the service works as before", kept));
}

}  // namespace corvaned
