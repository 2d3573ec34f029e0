// The host's debug facility: printf-style lines with a level and flags, put out through debug modules. A library that
// prints defines Print() and m_Instance() for itself, together with the module that it prints level 0 through; the host
// defines everything else.
#pragma once

#include <cstdarg>

#pragma GCC visibility push(default)
namespace W {

/// Where debug text goes in the end.
class CCDebugOutput {
public:
    virtual ~CCDebugOutput() = default;
    /// Writes formatted text. One call may be part of a line only: a line is over when its "\n" has been written.
    /// Never throws.  [any thread]
    virtual void vprintf(const char* format, va_list* arguments) = 0;
    virtual void write(const char* text) = 0;
};

/// A debug module. Levels run from 1 (errors) upwards; the level filter is the host's.
class CCDebug {
public:
    virtual ~CCDebug() = default;

    /// Back to the state after start.
    virtual void Reset();
    /// Puts a line out.  [any thread]
    virtual void t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments);
    /// Puts text out as it is, without an end of line.  [any thread]
    virtual void t_PrintR(unsigned long level, unsigned long flags, const char* format, va_list* arguments);
    virtual void t_InitModule();
    virtual void t_ShowDebugSubMenu();
    virtual void t_SelectDebugSubMenu(int item);
    /// Lines above `level` are dropped from now on.
    virtual void t_SetDebugLevel(unsigned int level);
    virtual void t_SetDebugModule(unsigned long module, bool on);
    /// True for a module that prints the lines of level 0.
    virtual bool t_IsCommonModule();

    /// Registers a module's name with the host.
    static void t_AddModule(const char* name, int modules);

    /// Prints through the module `Module`; level 0 goes through the library's own common module.  [any thread]
    template <class Module>
    static void Print(unsigned long level, unsigned long flags, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /// The library's one object of a module, made on first use.
    template <class Module>
    static CCDebug* m_Instance();

    /// The host's output; null until the host installs one.
    static CCDebugOutput* DebugIO;
};

/// The host's module: filters by level and writes to the host's log.
class CWCCDebug : public CCDebug {
public:
    void Reset() override;
    void t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments) override;
    void t_PrintR(unsigned long level, unsigned long flags, const char* format, va_list* arguments) override;
    void t_InitModule() override;
    void t_SetDebugLevel(unsigned int level) override;
};

}  // namespace W
#pragma GCC visibility pop
