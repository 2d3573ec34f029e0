// The default debug module, which does nothing. host/log/Debug.cpp decides where lines go.
#include "CCDebug.h"

namespace W {

CCDebugOutput* CCDebug::DebugIO = nullptr;

void CCDebug::Reset() {}
void CCDebug::t_Print(unsigned long /*level*/, unsigned long /*flags*/, const char* /*format*/, va_list* /*arguments*/)
{}
void CCDebug::t_PrintR(unsigned long /*level*/, unsigned long /*flags*/, const char* /*format*/, va_list* /*arguments*/)
{}
void CCDebug::t_InitModule() {}
void CCDebug::t_ShowDebugSubMenu() {}
void CCDebug::t_SelectDebugSubMenu(int /*item*/) {}
void CCDebug::t_SetDebugLevel(unsigned int /*level*/) {}
void CCDebug::t_SetDebugModule(unsigned long /*module*/, bool /*on*/) {}
bool CCDebug::t_IsCommonModule()
{
    return false;
}

}  // namespace W
