// The guide: an SQLite file that is never changed. An import builds another file and renames it into place
// (NewGuide.h). Guide.h and Lineup.h read its tables.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "ServiceFigure.h"
#include "Sqlite.h"

namespace corvaned {

/// Identifies the file under a path. Differs after a rename onto the path and after a write to the file.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;  // 0: there is no file
    off_t size = 0;
    std::int64_t changed = 0;  // nanoseconds

    static FileIdentity of(const std::string& path);
    bool operator==(const FileIdentity& other) const;
    bool operator!=(const FileIdentity& other) const { return !(*this == other); }
};

/// Connections to the newest file under a path. A replaced file stays readable until its last lease ends. If the file
/// is deleted, or replaced by a file that is not a guide, the old one stays in use.  [any thread]
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

    /// Lends a connection to the newest file. Looks for a new file at most four times a second.
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

/// Checks that a database exists.
///
/// @param remedy  how to create it, for the message
/// @throws OperatorError if it is missing or cannot be reached
void requireDatabase(const std::string& path, std::string_view remedy);

/// Opens a guide for reading.
/// @throws OperatorError as GuideFile's constructor
std::unique_ptr<sqlite::Connection> openGuide(const std::string& path);

/// The URI with which SQLite opens a file that no program writes to.
std::string immutableUri(const std::string& path);

/// Whether the file has one of the formats that contain the guide and the viewers' data.
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
