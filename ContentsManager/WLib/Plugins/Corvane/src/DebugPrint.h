// Diagnostics: the plug-in's own debug module and the lines that every file prints. All text goes through
// CCDebug::Print<CWCCDebug>(level, flags, format, ...); formats begin with "[%s:%d] " for the printing function and its
// line.
#pragma once

#include <exception>

#include "CCDebug.h"
#include "WTypes.h"

namespace W {

/// The module "CommonDebug", which prints the lines of level 0 straight to the host's output, without a filter.
class CCDebugCommon : public CCDebug {
public:
    ~CCDebugCommon() override;

    /// Formats a line and adds "\n", even if the line ends with one. Prints nothing without CCDebug::DebugIO.
    void t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments) override;
    /// The same without the added "\n".
    void t_PrintR(unsigned long level, unsigned long flags, const char* format, va_list* arguments) override;
    void t_InitModule() override;
    void t_ShowDebugSubMenu() override;
    void t_SelectDebugSubMenu(int item) override;
    bool t_IsCommonModule() override;
};

template <>
#if !defined(__clang__)  // which miscounts the arguments of a static member's specialization
__attribute__((format(printf, 3, 4)))
#endif
void CCDebug::Print<CWCCDebug>(unsigned long level, unsigned long flags, const char* format, ...);
template <>
CCDebug* CCDebug::m_Instance<CWCCDebug>();
template <>
CCDebug* CCDebug::m_Instance<CCDebugCommon>();

namespace vorel {

inline constexpr unsigned long kErrorLevel = 1;
inline constexpr unsigned long kTraceLevel = 8;
inline constexpr unsigned long kPlain = 0;      ///< flags of error lines, reply dumps, exception reports
inline constexpr unsigned long kEntryExit = 3;  ///< flags of the traces that mark entry and exit

inline constexpr char kServiceFile[] = "ContentsManager/WLib/Plugins/Corvane/src/VorelService";
inline constexpr char kCommandFile[] = "ContentsManager/WLib/Plugins/Corvane/src/VorelCommand";
inline constexpr char kObjectFile[] = "ContentsManager/WLib/Plugins/Corvane/src/WVorelOAI";

/// Function and line of a caller: taken as a defaulted argument, so that a shared frame prints its caller's name.
struct Here {
    constexpr Here(const char* callingFunction = __builtin_FUNCTION(), int callingLine = __builtin_LINE())
        : function(callingFunction), line(callingLine)
    {}

    const char* function;
    int line;
};

/// Prints the line that accompanies every failure.
/// @return `status`, so that a failure reads `return failed(...)`
WSTATUS failed(WSTATUS status, const char* file, Here here = {});

/// Prints the text of an exception that was caught.
void reportException(const std::exception& exception, Here here = {});

/// Prints an exception that is not a std::exception.
void reportUnknownException(Here here = {});

/// Whether an exception reports missing memory. The JSON library has its own type for that.
bool isOutOfMemory(const std::exception& exception);

/// Calls a caller's callback. An exception that leaves it is printed and dropped, so that the request is cleaned up in
/// any case.
template <class Callback>
void callBack(Here here, Callback callback)
{
    try {
        callback();
    } catch (const std::exception& exception) {
        reportException(exception, here);
    } catch (...) {
        reportUnknownException(here);
    }
}

}  // namespace vorel
}  // namespace W
