// CCDebug's and CWCCDebug's operations and the log that they write to. A line that the level drops costs one relaxed
// load: plug-ins trace every operation.
#include "Debug.h"

#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

// Formats come from whoever prints; CCDebug::Print() has checked them.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace W {

namespace {

constexpr unsigned long kErrorLevel = 1;

std::atomic<unsigned long> g_level{kErrorLevel};
/// Highest level that anybody wants: of the log, or all of them while lines are watched.
std::atomic<unsigned long> g_wantedLevel{kErrorLevel};

struct Watch {
    std::string part;
    std::function<void(std::string_view)> watcher;
};
Watch& watch()
{
    static Watch s_watch;
    return s_watch;
}

/// Formats once where the text is short, as nearly all lines are.
std::string formatted(const char* format, va_list* arguments)
{
    std::array<char, 512> small{};
    va_list again;
    va_copy(again, *arguments);
    const int length = std::vsnprintf(small.data(), small.size(), format, *arguments);
    std::string text;
    if (length > 0 && static_cast<std::size_t>(length) < small.size()) {
        text.assign(small.data(), static_cast<std::size_t>(length));
    } else if (length > 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

enum class LineEnd {
    AsGiven,
    Always
};

void print(unsigned long level, const char* format, va_list* arguments, LineEnd end)
{
    if (level > g_wantedLevel.load(std::memory_order_relaxed))
        return;
    const bool logged = CCDebug::DebugIO != nullptr && level <= g_level.load(std::memory_order_relaxed);
    const bool watched = watch().watcher && std::strstr(format, watch().part.c_str()) != nullptr;
    if (!logged && !watched)
        return;
    try {
        std::string text = formatted(format, arguments);
        if (watched)
            watch().watcher(text);
        if (end == LineEnd::Always && (text.empty() || text.back() != '\n'))
            text += '\n';
        if (logged)
            CCDebug::DebugIO->write(text.c_str());
    } catch (const std::bad_alloc&) {
        // A line less: printing never fails its caller.
    }
}

}  // namespace

// This host has no menu that would list the modules.
void CCDebug::t_AddModule(const char* /*name*/, int /*modules*/) {}

void CWCCDebug::Reset()
{
    host::setDebugLevel(kErrorLevel);
}

void CWCCDebug::t_Print(unsigned long level, unsigned long /*flags*/, const char* format, va_list* arguments)
{
    print(level, format, arguments, LineEnd::Always);
}

void CWCCDebug::t_PrintR(unsigned long level, unsigned long /*flags*/, const char* format, va_list* arguments)
{
    print(level, format, arguments, LineEnd::AsGiven);
}

void CWCCDebug::t_InitModule()
{
    t_AddModule("CWCCDebug", 1);
}

void CWCCDebug::t_SetDebugLevel(unsigned int level)
{
    host::setDebugLevel(level);
}

namespace host {

namespace {

/// The unfinished line of a thread. What is left when the thread ends goes out with an end of line.
struct UnfinishedLine {
    std::string text;
    UnfinishedLine() = default;
    UnfinishedLine(const UnfinishedLine&) = delete;
    UnfinishedLine& operator=(const UnfinishedLine&) = delete;
    ~UnfinishedLine()
    {
        if (text.empty() || CCDebug::DebugIO == nullptr)
            return;
        CCDebug::DebugIO->write("\n");
    }
};

std::string& unfinishedLine()
{
    thread_local UnfinishedLine t_line;
    return t_line.text;
}

}  // namespace

DebugLog::DebugLog(int descriptor) : DebugLog(Target::Descriptor, descriptor) {}

DebugLog::DebugLog(Target target, int descriptor) : m_eTarget(target), m_iDescriptor(descriptor) {}

DebugLog::~DebugLog()
{
    if (m_eTarget == Target::OwnedDescriptor)
        ::close(m_iDescriptor);
}

std::unique_ptr<DebugLog> DebugLog::open(const std::string& target)
{
    if (target == "syslog") {
        ::openlog("corvane", LOG_PID, LOG_USER);
        return std::unique_ptr<DebugLog>(new DebugLog(Target::Syslog, -1));
    }
    const int descriptor = ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (descriptor < 0)
        throw std::runtime_error("cannot write the log file " + target + ": " + std::generic_category().message(errno));
    return std::unique_ptr<DebugLog>(new DebugLog(Target::OwnedDescriptor, descriptor));
}

void DebugLog::vprintf(const char* format, va_list* arguments)
{
    try {
        write(formatted(format, arguments).c_str());
    } catch (const std::bad_alloc&) {
        // As above.
    }
}

void DebugLog::write(const char* text)
{
    const std::string_view added(text);
    const std::size_t lineEnd = added.rfind('\n');
    try {
        std::string& line = unfinishedLine();
        if (lineEnd == std::string_view::npos) {
            line += added;
        } else if (line.empty()) {
            put(added.substr(0, lineEnd + 1));
            line = added.substr(lineEnd + 1);
        } else {
            line += added.substr(0, lineEnd + 1);
            put(line);
            line = added.substr(lineEnd + 1);
        }
    } catch (const std::bad_alloc&) {
        // As above.
    }
}

void DebugLog::put(std::string_view lines)
{
    const std::lock_guard<std::mutex> lock(m_writeLock);
    if (m_eTarget == Target::Syslog) {
        ::syslog(LOG_INFO, "%.*s", static_cast<int>(lines.size() - 1), lines.data());
        return;
    }
    while (!lines.empty()) {
        const ssize_t written = ::write(m_iDescriptor, lines.data(), lines.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return;
        lines.remove_prefix(static_cast<std::size_t>(written));
    }
}

void installDebugLog(std::unique_ptr<DebugLog> log)
{
    CCDebug::DebugIO = log.release();
}

void setDebugLevel(unsigned long level)
{
    g_level = level;
    g_wantedLevel = watch().watcher ? ~0UL : level;
}

void watchDebugLines(std::string part, std::function<void(std::string_view)> watcher)
{
    watch() = {std::move(part), std::move(watcher)};
    setDebugLevel(g_level);
}

}  // namespace host

}  // namespace W
