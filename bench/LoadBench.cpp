// One sample of dlopen and createPlugin in a host that has libcurl and a running executor, but none of the libraries
// that only the plug-in needs. Prints the same format as process_bench.

#include <optional>

#include "CurlExecutor.h"
#include "PluginLibrary.h"
#include "Sample.h"

namespace W::bench {

namespace {

Sample load()
{
    host::CurlExecutor executor;
    host::installHttpDelegator(&executor);
    std::optional<host::PluginLibrary> library;
    host::PluginLibrary::Object object(nullptr, nullptr);
    const Sample result = sample([&] {
        library.emplace(CORVANE_LIBRARY);
        object = library->create();
    });
    object.reset();
    return result;
}

}  // namespace
}  // namespace W::bench

int main()
{
    return W::bench::print("load_bench", W::bench::load);
}
