// The operations behind the steps.
#include "ServiceSession.h"

#include "ServiceCall.h"

#include <utility>

namespace W::host {

void ServiceSession::check(const char* step, int status)
{
    if (status != status::kOk)
        throw describe(step, status, m_reason.take(), m_runtime.configuration());
}

WVLLocaltime ServiceSession::fetchLocaltime()
{
    WVLLocaltime localtime;
    ServiceCall<LocaltimeCallback> call;
    call.start(m_runtime.plugin(), &WCorvaneOAI::getLocalTime,
               [&localtime](const WVLLocaltime& delivered) { localtime = delivered; });
    check("ask the service for its time", call.wait(m_patience));
    return localtime;
}

void ServiceSession::open()
{
    ServiceCall<SessionCallback> call;
    call.start(m_runtime.plugin(), &WCorvaneOAI::getAuthSeedkey, [](const WVLSession&) {});
    check("open a session", call.wait(m_patience));
}

std::list<WVLChannel> ServiceSession::fetchChannels()
{
    std::list<WVLChannel> channels;
    ServiceCall<ChannelListCallback> call;
    call.start(
        m_runtime.plugin(), &WCorvaneOAI::getChannelList,
        [&channels](const WContainer<WVLChannel>& delivered, const std::string&, bool) {
            channels = delivered.getData();
        },
        std::string());
    check("fetch the channel list", call.wait(m_patience));
    return channels;
}

std::list<WVLContent> ServiceSession::fetchSchedule(const std::vector<std::string>& sources, std::int64_t begin,
                                                    int hours)
{
    constexpr std::size_t kMostOfAUrl = 4000;
    struct Part {
        std::list<std::string> sources;
        std::list<WVLContent> programmes;
        ServiceCall<ContentListCallback> call;
    };
    std::list<Part> parts;
    std::size_t length = kMostOfAUrl;
    for (const std::string& source : sources) {
        if (length + source.size() >= kMostOfAUrl) {
            parts.emplace_back();
            length = 0;
        }
        length += source.size() + 1;
        parts.back().sources.push_back(source);
    }
    const std::list<int> imageSizes{1};
    for (Part& part : parts)
        part.call.start(
            m_runtime.plugin(), &WCorvaneOAI::getSchedule,
            [&part](const WContainer<WVLContent>& delivered) { part.programmes = delivered.getData(); }, part.sources,
            static_cast<unsigned long>(begin), hours, imageSizes);
    std::list<WVLContent> programmes;
    for (Part& part : parts) {
        check("fetch the schedule", part.call.wait(m_patience));
        programmes.splice(programmes.end(), part.programmes);
    }
    return programmes;
}

}  // namespace W::host
