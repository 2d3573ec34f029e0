// The host's debug facility: printf-style lines with a level and flags, printed through debug modules. A library that
// prints defines Print(), m_Instance() and the module for its lines of level 0; the host defines everything else.
#pragma once

#include <cstdarg>

#pragma GCC visibility push(default)
namespace W {

/// The output of all debug lines.
class CCDebugOutput {
public:
    virtual ~CCDebugOutput() = default;
    /// Writes formatted text. "\n" ends a line; a call may write a part of one. write() does the same with a string as
    /// it is. Neither throws.  [any thread]
    virtual void vprintf(const char* format, va_list* arguments) = 0;
    virtual void write(const char* text) = 0;
};

/// A debug module. Levels run from 1 (errors) upwards; the host drops lines above the level that it shows.
class CCDebug {
public:
    virtual ~CCDebug() = default;

    /// Restores the state after start.
    virtual void Reset();
    /// Prints a line.  [any thread]
    virtual void t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments);
    /// Prints text as it is, without ending the line.  [any thread]
    virtual void t_PrintR(unsigned long level, unsigned long flags, const char* format, va_list* arguments);
    virtual void t_InitModule();  ///< registers the module with t_AddModule()
    virtual void t_ShowDebugSubMenu();
    virtual void t_SelectDebugSubMenu(int item);
    /// Lines above `level` are dropped from now on.
    virtual void t_SetDebugLevel(unsigned int level);
    virtual void t_SetDebugModule(unsigned long module, bool on);
    /// True for a module that prints the lines of level 0.
    virtual bool t_IsCommonModule();

    /// Registers a number of modules under a name. The host copies the name, so the library may be unloaded.
    static void t_AddModule(const char* name, int modules);

    /// Prints through the module `Module`; level 0 goes through the library's own common module.  [any thread]
    template <class Module>
    static void Print(unsigned long level, unsigned long flags, const char* format, ...)
        __attribute__((format(printf, 3, 4)));

    /// The library's only object of a module, created on first use.
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
