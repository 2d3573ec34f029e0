// Lines of `corvane rpc`, against a plug-in that answers every operation. Each line out is one JSON object; each
// request is answered once.
#include "Fuzz.h"
#include "Rpc.h"
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
        const W::host::Json said = W::host::Json::parse(line, nullptr, false);
        require(said.is_object() && said.contains("jsonrpc"), "a line is a JSON object");
        require(line.find('\n') == std::string::npos, "a line is one line");
    });
    std::istringstream lines{std::string(textOf(data, size))};
    auto* const plugin = dynamic_cast<W::WCorvaneOAI*>(createPlugin());
    server.serve(*plugin, lines, std::chrono::milliseconds::zero());
    destroyPlugin(plugin);
    server.giveUp();
    return 0;
}
