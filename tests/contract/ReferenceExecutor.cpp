// The reference executor as a library for corvane-contract, with a short time-out.
#include "CurlExecutor.h"

namespace {

const bool kInstalled = [] {
    W::host::HttpLimits limits;
    limits.totalTimeout = std::chrono::seconds(2);
    W::host::installHttpDelegator(new W::host::CurlExecutor(limits));
    return true;
}();

}  // namespace
