// Feeds the replies of one family of operations with what the fuzzer makes: the first byte chooses the operation, the
// rest is the reply's body. A reply has to reach its callback exactly once, whatever it holds. tests/fuzz/run builds
// and runs one program per family.

#include "ParseDeliveries.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#ifndef CORVANE_FUZZ_FAMILY
#error "CORVANE_FUZZ_FAMILY names the family, see CMakeLists.txt"
#endif

namespace {

using W::test::Delivered;

struct Family {
    std::string name;
    std::vector<unsigned int> keys;  ///< of its operations: "a" chooses the first
};

const Family& family()
{
    static const Family kFamilies[] = {
        {"config", {3, 5, 6, 7, 8, 9, 10, 11, 47, 48, 49, 50}},
        {"channel", {12, 13, 14, 15, 16, 17, 22, 37, 38}},
        {"guide", {18, 19, 20, 21, 23, 25, 46}},
        {"detail", {4, 24, 26, 27}},
        {"recommend", {39, 40, 41, 42, 43, 44, 45}},
        {"viewer", {28, 29, 30, 31, 32, 33, 34, 35, 36}},
    };
    for (const Family& each : kFamilies) {
        if (each.name == CORVANE_FUZZ_FAMILY)
            return each;
    }
    std::fprintf(stderr, "there is no family %s\n", CORVANE_FUZZ_FAMILY);
    std::exit(2);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static W::test::FakeHost host;
    host.keepsLines = false;
    static W::WVorelOAI object;
    if (size == 0)
        return 0;

    static const std::vector<unsigned int>& keys = family().keys;
    const W::test::Kind& kind = W::test::kindOf(keys[static_cast<std::uint8_t>(data[0] - 'a') % keys.size()]);
    const std::string body(reinterpret_cast<const char*>(data) + 1, size - 1);
    Delivered delivered;
    const auto command = kind.make(&object, &delivered);
    const W::UINT64 returned = W::test::complete(*command, W::session::kCompleted, 200, body);
    if (delivered.calls != 1 || delivered.status > 0 || returned != 4711) {
        std::fprintf(stderr, "%s: %d callbacks, status %d\n", kind.handler, delivered.calls, delivered.status);
        std::abort();
    }
    return 0;
}
