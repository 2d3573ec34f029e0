#include "DebugPrint.h"

#include <atomic>
#include <cstring>
#include <new>

namespace W {

namespace {

/// The module that printed last; for debuggers.
std::atomic<CCDebug*> printModule{nullptr};

/// Registers the library's debug module when the library is loaded.
const bool kIsRegistered = [] {
    try {
        CCDebug::m_Instance<CCDebugCommon>()->t_InitModule();
        return true;
    } catch (const std::exception&) {
        // Out of memory: the host's list lacks the module.
        return false;
    }
}();

}  // namespace

CCDebugCommon::~CCDebugCommon() = default;

void CCDebugCommon::t_Print(unsigned long level, unsigned long flags, const char* format, va_list* arguments)
{
    if (DebugIO == nullptr) {
        return;
    }
    t_PrintR(level, flags, format, arguments);
    DebugIO->write("\n");
}

void CCDebugCommon::t_PrintR(unsigned long /*level*/, unsigned long /*flags*/, const char* format, va_list* arguments)
{
    if (DebugIO != nullptr) {
        DebugIO->vprintf(format, arguments);
    }
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
// Kept whole, not specialised for the levels used in this library: level 0 must work for callers outside it.
__attribute__((format(printf, 3, 4), used, noipa))
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

void reportUnknownException(Here here)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] Exception Caught: %s", here.function, here.line,
                              "not a std::exception");
}

bool isOutOfMemory(const std::exception& exception)
{
    return dynamic_cast<const std::bad_alloc*>(&exception) != nullptr ||
           std::strstr(exception.what(), "Failed to allocate") != nullptr;
}

}  // namespace vorel
}  // namespace W
