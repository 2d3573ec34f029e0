// The host's side of the debug facility: where the lines of CWCCDebug go, and how many of them.
// Read next: Debug.cpp for the modules' own operations, framework/CCDebug.h for what a plug-in sees of them.
#pragma once

#include "CCDebug.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace W::host {

/// Puts debug text out in whole lines: text without an end of line waits, per thread, until its line is complete, and
/// each call that completes lines becomes one write. What cannot be written is dropped: a log stops nobody's work.
class DebugLog : public CCDebugOutput {
public:
    /// A log that belongs to the caller of `write`, such as standard error.
    /// @param descriptor  open for writing; stays the caller's
    explicit DebugLog(int descriptor);
    ~DebugLog() override;
    DebugLog(const DebugLog&) = delete;
    DebugLog& operator=(const DebugLog&) = delete;

    /// @param target  a file, which is emptied, or "syslog"
    /// @throws std::runtime_error naming the file and the reason
    static std::unique_ptr<DebugLog> open(const std::string& target);

    void vprintf(const char* format, va_list* arguments) override;
    void write(const char* text) override;

private:
    enum class Target {
        Descriptor,
        OwnedDescriptor,
        Syslog
    };
    DebugLog(Target target, int descriptor);
    void put(std::string_view lines);

    Target m_eTarget;
    int m_iDescriptor;
    std::mutex m_writeLock;
};

/// Makes a log the process's output, for good: lines may still come while the process ends. Before any thread prints.
void installDebugLog(std::unique_ptr<DebugLog> log);

/// Lines above this level are dropped before anything is formatted.  [any thread]
void setDebugLevel(unsigned long level);

/// Shows every line whose format contains `part` to `watcher`, formatted, whether or not the level lets it out.
/// One watch at a time; an empty watcher ends it. Before any thread prints.
void watchDebugLines(std::string part, std::function<void(std::string_view line)> watcher);

}  // namespace W::host
