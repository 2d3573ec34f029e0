// Lines of `corvane rpc` with a plug-in that answers every operation. At most three lines, because the fuzzer would
// otherwise spend its time on hundreds of empty ones.
#include "Fuzz.h"

#include <chrono>
#include <sstream>
#include <string>

#include "RpcLines.h"
#include "WCorvaneOAI.h"

extern "C" W::WPlugin* createPlugin();
extern "C" void destroyPlugin(W::WPlugin* plugin);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    constexpr int kMostLines = 3;
    std::string_view text = stringOf(data, size);
    std::string first;
    for (int i = 0; i < kMostLines && !text.empty(); ++i) {
        first.append(takeLine(text)).append("\n");
    }
    std::istringstream lines(first);
    auto* const plugin = dynamic_cast<W::WCorvaneOAI*>(createPlugin());
    W::host::RpcDispatcher dispatcher(*plugin);
    W::host::RpcConversation conversation(dispatcher, [](const std::string& line) {
        require(W::host::Json::accept(line), "a line is JSON");
        require(line.rfind(R"({"jsonrpc":"2.0",)", 0) == 0 || line.rfind(R"([{"jsonrpc":"2.0",)", 0) == 0,
                "a line is a response, a notification or a batch of responses");
        require(line.find('\n') == std::string::npos, "a line is one line");
    });
    W::host::serveLines(conversation, lines, std::chrono::milliseconds::zero());
    destroyPlugin(plugin);
    conversation.abandon();
    return 0;
}
