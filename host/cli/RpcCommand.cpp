#include "RpcCommand.h"

#include <cstdio>
#include <iostream>
#include <string>

#include <fmt/format.h>

#include "RpcLines.h"
#include "ServiceSession.h"

namespace W::host {

namespace {

void writeLine(const std::string& line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

}  // namespace

int runRpc(const CommonOptions& options, bool openSession)
{
    Runtime runtime(options, loadConfiguration(options, openSession ? Defaults::ForPeople : Defaults::None),
                    Defaults::None);
    if (openSession) {
        ServiceSession service(runtime, options.timeout());
        service.start();
    }
    // The result of a refused getAuthSeedkey is only a number, and all later requests fail for the same reason.
    const auto explain = [&runtime](std::string_view operation, int status) {
        if (operation == "getAuthSeedkey") {
            const ServiceProblem problem =
                describeRefusedSession(status, runtime.failures().take(), runtime.configuration());
            fmt::print(stderr, "corvane: {}\ncorvane: hint: {}\n", problem.what(), problem.hint());
        }
    };
    RpcDispatcher dispatcher(runtime.plugin(), RpcAccess::All, explain);
    RpcConversation conversation(dispatcher, writeLine);
    serveLines(conversation, std::cin, options.timeout());
    runtime.destroyPlugin();
    conversation.abandon();
    return 0;
}

}  // namespace W::host
