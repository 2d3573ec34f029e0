#include "DebugPrint.h"

#include <atomic>

namespace W {

namespace {

/// The module that printed last; for whoever looks at the process from a debugger.
std::atomic<CCDebug*> printModule{nullptr};

}  // namespace

CCDebugCommon::~CCDebugCommon() = default;

void CCDebugCommon::t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments)
{
    if (DebugIO == nullptr)
        return;
    t_PrintR(level, flags, format, arguments);
    DebugIO->write("\n");
}

void CCDebugCommon::t_PrintR(unsigned long /*level*/, unsigned long /*flags*/, const char* format, va_list* arguments)
{
    if (DebugIO != nullptr)
        DebugIO->vprintf(format, arguments);
}

void CCDebugCommon::t_InitModule()
{
    t_AddModule("CommonDebug", 1);
}

void CCDebugCommon::t_ShowDebugSubMenu() {}

void CCDebugCommon::t_SelectDebugSubMenu(int /*item*/) {}

bool CCDebugCommon::t_IsCommonModule()
{
    return true;
}

template <>
CCDebug* CCDebug::m_Instance<CWCCDebug>()
{
    static CWCCDebug module;
    return &module;
}

template <>
CCDebug* CCDebug::m_Instance<CCDebugCommon>()
{
    static CCDebugCommon module;
    return &module;
}

template <>
#if !defined(__clang__)  // as in the header
__attribute__((format(printf, 3, 4)))
#endif
void CCDebug::Print<CWCCDebug>(unsigned long level, unsigned long flags, const char* format, ...)
{
    CCDebug* const module = level != 0 ? m_Instance<CWCCDebug>() : m_Instance<CCDebugCommon>();
    printModule.store(module, std::memory_order_relaxed);
    va_list arguments;
    va_start(arguments, format);
    module->t_Print(level, flags, format, &arguments);
    va_end(arguments);
}

namespace vorel {

WSTATUS failed(WSTATUS status, const char* file, Here here)
{
    CCDebug::Print<CWCCDebug>(kErrorLevel, kPlain, "[%s:%d] #ERROR WSTATUS:%s(%d)\tFILE:%s(%d)\n", here.function,
                              here.line, WSTATUS2STRING(status), status, file, here.line);
    return status;
}

void reportException(const std::exception& exception, Here here)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] Exception Caught: %s", here.function, here.line,
                              exception.what());
}

}  // namespace vorel
}  // namespace W
