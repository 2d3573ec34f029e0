#include "NewGuide.h"

#include <cerrno>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "GuideFile.h"
#include "GuideSchema.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

// A symbolic link stays one; the file that it names is replaced.
std::string resolved(const std::string& path)
{
    std::error_code failed;
    const std::filesystem::path whole = std::filesystem::canonical(path, failed);
    return failed ? path : whole.string();
}

constexpr const char* kNumbersTables[] = {
    "source",       "genre",          "person",          "state", "city",  "postal_code",    "headend",
    "headend_city", "headend_device", "headend_channel", "app",   "guide", "fetched_listing"};

void flush(const std::string& path, int flags)
{
    const int descriptor = ::open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0 || ::fsync(descriptor) != 0) {
        const int error = errno;
        ::close(descriptor);
        throw OperatorError(fmt::format("cannot write {}: {}", path, std::strerror(error)));
    }
    ::close(descriptor);
}

}  // namespace

NewGuide::NewGuide(const std::string& path, Begin begin, const std::function<void(const std::string& line)>& warn)
    : m_path(resolved(path)), m_partial(m_path + ".part")
{
    lock(warn);
    try {
        this->begin(begin);
    } catch (const std::filesystem::filesystem_error& error) {
        ::unlink(m_partial.c_str());
        ::close(m_descriptor);
        throw OperatorError(fmt::format("cannot write {}: {}", m_partial, error.code().message()));
    } catch (const sqlite::SqliteError& error) {
        ::unlink(m_partial.c_str());
        ::close(m_descriptor);
        throw OperatorError(fmt::format("{}; the file and its folder must be readable and writable", error.what()));
    } catch (...) {
        ::unlink(m_partial.c_str());
        ::close(m_descriptor);
        throw;
    }
}

NewGuide::~NewGuide()
{
    m_connection.reset();
    if (!m_isPlaced) {
        ::unlink(m_partial.c_str());
    }
    ::close(m_descriptor);
}

void NewGuide::fail(const char* what) const
{
    throw OperatorError(fmt::format("{} {}: {}; the folder must be writable, and the disk must have room", what, m_path,
                                    std::strerror(errno)));
}

// The lock belongs to the file, so it ends with the process that holds it. After waiting, the file may have been
// renamed or removed; then another one is made.
void NewGuide::lock(const std::function<void(const std::string& line)>& warn)
{
    while (true) {
        m_descriptor = ::open(m_partial.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
        if (m_descriptor < 0) {
            fail("cannot open database");
        }
        if (::flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
            warn(fmt::format("corvaned: another import writes {}; waiting for it", m_path));
            while (::flock(m_descriptor, LOCK_EX) != 0) {
                if (errno != EINTR) {
                    fail("cannot lock");
                }
            }
        }
        struct stat own {};
        struct stat named {};
        if (::fstat(m_descriptor, &own) == 0 && ::stat(m_partial.c_str(), &named) == 0 && own.st_ino == named.st_ino &&
            own.st_dev == named.st_dev) {
            break;
        }
        ::close(m_descriptor);
    }
    // Removes the contents that a killed import has left.
    if (::ftruncate(m_descriptor, 0) != 0) {
        fail("cannot write");
    }
}

void NewGuide::begin(Begin begin)
{
    const FileIdentity held = FileIdentity::of(m_path);
    m_hadGuide = held.inode != 0 && held.size > 0;
    if (m_hadGuide && begin != Begin::Combined) {
        openGuide(m_path);  // reports its fault
    }
    const bool isCopy = m_hadGuide && begin != Begin::Numbers;
    if (isCopy) {
        std::filesystem::copy_file(m_path, m_partial, std::filesystem::copy_options::overwrite_existing);
        ::fchmod(m_descriptor, S_IRUSR | S_IWUSR);
    }
    m_connection =
        std::make_unique<sqlite::Connection>(m_partial, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_URI);
    m_connection->execute("PRAGMA locking_mode = EXCLUSIVE; PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF");
    if (begin == Begin::Combined) {
        makeSchema(kCombinedFormat);
        m_connection->execute("VACUUM");  // also removes session keys from unused pages
    } else if (!isCopy) {
        makeSchema(0);
        if (m_hadGuide) {
            copyNumbers();
        }
    }
}

// Brings the new file up to date.
void NewGuide::makeSchema(std::int64_t format)
{
    sqlite::Transaction transaction(*m_connection, sqlite::Transaction::Kind::Write);
    for (; format < kGuideFormat; ++format) {
        m_connection->execute(kGuideSteps[format]);
    }
    m_connection->execute(
        fmt::format("PRAGMA application_id = {}; PRAGMA user_version = {}", kGuideApplication, kGuideFormat));
    transaction.commit();
}

void NewGuide::copyNumbers()
{
    sqlite::Query(*m_connection, "ATTACH ? AS held").bind(immutableUri(m_path)).run();
    sqlite::Transaction transaction(*m_connection, sqlite::Transaction::Kind::Write);
    for (const char* const table : kNumbersTables) {
        m_connection->execute(fmt::format("INSERT INTO main.{0} SELECT * FROM held.{0}", table));
    }
    transaction.commit();
    m_connection->execute("DETACH held");
}

void NewGuide::place()
{
    try {
        m_connection.reset();
        flush(m_partial, O_RDWR);
        if (::rename(m_partial.c_str(), m_path.c_str()) != 0) {
            fail("cannot rename");
        }
        m_isPlaced = true;
        const std::filesystem::path folder = std::filesystem::path(m_path).parent_path();
        flush(folder.empty() ? "." : folder.string(), O_RDONLY | O_DIRECTORY);
    } catch (const sqlite::SqliteError& error) {
        throw OperatorError(error.what());
    }
}

void createGuideIfMissing(const std::string& path, void (*fill)(sqlite::Connection& connection))
{
    const FileIdentity held = FileIdentity::of(path);
    if (held.inode != 0 && held.size > 0) {
        return;
    }
    NewGuide made(path, NewGuide::Begin::Numbers, [](const std::string&) {});
    if (made.hadGuide()) {
        return;  // another process has made it meanwhile
    }
    if (fill != nullptr) {
        fill(made.connection());
    }
    made.place();
}

}  // namespace corvaned
