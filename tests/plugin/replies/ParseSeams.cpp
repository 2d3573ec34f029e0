#include "ParseSeams.h"

#include "DebugPrint.h"
#include "VorelService.h"

namespace W::test {

namespace {

CancelTestHook theCancelTestHook;
ExceptionHook theExceptionHook;

}  // namespace

Hooked::Hooked(CancelTestHook hook)
{
    theCancelTestHook = std::move(hook);
}

Hooked::Hooked(ExceptionHook hook)
{
    theExceptionHook = std::move(hook);
}

Hooked::~Hooked()
{
    theCancelTestHook = nullptr;
    theExceptionHook = nullptr;
}

// The linker's names: "__real_" and "__wrap_" before the mangled names.
bool realGetCancelStatus(VorelService* service,
                         UINT64 reference) __asm__("__real__ZN1W12VorelService15getCancelStatusEy");
bool wrappedGetCancelStatus(VorelService* service,
                            UINT64 reference) __asm__("__wrap__ZN1W12VorelService15getCancelStatusEy");
void realReportException(const std::exception& exception,
                         vorel::Here here) __asm__("__real__ZN1W5vorel15reportExceptionERKSt9exceptionNS0_4HereE");
void wrappedReportException(const std::exception& exception,
                            vorel::Here here) __asm__("__wrap__ZN1W5vorel15reportExceptionERKSt9exceptionNS0_4HereE");

bool wrappedGetCancelStatus(VorelService* service, UINT64 reference)
{
    if (theCancelTestHook) {
        theCancelTestHook(*service, reference);
    }
    return realGetCancelStatus(service, reference);
}

void wrappedReportException(const std::exception& exception, vorel::Here here)
{
    if (theExceptionHook) {
        theExceptionHook();
    }
    realReportException(exception, here);
}

}  // namespace W::test
