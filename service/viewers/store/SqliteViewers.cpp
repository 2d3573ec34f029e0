#include "SqliteViewers.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "GuideFile.h"
#include "OperatorError.h"
#include "SqliteViewerSchema.h"

namespace corvaned {
namespace {

constexpr std::size_t kMostInBatch = 64;

// A longer wait means that another process holds the lock for something long, such as a backup.
constexpr std::chrono::milliseconds kUsualWait{100};

class SqliteStatement : public SqlStatement {
public:
    SqliteStatement(sqlite::Connection& connection, std::string_view sql)
        : m_connection(connection), m_query(connection, sql)
    {}

    void bindNumber(int place, std::int64_t value) override { m_query.bindNumber(place, value); }
    void bindText(int place, std::string_view value) override { m_query.bindText(place, value); }
    void bindBytes(int place, std::string_view value) override { m_query.bindBlob(place, value); }
    bool next() override { return m_query.next(); }
    std::int64_t number(std::string_view column) override { return m_query.number(column); }
    std::string_view text(std::string_view column) override { return m_query.text(column); }
    std::int64_t changes() override { return m_connection.changes(); }

private:
    sqlite::Connection& m_connection;
    sqlite::Query m_query;
};

class SqliteConnection : public SqlConnection {
public:
    explicit SqliteConnection(sqlite::Connection& connection) : m_connection(connection) {}

    std::unique_ptr<SqlStatement> prepare(std::string_view sql) override
    {
        return std::make_unique<SqliteStatement>(m_connection, sql);
    }
    void execute(const std::string& sql) override { m_connection.execute(sql); }

    // There is one writer at a time.
    void lockUser(std::string_view) override {}

private:
    sqlite::Connection& m_connection;
};

struct Inode {
    dev_t device = 0;
    ino_t inode = 0;  // 0: there is no file

    explicit Inode(const std::string& path)
    {
        struct stat status {};
        if (::stat(path.c_str(), &status) == 0) {
            device = status.st_dev;
            inode = status.st_ino;
        }
    }
    bool operator==(const Inode& other) const { return device == other.device && inode == other.inode; }
};

// SQLite would create the file with the permissions that the umask leaves. Its log gets those of the file.
void createPrivately(const std::string& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0) {
        ::close(file);
    }
}

std::int64_t numberOf(sqlite::Connection& connection, const char* sql)
{
    sqlite::Query query(connection, sql);
    return query.next() ? query.number(0) : 0;
}

std::int64_t checkedFormat(sqlite::Connection& connection, const std::string& path)
{
    const std::int64_t version = numberOf(connection, "PRAGMA user_version");
    const bool isBlank = numberOf(connection, "SELECT count(*) FROM sqlite_master") == 0;
    if (!isBlank && numberOf(connection, "PRAGMA application_id") != kViewersApplication) {
        throw OperatorError(
            fmt::format("database {} does not hold viewers' data; name another file with --viewers", path));
    }
    if (version > kViewersFormat) {
        throw OperatorError(
            fmt::format("database {} was written by a newer corvaned (format {}, this one knows {}); use that one, or "
                        "name another file with --viewers",
                        path, version, kViewersFormat));
    }
    return version;
}

bool isBusy(const sqlite::SqliteError& error)
{
    constexpr int kPrimary = 0xff;
    return (error.code() & kPrimary) == SQLITE_BUSY || (error.code() & kPrimary) == SQLITE_LOCKED;
}

// The cause is outside the statement: the disk or another process. Any other error is a defect of the statement.
bool isOutside(const sqlite::SqliteError& error)
{
    constexpr int kPrimary = 0xff;
    switch (error.code() & kPrimary) {
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_FULL:
        case SQLITE_IOERR:
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
            return true;
        default:
            return false;
    }
}

}  // namespace

struct SqliteViewers::File {
    explicit File(const std::string& path) : inode(path) {}

    const Inode inode;
    std::unique_ptr<sqlite::Connection> writer;  // used by the thread whose turn it is
    std::mutex lock;
    std::vector<std::unique_ptr<sqlite::Connection>> readers;  // idle; guarded by lock
};

struct SqliteViewers::Pending {
    const Work& work;
    bool isDone = false;  // guarded by m_queueLock
    std::exception_ptr error;
};

SqliteViewers::SqliteViewers(std::string path, Mode mode, ViewerStoreSettings settings)
    : m_path(std::move(path)), m_mode(mode), m_settings(std::move(settings))
{
    if (mode == Mode::Create) {
        createPrivately(m_path);
    } else {
        requireDatabase(m_path, "'corvaned serve' creates it");
    }
    try {
        m_file = open(mode);
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file and its folder must be readable and writable", error.what()));
    }
}

SqliteViewers::~SqliteViewers() = default;

