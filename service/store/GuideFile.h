// The guide: a file of SQLite that is only ever read. An import builds another file and renames it into place
// (NewGuide.h). Guide.h and Lineup.h read its tables.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include "ServiceFigure.h"
#include "Sqlite.h"

namespace corvaned {

/// What a path names at a moment. Differs after a rename onto the path and after a write to the file.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;  // 0: there is no file
    off_t size = 0;
    std::int64_t changed = 0;  // nanoseconds

    static FileIdentity of(const std::string& path);
    bool operator==(const FileIdentity& other) const;
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

/// Connections to the newest file under a path. A file that was replaced stays readable until its last lease ends; one
/// that was deleted, or replaced by something that is not a guide, stays in use.  [any thread]
class GuideFile {
public:
    using Log = std::function<void(const std::string& line)>;

    /// @param connections  opened at once for each file, because a deleted file cannot be opened again
    /// @param log          receives one line for each change that cannot be used
    /// @throws OperatorError if the file is missing, unreadable, another program's or of another format
    explicit GuideFile(
        std::string path, std::size_t connections = 1, Log log = [](const std::string&) {});

    const std::string& path() const { return m_path; }

private:
    struct Version;

public:
    /// A connection on loan; it returns when the lease ends.
    class Lease {
    public:
        Lease(std::shared_ptr<Version> version, std::unique_ptr<sqlite::Connection> connection)
            : m_version(std::move(version)), m_connection(std::move(connection))
        {}
        Lease(Lease&&) = default;
        Lease& operator=(Lease&&) = delete;
        ~Lease();

        sqlite::Connection& operator*() const { return *m_connection; }

    private:
        std::shared_ptr<Version> m_version;
        std::unique_ptr<sqlite::Connection> m_connection;
    };

    /// A connection to the newest file. Looks for a new one if the last look is more than a quarter of a second ago.
    Lease lease();

    /// Looks for a new file at once.
    void refresh();

    ServiceFigures figures() const;

private:
    std::shared_ptr<Version> open(const FileIdentity& identity) const;
    std::shared_ptr<Version> current();
    void look();

    const std::string m_path;
    const std::size_t m_connections;
    const Log m_log;
    mutable std::mutex m_lock;  // guards all below
    std::shared_ptr<Version> m_version;
    FileIdentity m_seen;  // of the last look
    std::chrono::steady_clock::time_point m_nextLook;
    std::uint64_t m_reloads = 0;
};

/// Opens a guide for reading.
/// @throws OperatorError as GuideFile's constructor
std::unique_ptr<sqlite::Connection> openGuide(const std::string& path);

/// The file as SQLite opens it when nobody writes to it: a URI.
std::string immutableUri(const std::string& path);

/// Whether the file is one of the formats that hold the guide and what viewers keep.
/// @throws OperatorError if it is another program's or of a newer format
bool isCombinedDatabase(const std::string& path);

/// A guide in the folder for temporary files; the destructor removes the folder.
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
