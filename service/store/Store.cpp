// The schema is in kVersions. To change it, add a row at the end; the row is applied to every database that lacks it.
#include "Store.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "LineupSchema.h"
#include "OperatorError.h"
#include "TuningCountsSchema.h"
#include "ViewerSchema.h"

namespace corvaned {
namespace {

// Marks the file as corvaned's ("crvn"), so that another program's database is not changed.
constexpr std::int64_t kApplicationId = 0x6372766e;

constexpr const char* kVersions[] = {
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
};

std::int64_t numberOf(sqlite::Connection& connection, const char* pragma)
{
    sqlite::Query query(connection, pragma);
    return query.next() ? query.number(0) : 0;
}

constexpr auto kFormat = static_cast<std::int64_t>(std::size(kVersions));

std::int64_t checkedFormat(sqlite::Connection& connection, const std::string& path)
{
    const std::int64_t version = numberOf(connection, "PRAGMA user_version");
    const std::int64_t application = numberOf(connection, "PRAGMA application_id");
    const bool blank = numberOf(connection, "SELECT count(*) FROM sqlite_master") == 0;
    if (!blank && application != kApplicationId) {
        throw OperatorError(fmt::format("database {} belongs to another program; name another file with --db", path));
    }
    if (version > kFormat) {
        throw OperatorError(
            fmt::format("database {} was written by a newer corvaned (format {}, this one knows {}); use that one, or "
                        "import into another file",
                        path, version, kFormat));
    }
    return version;
}

void bringUpToDate(sqlite::Connection& connection, const std::string& path, Store::Fill fill)
{
    sqlite::Transaction transaction(connection, sqlite::Transaction::Kind::Write);
    for (std::int64_t step = checkedFormat(connection, path); step < kFormat; ++step) {
        connection.execute(kVersions[step]);
    }
    if (fill != nullptr) {
        fill(connection);
    }
    connection.execute(fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", kApplicationId, kFormat));
    transaction.commit();
}

// SQLite would create the file with the rights that the umask leaves; its companions get the rights of the file.
void createPrivately(const std::string& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0) {
        ::close(file);
    }
}

// "file:" with the path and a parameter, as SQLite reads it.
std::string immutableUri(const std::string& path)
{
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            uri += fmt::format("%{:02x}", static_cast<unsigned char>(c));
        } else {
            uri += c;
        }
    }
    return uri + "?immutable=1";
}

}  // namespace

Store::Store(std::string path, Mode mode, Fill fill)
    : m_path(std::move(path)),
      m_name(m_path),
      m_flags(mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE)
{
    std::error_code failed;
    if (mode == Mode::Create) {
        createPrivately(m_path);
    } else if (!std::filesystem::exists(m_path, failed)) {
        throw OperatorError(
            fmt::format("there is no database {0}; create one with: corvaned import --db {0} LISTING...", m_path));
    }
    if (mode == Mode::ReadOnly) {
        openReadOnly();
    } else {
        openForWriting(fill);
    }
}

void Store::openForWriting(Fill fill)
{
    try {
        auto connection = std::make_unique<sqlite::Connection>(m_name, m_flags | SQLITE_OPEN_CREATE);
        connection->execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL");
        bringUpToDate(*connection, m_path, fill);
        m_idle.push_back(std::move(connection));
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file and its folder must be readable and writable", error.what()));
    }
}

void Store::openReadOnly()
{
    std::unique_ptr<sqlite::Connection> connection;
    std::int64_t version = 0;
    try {
        try {
            connection = std::make_unique<sqlite::Connection>(m_name, m_flags);
            version = checkedFormat(*connection, m_path);
        } catch (const sqlite::SqliteError&) {
            // In a folder that cannot be written, SQLite cannot make the companions of a log. If there is no log, no
            // process is writing, and the file alone is the database.
            std::error_code failed;
            if (std::filesystem::exists(m_path + "-wal", failed)) {
                throw;
            }
            m_name = immutableUri(m_path);
            m_flags |= SQLITE_OPEN_URI;
            connection = std::make_unique<sqlite::Connection>(m_name, m_flags);
            version = checkedFormat(*connection, m_path);
        }
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file must be a database of corvaned that you can read", error.what()));
    }
    if (version < kFormat) {
        throw OperatorError(
            fmt::format("database {} has the format of an older corvaned; 'corvaned serve' or "
                        "'corvaned import' brings it up to date",
                        m_path));
    }
    m_idle.push_back(std::move(connection));
}

std::unique_ptr<sqlite::Connection> Store::connect() const
{
    auto connection = std::make_unique<sqlite::Connection>(m_name, m_flags);
    connection->execute("PRAGMA synchronous = NORMAL");
    return connection;
}

Store::Lease Store::lease()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_idle.empty()) {
            std::unique_ptr<sqlite::Connection> connection = std::move(m_idle.back());
            m_idle.pop_back();
            return Lease(*this, std::move(connection));
        }
    }
    return Lease(*this, connect());
}

Store::Lease::~Lease()
{
    if (m_connection) {
        const std::lock_guard<std::mutex> lock(m_store->m_lock);
        m_store->m_idle.push_back(std::move(m_connection));
    }
}

TemporaryDatabase::TemporaryDatabase()
{
    std::error_code failed;
    const std::filesystem::path folder = std::filesystem::temp_directory_path(failed);
    std::string form = ((failed ? "/tmp" : folder) / "corvaned-XXXXXX").string();
    if (mkdtemp(form.data()) == nullptr) {
        throw OperatorError(fmt::format("cannot make a temporary folder {}: {}; set TMPDIR to a writable folder", form,
                                        std::strerror(errno)));
    }
    m_folder = form;
}

TemporaryDatabase::~TemporaryDatabase()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

}  // namespace corvaned
