// A host with its own HTTP executor (SocketExecutor.cpp) instead of the reference one. Argument: the service's address.
#include <ctime>
#include <iostream>
#include <list>
#include <string>

#include <corvane/client.h>

#include "Configuration.h"
#include "Debug.h"
#include "HttpDelegator.h"
#include "PluginLibrary.h"

using W::WCorvaneOAI;

int main(int argc, char** argv)
try {
    // A host provides these before it loads the plug-in: debug output, options, HTTP executor.
    W::host::setDebugLevel(1);
    W::host::installDebugLog(std::make_unique<W::host::DebugLog>(2));
    W::host::Configuration options;
    options.set("base_url", argc > 1 ? argv[1] : "http://127.0.0.1:8900", "own-executor");
    for (const auto& [key, value] : {std::pair("app_key", "own-executor"),
                                     {"duid", "own-executor"},
                                     {"country", "US"},
                                     {"language", "en"},
                                     {"headend", "default"},
                                     {"model_id", "own-executor"}}) {
        options.set(key, value, "own-executor");
    }
    W::host::installConfigManager(&options);
    // The executor is the one that SocketExecutor.cpp defines.
    static_cast<void>(W::HttpDelegator::getInstance());

    const W::host::PluginLibrary library(CORVANE_PLUGIN);
    corvane::Client client(library.create());

    // The programmes' times are local, so the service's clock is needed first.
    client.call(&WCorvaneOAI::getLocalTime).get();
    client.call(&WCorvaneOAI::getAuthSeedkey).get();
    auto [channels, checksum, changed] = client.call(&WCorvaneOAI::getChannelList, std::string()).get();

    std::list<std::string> sources;
    for (const W::WVLChannel& channel : channels) {
        sources.push_back(channel.getSource());
    }
    const auto now = static_cast<unsigned long>(std::time(nullptr));
    for (const W::WVLContent& programme :
         client.call(&WCorvaneOAI::getSchedule, sources, now, 1, std::list<int>{1}).get()) {
        const std::time_t start = static_cast<std::time_t>(programme.getStartTime().toTime_t());
        char time[] = "hh:mm";
        std::strftime(time, sizeof time, "%H:%M", std::localtime(&start));
        std::cout << time << "  " << programme.getChannel().getName() << ": " << programme.getTitle() << '\n';
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "own-executor: " << error.what() << '\n';
    return 1;
}
