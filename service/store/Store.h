// The service's database: its schema and the connections to it. GuideImport.h fills the guide's tables, Guide.h reads
// them, Session.h keeps the sessions.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Sqlite.h"

namespace corvaned {

/// One database in WAL mode, for any number of threads. Readers see what was committed when they began, whatever is
/// written meanwhile.  [any thread]
class Store {
public:
    enum class Mode {
        Existing,  // refuse if the file is missing
        Create,    // create the file if it is missing; only its owner can read it, because it contains session keys
        ReadOnly,  // like Existing, but change nothing; refuse a database of an older format
    };

    /// Adds rows that a database must have, such as addSamplePlaces; called inside the transaction of the upgrade.
    using Fill = void (*)(sqlite::Connection& connection);

    /// Opens the database, upgrades its schema and calls `fill`, all in one transaction.
    /// @param fill  null: nothing is added; not called with Mode::ReadOnly
    /// @throws OperatorError if the file is missing, unreadable, read-only or another program's database
    Store(std::string path, Mode mode, Fill fill = nullptr);

    const std::string& path() const { return m_path; }

    /// A connection on loan; it returns to the store when the lease ends.
    class Lease {
    public:
        Lease(Store& store, std::unique_ptr<sqlite::Connection> connection)
            : m_store(&store), m_connection(std::move(connection))
        {}
        Lease(Lease&&) = default;
        Lease& operator=(Lease&&) = delete;
        ~Lease();

        sqlite::Connection& operator*() const { return *m_connection; }

    private:
        Store* m_store;
        std::unique_ptr<sqlite::Connection> m_connection;
    };

    Lease lease();

    /// A new connection, owned by the caller, for work that needs temporary tables.
    std::unique_ptr<sqlite::Connection> connect() const;

private:
    void openReadOnly();
    void openForWriting(Fill fill);

    std::string m_path;
    std::string m_name;  // what SQLite opens: the path, or a URI
    int m_flags;         // of connections
    std::mutex m_lock;
    std::vector<std::unique_ptr<sqlite::Connection>> m_idle;
};

/// A database in the folder for temporary files; the destructor removes it and its companion files.
class TemporaryDatabase {
public:
    /// @throws OperatorError if no folder can be made
    TemporaryDatabase();
    TemporaryDatabase(const TemporaryDatabase&) = delete;
    TemporaryDatabase& operator=(const TemporaryDatabase&) = delete;
    ~TemporaryDatabase();

    std::string path() const { return m_folder + "/guide.db"; }

private:
    std::string m_folder;
};

}  // namespace corvaned
