// Stands in for DebugPrint.cpp in a library that is built to be compared with: the same plug-in without a line. What
// link-time optimisation knows to do nothing, it leaves out.

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

void reportException(const std::exception& /*exception*/, Here /*here*/) {}

}  // namespace vorel
}  // namespace W
