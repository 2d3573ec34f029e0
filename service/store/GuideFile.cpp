#include "GuideFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fmt/format.h>
#include <sys/stat.h>

#include "GuideSchema.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookPause{250};

std::int64_t numberOf(sqlite::Connection& connection, const char* sql)
{
    sqlite::Query query(connection, sql);
    return query.next() ? query.number(0) : 0;
}

// Whether the file is in WAL mode. Its newest pages may then be in its log.
bool isInWalMode(const std::string& path)
{
    constexpr std::streamoff kWriteVersion = 18;  // in the header of every SQLite file
    std::ifstream file(path, std::ios::binary);
    return file.seekg(kWriteVersion) && file.get() == 2;
}

// The user_version.
std::int64_t formatOf(sqlite::Connection& connection, const std::string& path)
{
    const std::int64_t version = numberOf(connection, "PRAGMA user_version");
    const bool isBlank = numberOf(connection, "SELECT count(*) FROM sqlite_master") == 0;
    if (!isBlank && numberOf(connection, "PRAGMA application_id") != kGuideApplication) {
        throw OperatorError(fmt::format("database {} belongs to another program; name another file with --db", path));
    }
    if (version > kGuideFormat) {
        throw OperatorError(
            fmt::format("database {} was written by a newer corvaned (format {}, this one knows {}); use that one, or "
                        "import into another file",
                        path, version, kGuideFormat));
    }
    return version;
}

}  // namespace

FileIdentity FileIdentity::of(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return {};
    }
    constexpr std::int64_t kNanoseconds = 1'000'000'000;
    return {status.st_dev, status.st_ino, status.st_size,
            status.st_mtim.tv_sec * kNanoseconds + status.st_mtim.tv_nsec};
}

bool FileIdentity::operator==(const FileIdentity& other) const
{
    return device == other.device && inode == other.inode && size == other.size && changed == other.changed;
}

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

bool isCombinedDatabase(const std::string& path)
{
    std::error_code failed;
    if (!std::filesystem::exists(path, failed) || std::filesystem::file_size(path, failed) == 0) {
        return false;
    }
    try {
        // Not "immutable", which would ignore the pages that only the log has.
        sqlite::Connection connection(path, SQLITE_OPEN_READONLY);
        return formatOf(connection, path) <= kCombinedFormat;
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file must be a database of corvaned that you can read", error.what()));
    }
}

void requireDatabase(const std::string& path, std::string_view remedy)
{
    std::error_code failed;
    if (std::filesystem::exists(path, failed)) {
        return;
    }
    throw OperatorError(failed ? fmt::format("cannot open database {}: {}", path, failed.message())
                               : fmt::format("there is no database {}; {}", path, remedy));
}

std::unique_ptr<sqlite::Connection> openGuide(const std::string& path)
{
    requireDatabase(path, fmt::format("create one with: corvaned import --db {} LISTING...", path));
    try {
        auto connection =
            std::make_unique<sqlite::Connection>(immutableUri(path), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
        if (formatOf(*connection, path) < kGuideFormat || isInWalMode(path)) {
            throw OperatorError(
                fmt::format("database {} has the format of an older corvaned; 'corvaned serve' or "
                            "'corvaned import' brings it up to date",
                            path));
        }
        return connection;
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(fmt::format("{}; the file must be a database of corvaned that you can read", error.what()));
    }
}

// One file, even if its path names another one by now.
struct GuideFile::Version {
    FileIdentity identity;
    std::mutex lock;
    std::condition_variable returned;
    std::vector<std::unique_ptr<sqlite::Connection>> idle;  // guarded by lock
};

GuideFile::GuideFile(std::string path, std::size_t connections, Log log)
    : m_path(std::move(path)),
      m_connections(std::max<std::size_t>(connections, 1)),
      m_log(std::move(log)),
      m_version(open(FileIdentity::of(m_path))),
      m_seen(m_version->identity),
      m_nextLook(SteadyClock::now() + kLookPause)
{}

std::shared_ptr<GuideFile::Version> GuideFile::open(const FileIdentity& identity) const
{
    auto version = std::make_shared<Version>();
    version->identity = identity;
    while (version->idle.size() < m_connections) {
        version->idle.push_back(openGuide(m_path));
    }
    if (FileIdentity::of(m_path) != identity) {
        throw OperatorError(fmt::format("{} changes while it is opened", m_path));
    }
    return version;
}

void GuideFile::refresh()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    look();
}

// m_lock is held.
void GuideFile::look()
{
    m_nextLook = SteadyClock::now() + kLookPause;
    const FileIdentity now = FileIdentity::of(m_path);
    const bool isNews = now != m_seen;
    m_seen = now;
    if (now == m_version->identity) {
        return;
    }
    try {
        m_version = open(now);
        ++m_reloads;
        m_log(fmt::format("corvaned: {} was replaced; the new guide is served", m_path));
    } catch (const OperatorError& error) {
        if (isNews) {
            m_log(fmt::format("corvaned: {}; the guide that was read before stays in use", error.what()));
        }
    }
}

std::shared_ptr<GuideFile::Version> GuideFile::current()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (SteadyClock::now() >= m_nextLook) {
        look();
    }
    return m_version;
}

GuideFile::Lease GuideFile::lease()
{
    std::shared_ptr<Version> version = current();
    const auto take = [&version] {
        std::unique_ptr<sqlite::Connection> connection = std::move(version->idle.back());
        version->idle.pop_back();
        return Lease(version, std::move(connection));
    };
    {
        const std::lock_guard<std::mutex> lock(version->lock);
        if (!version->idle.empty()) {
            return take();
        }
    }
    try {
        std::unique_ptr<sqlite::Connection> connection = openGuide(m_path);
        if (FileIdentity::of(m_path) == version->identity) {
            return Lease(version, std::move(connection));
        }
    } catch (const OperatorError&) {
        // The file is gone; another lease's connection still reads it.
    }
    std::unique_lock<std::mutex> lock(version->lock);
    version->returned.wait(lock, [&version] { return !version->idle.empty(); });
    return take();
}

GuideFile::Lease::~Lease()
{
    if (m_connection) {
        {
            const std::lock_guard<std::mutex> lock(m_version->lock);
            m_version->idle.push_back(std::move(m_connection));
        }
        m_version->returned.notify_one();
    }
}

ServiceFigures GuideFile::figures() const
{
    constexpr double kNanoseconds = 1e9;
    const std::lock_guard<std::mutex> lock(m_lock);
    const FileIdentity& identity = m_version->identity;
    return {{"corvaned_guide_bytes", "Size of the guide's file.", ServiceFigure::MetricKind::Gauge,
             static_cast<double>(identity.size)},
            {"corvaned_guide_imported_timestamp_seconds", "Time at which the guide's file was written.",
             ServiceFigure::MetricKind::Gauge, static_cast<double>(identity.changed) / kNanoseconds},
            {"corvaned_guide_reloads_total", "Guide files that replaced an earlier one since the start.",
             ServiceFigure::MetricKind::Counter, static_cast<double>(m_reloads)},
            {"corvaned_guide_current", "Whether the guide in use is the one under its path (1) or not (0).",
             ServiceFigure::MetricKind::Gauge, m_seen == identity ? 1.0 : 0.0}};
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
