// The provider's options: the first byte chooses the operation, '0' for key 3 and on; then a line per option, in the
// order of their names. Whatever their values, the operation must be refused, or sent and answered once.
#include "Fuzz.h"

#include <map>
#include <string>
#include <vector>

#include <dlfcn.h>

#include "Calls.h"

/// The escaped postal code is never freed, on purpose. The library stays loaded, so that it is known by its name at the
/// end.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:liboauth";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static FakeHost host;
    static void* const s_library = dlopen("liboauth.so.0", RTLD_NOW | RTLD_LOCAL);
    require(s_library != nullptr, "the library is loaded");
    static W::WVorelOAI object;
    static const std::map<std::string, std::string> s_usual = [] {
        host.keepsLines = false;
        setAllOptions(host);
        openSession(object);
        setClock(object);
        return host.options;
    }();
    if (size == 0) {
        return 0;
    }
    const std::vector<OperationCall>& calls = operationCalls();
    const OperationCall& each = calls[static_cast<std::uint8_t>(data[0] - '0') % calls.size()];
    std::string_view text = stringOf(data + 1, size - 1);
    host.options = s_usual;
    for (auto& [key, value] : host.options) {
        if (!text.empty()) {
            value = std::string(takeLine(text));
        }
    }
    host.sent.clear();
    host.reads.clear();
    Counter counter;
    const int returned = counter.accepted(each.call(object, counter));
    require((returned == 0) == (host.sent.size() == 1), "it is sent or refused");
    if (returned == 0) {
        host.answer(0, W::session::kCompleted, 200, "{}");
        require(counter.calls == 1, "one callback");
    }
    return 0;
}
