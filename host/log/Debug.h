// The host's side of the debug facility: where the lines of CWCCDebug go, and up to which level.
// Read next: framework/CCDebug.h for the plug-in's side.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "CCDebug.h"

namespace W::host {

/// Writes whole lines. A line without its end is kept, per thread, until it is complete; each call that completes lines
/// becomes one write. Lines that cannot be written are dropped.
class DebugLog : public CCDebugOutput {
public:
    /// A log on a descriptor such as standard error.
    /// @param descriptor  open for writing; owned by the caller
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
    enum class LogTarget {
        Descriptor,
        OwnedDescriptor,
        Syslog
    };
    DebugLog(LogTarget target, int descriptor);
    void put(std::string_view lines);

    LogTarget m_target;
    int m_descriptor;
    std::mutex m_writeLock;
};

/// Makes a log the output of the process until it ends, since lines may come until then. Call it before any thread
/// prints.
void installDebugLog(std::unique_ptr<DebugLog> log);

/// Lines above this level are dropped before anything is formatted.  [any thread]
void setDebugLevel(unsigned long level);

}  // namespace W::host
