// Replies: the first byte chooses the operation, '0' for key 3 and on, the rest is the reply's body. A reply must
// reach its callback exactly once, whatever it contains.
#include "Fuzz.h"

#include <string>

#include "ParseDeliveries.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    static FakeHost host;
    host.keepsLines = false;
    static W::WVorelOAI object;
    if (size == 0) {
        return 0;
    }
    constexpr unsigned int kReplies = 48;  // all except the download, whose body goes to the disk
    const CommandKind& kind = kindOf(W::vorel::kFirstKey + static_cast<std::uint8_t>(data[0] - '0') % kReplies);
    Delivered delivered;
    const auto command = kind.make(&object, &delivered);
    const W::UINT64 returned =
        complete(*command, W::session::kCompleted, 200, std::string(stringOf(data + 1, size - 1)));
    require(delivered.calls == 1, "one callback");
    require(delivered.status <= 0, "a status, or 0");
    require(returned == 4711, "the request's reference comes back");
    return 0;
}
