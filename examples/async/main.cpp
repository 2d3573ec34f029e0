// Operations as C++20 coroutines: the schedules of all channels are fetched at the same time, and one call is
// cancelled. Argument: the service's address.
#include <ctime>
#include <iostream>
#include <list>
#include <string>
#include <vector>

#include <corvane/client.h>

#include "Runtime.h"

using W::WCorvaneOAI;

namespace {

using Programmes = std::list<W::WVLContent>;

/// The programmes of all channels that begin in the next hour, channel by channel.
corvane::Call<Programmes> fetchNextHour(corvane::Client& client)
{
    co_await client.call(&WCorvaneOAI::getLocalTime);
    co_await client.call(&WCorvaneOAI::getAuthSeedkey);
    const auto [channels, checksum, changed] = co_await client.call(&WCorvaneOAI::getChannelList, std::string());

    const auto now = static_cast<unsigned long>(std::time(nullptr));
    std::vector<corvane::Call<Programmes>> calls;
    for (const W::WVLChannel& channel : channels) {
        calls.push_back(client.call(&WCorvaneOAI::getSchedule, std::list<std::string>{channel.getSource()}, now, 1,
                                    std::list<int>{1}));
    }
    Programmes all;
    for (auto& call : calls) {
        all.splice(all.end(), co_await call);
    }
    co_return all;
}

}  // namespace

int main(int argc, char** argv)
try {
    // Runtime is a whole host in one object: options, log, executor, plug-in.
    W::host::CommonOptions options;
    options.plugin = CORVANE_PLUGIN;
    options.settings = {std::string("base_url=") + (argc > 1 ? argv[1] : "http://127.0.0.1:8900")};
    W::host::Runtime runtime(options, W::host::Defaults::ForPeople);
    corvane::Client client({&runtime.plugin(), [&](WCorvaneOAI*) { runtime.destroyPlugin(); }});

    for (const W::WVLContent& programme : fetchNextHour(client).get()) {
        const auto start = static_cast<std::time_t>(programme.getStartTime().toTime_t());
        char time[] = "hh:mm";
        std::strftime(time, sizeof time, "%H:%M", std::localtime(&start));
        std::cout << time << "  " << programme.getChannel().getName() << ": " << programme.getTitle() << '\n';
    }

    // The viewer leaves the page before it has loaded.
    corvane::Call<Programmes> page = client.call(&WCorvaneOAI::getContentList, std::list<int>{1}, 0UL, 0, 10);
    page.cancel();
    try {
        page.get();
        std::cout << "the page came before it was cancelled\n";
    } catch (const corvane::Error& error) {
        std::cout << "the page was cancelled: status " << error.status() << '\n';
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "async: " << error.what() << '\n';
    return 1;
}