// Writes nothing unless the format is old.
std::shared_ptr<SqliteViewers::File> SqliteViewers::open(Mode mode) const
{
    auto file = std::make_shared<File>(m_path);
    if (mode == Mode::ReadOnly) {
        std::unique_ptr<sqlite::Connection> reader;
        try {
            reader = std::make_unique<sqlite::Connection>(m_path, SQLITE_OPEN_READONLY);
            checkedFormat(*reader, m_path);
        } catch (const sqlite::SqliteError&) {
            // In a read-only folder, SQLite cannot create the log that it needs to open the file. If there is no log,
            // no process is writing, and the file alone is the database.
            std::error_code failed;
            if (std::filesystem::exists(m_path + "-wal", failed)) {
                throw;
            }
            reader = std::make_unique<sqlite::Connection>(immutableUri(m_path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        }
        if (checkedFormat(*reader, m_path) < kViewersFormat) {
            throw OperatorError(fmt::format(
                "database {} has the format of an older corvaned; 'corvaned serve' brings it up to date", m_path));
        }
        file->readers.push_back(std::move(reader));
        return file;
    }
    file->writer = std::make_unique<sqlite::Connection>(m_path, SQLITE_OPEN_READWRITE);
    sqlite::Connection& writer = *file->writer;
    // limitLog() makes the checkpoints.
    writer.execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA wal_autocheckpoint = 0");
    if (checkedFormat(writer, m_path) < kViewersFormat) {
        sqlite::Transaction transaction(writer, sqlite::Transaction::Kind::Write);
        for (std::int64_t step = checkedFormat(writer, m_path); step < kViewersFormat; ++step) {
            writer.execute(kViewerSteps[step]);
        }
        writer.execute(
            fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", kViewersApplication, kViewersFormat));
        transaction.commit();
    }
    writer.setBusyTime(kUsualWait);
    sqlite3_wal_hook(
        writer.handle(),
        [](void* pages, sqlite3*, const char*, int count) {
            *static_cast<std::atomic<int>*>(pages) = count;
            return SQLITE_OK;
        },
        const_cast<std::atomic<int>*>(&m_logPages));
    return file;
}

// Opens the file again if it was replaced. A deleted file is neither written to nor created again, because the new one
// would be empty.
std::shared_ptr<SqliteViewers::File> SqliteViewers::current()
{
    const std::lock_guard<std::mutex> lock(m_fileLock);
    const Inode now(m_path);
    if (m_file->inode == now) {
        m_isLost = false;
        return m_file;
    }
    std::string reason = "it was deleted; restore it, or restart the service to begin with an empty one";
    if (now.inode != 0) {
        try {
            m_file = open(m_mode);
            m_isLost = false;
            m_settings.log(fmt::format("corvaned: {} was replaced; the new file is used", m_path));
            return m_file;
        } catch (const std::exception& error) {
            reason = error.what();
        }
    }
    const std::string line = fmt::format("the viewers' data in {} cannot be used: {}", m_path, reason);
    if (!std::exchange(m_isLost, true)) {
        m_settings.log("corvaned: " + line);
    }
    throw StoreUnavailable(line);
}

void SqliteViewers::read(const Work& work)
{
    const std::shared_ptr<File> file = current();
    std::unique_ptr<sqlite::Connection> reader;
    {
        const std::lock_guard<std::mutex> lock(file->lock);
        if (!file->readers.empty()) {
            reader = std::move(file->readers.back());
            file->readers.pop_back();
        }
    }
    try {
        if (!reader) {
            reader = std::make_unique<sqlite::Connection>(m_path, SQLITE_OPEN_READONLY);
            reader->setBusyTime(kUsualWait);
        }
        {
            const sqlite::StatementLimit limit(*reader, m_settings.statementTime, {});
            const sqlite::Transaction view(*reader, sqlite::Transaction::Kind::Read);
            SqliteConnection connection(*reader);
            work(connection);
        }
        const std::lock_guard<std::mutex> lock(file->lock);
        file->readers.push_back(std::move(reader));
    } catch (const sqlite::Interrupted& error) {
        throw StoreUnavailable(fmt::format("a statement took too long: {}", error.what()));
    } catch (const sqlite::SqliteError& error) {
        if (isOutside(error)) {
            throw StoreUnavailable(error.what());
        }
        throw;
    }
}

void SqliteViewers::write(const Work& work)
{
    Pending own{work, false, nullptr};
    std::unique_lock<std::mutex> lock(m_queueLock);
    m_queue.push_back(&own);
    // While another process holds the lock, at most half of the handlers wait for it.
    const auto isSurplus = [&] {
        const auto place = std::find(m_queue.begin(), m_queue.end(), &own);
        return m_isBlocked && static_cast<std::size_t>(place - m_queue.begin()) + 1 >= m_settings.handlers / 2;
    };
    const auto isFirst = [&] { return !m_isWriting && !m_queue.empty() && m_queue.front() == &own; };
    const auto isQueued = [&] { return std::find(m_queue.begin(), m_queue.end(), &own) != m_queue.end(); };
    m_turn.wait(lock, [&] { return own.isDone || isFirst() || (isQueued() && isSurplus()); });
    if (!own.isDone && !isFirst()) {
        m_queue.erase(std::find(m_queue.begin(), m_queue.end(), &own));
        throw StoreUnavailable(fmt::format("another process has locked {}", m_path));
    }
    if (!own.isDone) {
        m_isWriting = true;
        std::vector<Pending*> batch;
        while (!m_queue.empty() && batch.size() < kMostInBatch) {
            batch.push_back(m_queue.front());
            m_queue.pop_front();
        }
        lock.unlock();
        try {
            const std::shared_ptr<File> file = current();
            commit(*file, batch);
            // If the file was replaced meanwhile, readers will not see the change.
            if (current() != file) {
                throw StoreUnavailable(fmt::format("{} was replaced during a write", m_path));
            }
        } catch (...) {
            for (Pending* const pending : batch) {
                pending->error = pending->error ? pending->error : std::current_exception();
            }
        }
        lock.lock();
        for (Pending* const pending : batch) {
            pending->isDone = true;
        }
        m_isWriting = false;
        m_turn.notify_all();
    }
    lock.unlock();
    if (own.error) {
        std::rethrow_exception(own.error);
    }
}

// Takes the write lock. While another process holds it, surplus writers leave the queue with an error.
void SqliteViewers::begin(File& file)
{
    const auto end = std::chrono::steady_clock::now() + m_settings.waitTime;
    const auto setBlocked = [this](bool isBlocked) {
        const std::lock_guard<std::mutex> lock(m_queueLock);
        m_isBlocked = isBlocked;
        m_turn.notify_all();
    };
    while (true) {
        try {
            file.writer->execute("BEGIN IMMEDIATE");
            setBlocked(false);
            return;
        } catch (const sqlite::SqliteError& error) {
            if (!isBusy(error)) {
                throw;
            }
            setBlocked(true);
            if (std::chrono::steady_clock::now() >= end) {
                throw StoreUnavailable(fmt::format("another process has locked {} for too long", m_path));
            }
        }
    }
}

// Commits the batch in one transaction. A failed write is rolled back without the others.
void SqliteViewers::commit(File& file, const std::vector<Pending*>& batch)
{
    sqlite::Connection& writer = *file.writer;
    try {
        limitLog(file);
        begin(file);
        try {
            SqliteConnection connection(writer);
            for (Pending* const pending : batch) {
                writer.execute("SAVEPOINT work");
                try {
                    const sqlite::StatementLimit limit(writer, m_settings.statementTime, {});
                    pending->work(connection);
                } catch (...) {
                    pending->error = std::current_exception();
                }
                writer.execute(pending->error ? "ROLLBACK TO work; RELEASE work" : "RELEASE work");
            }
            writer.execute("COMMIT");
        } catch (...) {
            if (sqlite3_get_autocommit(writer.handle()) == 0) {
                writer.execute("ROLLBACK");
            }
            throw;
        }
        m_writes += batch.size();
        ++m_batches;
    } catch (const sqlite::SqliteError& error) {
        throw StoreUnavailable(error.what());
    }
    for (Pending* const pending : batch) {
        if (pending->error) {
            try {
                std::rethrow_exception(pending->error);
            } catch (const sqlite::Interrupted& error) {
                pending->error = std::make_exception_ptr(
                    StoreUnavailable(fmt::format("a statement took too long: {}", error.what())));
            } catch (const sqlite::SqliteError& error) {
                if (isOutside(error)) {
                    pending->error = std::make_exception_ptr(StoreUnavailable(error.what()));
                }
            } catch (...) {
                // The work itself refused; its exception is passed on.
            }
        }
    }
}

// Copies a long log into the database, so that it is written from its beginning again. Waits for readers, which are
// short.
void SqliteViewers::limitLog(File& file)
{
    if (m_logPages < kLogPages) {
        return;
    }
    int pages = 0;
    int copied = 0;
    const int result =
        sqlite3_wal_checkpoint_v2(file.writer->handle(), "main", SQLITE_CHECKPOINT_RESTART, &pages, &copied);
    if (result == SQLITE_OK) {
        m_logPages = 0;
    } else if (result != SQLITE_BUSY || m_logPages > 3 * kLogPages) {
        throw StoreUnavailable(
            fmt::format("cannot empty the log of {}: {}", m_path, sqlite3_errmsg(file.writer->handle())));
    }
}

ServiceFigures SqliteViewers::figures()
{
    constexpr double kPageBytes = 4096;
    return {{"corvaned_viewers_writes_total", "Changes committed to the viewers' store.",
             ServiceFigure::MetricKind::Counter, static_cast<double>(m_writes)},
            {"corvaned_viewers_batches_total", "Transactions in which they were committed.",
             ServiceFigure::MetricKind::Counter, static_cast<double>(m_batches)},
            {"corvaned_viewers_log_bytes", "Size of the write-ahead log at the last commit.",
             ServiceFigure::MetricKind::Gauge, m_logPages * kPageBytes}};
}

}  // namespace corvaned
