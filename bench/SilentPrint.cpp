// Replaces DebugPrint.cpp in a library for comparison: the same plug-in without debug lines. Link-time optimisation
// removes the calls, because they do nothing.

#include "DebugPrint.h"

namespace W {

template <>
__attribute__((format(printf, 3, 4))) void CCDebug::Print<CWCCDebug>(unsigned long /*level*/, unsigned long /*flags*/,
                                                                     const char* /*format*/, ...)
{}

namespace vorel {

WSTATUS failed(WSTATUS status, const char* /*file*/, Here /*here*/)
{
    return status;
}

bool isOutOfMemory(const std::exception& /*exception*/)
{
    return false;
}

void reportException(const std::exception& /*exception*/, Here /*here*/) {}

void reportUnknownException(Here /*here*/) {}

}  // namespace vorel
}  // namespace W
