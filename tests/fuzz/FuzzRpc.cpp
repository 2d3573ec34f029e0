// Lines of `corvane rpc`, against a plug-in that answers every operation: at most three, as the fuzzer would else spend
// its time on hundreds of empty ones. Each line out is one JSON object; each request is answered once.
#include "Fuzz.h"
#include "RpcConversation.h"
#include "WCorvaneOAI.h"

#include <chrono>
#include <sstream>
#include <string>

extern "C" W::WPlugin* createPlugin();
extern "C" void destroyPlugin(W::WPlugin* plugin);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    W::host::RpcServer server([](const std::string& line) {
        require(line.rfind(R"({"jsonrpc":"2.0",)", 0) == 0 && W::host::Json::accept(line), "a line is a JSON object");
        require(line.find('\n') == std::string::npos, "a line is one line");
    });
    constexpr int kMostLines = 3;
    std::string_view text = textOf(data, size);
    std::string first;
    for (int i = 0; i < kMostLines && !text.empty(); ++i)
        first.append(takeLine(text)).append("\n");
    std::istringstream lines(first);
    auto* const plugin = dynamic_cast<W::WCorvaneOAI*>(createPlugin());
    server.serve(*plugin, lines, std::chrono::milliseconds::zero());
    destroyPlugin(plugin);
    server.giveUp();
    return 0;
}
