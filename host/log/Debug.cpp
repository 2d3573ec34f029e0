// CWCCDebug's operations and the log that they write to. A line above the level costs one relaxed load: plug-ins trace
// every operation.
#include "Debug.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

// Callers of CCDebug::Print() have had their formats checked.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

namespace W {

namespace {

constexpr unsigned long kErrorLevel = 1;

std::atomic<unsigned long> g_level{kErrorLevel};

/// Formats a line; one pass suffices unless the line is long.
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
    if (level > g_level.load(std::memory_order_relaxed) || CCDebug::DebugIO == nullptr) {
        return;
    }
    try {
        std::string text = formatted(format, arguments);
        if (end == LineEnd::Always && (text.empty() || text.back() != '\n')) {
            text += '\n';
        }
        CCDebug::DebugIO->write(text.c_str());
    } catch (const std::bad_alloc&) {
        // The line is lost: printing must never fail.
    }
}

}  // namespace

// This host has no menu of modules.
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

/// Writes the unfinished line of a thread.
void endLine(void* line)
{
    const std::unique_ptr<std::string> text(static_cast<std::string*>(line));
    if (text->empty() || CCDebug::DebugIO == nullptr) {
        return;
    }
    try {
        CCDebug::DebugIO->write((*text + '\n').c_str());
    } catch (const std::bad_alloc&) {
        // The line is lost: logging must never fail.
    }
}

/// The key of each thread's unfinished line. Not thread_local: registering a destructor ends the process if memory is
/// exhausted, and a thread may print its first line just then.
pthread_key_t lineKey()
{
    static const pthread_key_t s_key = [] {
        pthread_key_t key{};
        pthread_key_create(&key, endLine);
        return key;
    }();
    return s_key;
}

/// @return null if the thread has none
std::string* unfinishedLine()
{
    return static_cast<std::string*>(pthread_getspecific(lineKey()));
}

/// Keeps a part of a line until the rest comes.
void keepUnfinished(std::string_view text)
{
    if (std::string* const line = unfinishedLine()) {
        *line += text;
        return;
    }
    auto line = std::make_unique<std::string>(text);
    if (pthread_setspecific(lineKey(), line.get()) == 0) {
        static_cast<void>(line.release());  // endLine() frees it
    }
}

/// Writes the unfinished line of the thread that ends the process: pthread destructors do not run for it.
const struct LastLine {
    LastLine() { lineKey(); }
    LastLine(const LastLine&) = delete;
    LastLine& operator=(const LastLine&) = delete;
    ~LastLine()
    {
        if (std::string* const line = unfinishedLine()) {
            pthread_setspecific(lineKey(), nullptr);
            endLine(line);
        }
    }
} g_lastLine;

}  // namespace

DebugLog::DebugLog(int descriptor) : DebugLog(LogTarget::Descriptor, descriptor) {}

DebugLog::DebugLog(LogTarget target, int descriptor) : m_target(target), m_descriptor(descriptor) {}

DebugLog::~DebugLog()
{
    if (m_target == LogTarget::OwnedDescriptor) {
        ::close(m_descriptor);
    }
}

std::unique_ptr<DebugLog> DebugLog::open(const std::string& target)
{
    if (target == "syslog") {
        ::openlog("corvane", LOG_PID, LOG_USER);
        return std::unique_ptr<DebugLog>(new DebugLog(LogTarget::Syslog, -1));
    }
    const int descriptor = ::open(target.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644);
    if (descriptor < 0) {
        throw std::runtime_error("cannot write the log file " + target + ": " + std::generic_category().message(errno));
    }
    return std::unique_ptr<DebugLog>(new DebugLog(LogTarget::OwnedDescriptor, descriptor));
}

void DebugLog::vprintf(const char* format, va_list* arguments)
{
    try {
        write(formatted(format, arguments).c_str());
    } catch (const std::bad_alloc&) {
        // The line is lost: logging must never fail.
    }
}

void DebugLog::write(const char* text)
{
    const std::string_view added(text);
    const std::size_t lineEnd = added.rfind('\n');
    const std::string_view whole = added.substr(0, lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
    const std::string_view rest = added.substr(whole.size());
    try {
        std::string* const begun = unfinishedLine();
        if (!whole.empty() && begun != nullptr && !begun->empty()) {
            *begun += whole;
            put(*begun);
            begun->clear();
        } else if (!whole.empty()) {
            put(whole);
        }
        if (!rest.empty()) {
            keepUnfinished(rest);
        }
    } catch (const std::bad_alloc&) {
        // The line is lost: logging must never fail.
    }
}

void DebugLog::put(std::string_view lines)
{
    const std::lock_guard<std::mutex> lock(m_writeLock);
    if (m_target == LogTarget::Syslog) {
        ::syslog(LOG_INFO, "%.*s", static_cast<int>(lines.size() - 1), lines.data());
        return;
    }
    while (!lines.empty()) {
        const ssize_t written = ::write(m_descriptor, lines.data(), lines.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return;
        }
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
}

}  // namespace host

}  // namespace W
