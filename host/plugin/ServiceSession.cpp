#include "ServiceSession.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include <fmt/format.h>

#include "HttpWire.h"
#include "ServiceCall.h"

namespace W::host {

namespace {

constexpr std::int64_t kHour = 3600;

/// Major and minor number; channels without a number come last.
std::pair<long, long> sortKey(const WVLChannel& channel)
{
    const char* const number = channel.getNumber().c_str();
    char* end = nullptr;
    const long major = std::strtol(number, &end, 10);
    if (end == number) {
        return {std::numeric_limits<long>::max(), 0};
    }
    return {major, *end == '.' || *end == '-' ? std::strtol(end + 1, nullptr, 10) : 0};
}

}  // namespace

std::list<WVLChannel> lineUp(std::list<WVLChannel> channels)
{
    std::set<std::string> seen;
    channels.remove_if([&seen](const WVLChannel& channel) { return !seen.insert(channel.getSource()).second; });
    channels.sort([](const WVLChannel& a, const WVLChannel& b) { return sortKey(a) < sortKey(b); });
    return channels;
}

std::optional<TimeSpan> spanOf(const std::list<WVLContent>& programmes)
{
    std::optional<TimeSpan> span;
    for (const WVLContent& programme : programmes) {
        const WDateTime& start = programme.getStartTime();
        if (!start.hasInstant() || start.toTime_t() < 0) {
            continue;
        }
        const std::int64_t begin = start.toTime_t();
        const std::int64_t end = begin + std::int64_t{60} * std::max(0, programme.getDuration());
        span = span ? TimeSpan{std::min(span->first, begin), std::max(span->second, end)} : TimeSpan{begin, end};
    }
    return span;
}

void ServiceSession::check(const char* step, int status)
{
    if (status != status::kOk) {
        throw describe(step, status, m_runtime.failures().take(), m_runtime.configuration());
    }
}

void ServiceSession::checkAddress() const
{
    const std::string& url = m_runtime.configuration().value("base_url");
    if (!splitUrl(url, UrlEncoding::AsGiven)) {
        throw ServiceProblem(fmt::format("base_url is \"{}\", which is not an http or https address", url),
                             "set it, as in --set base_url=http://127.0.0.1:8900");
    }
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

WVLSession ServiceSession::open()
{
    WVLSession session;
    ServiceCall<SessionCallback> call;
    call.start(m_runtime.plugin(), &WCorvaneOAI::getAuthSeedkey,
               [&session](const WVLSession& delivered) { session = delivered; });
    const int status = call.wait(m_patience);
    if (status != status::kOk) {
        throw describeRefusedSession(status, m_runtime.failures().take(), m_runtime.configuration());
    }
    return session;
}

WVLLocaltime ServiceSession::start()
{
    checkAddress();
    WVLLocaltime localtime = fetchLocaltime();
    open();
    return localtime;
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
    const int status = call.wait(m_patience);
    if (status != status::kEmptyList) {
        check("fetch the channel list", status);
    }
    return lineUp(std::move(channels));
}

std::list<WVLContent> ServiceSession::fetchSchedule(const std::vector<std::string>& sources, std::int64_t begin,
                                                    int hours)
{
    constexpr std::size_t kMostOfAUrl = 4000;
    struct SchedulePart {
        std::list<std::string> sources;
        std::list<WVLContent> programmes;
        ServiceCall<ContentListCallback> call;
    };
    std::list<SchedulePart> parts;
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
    for (SchedulePart& part : parts) {
        part.call.start(
            m_runtime.plugin(), &WCorvaneOAI::getSchedule,
            [&part](const WContainer<WVLContent>& delivered) { part.programmes = delivered.getData(); }, part.sources,
            static_cast<unsigned long>(begin), hours, imageSizes);
    }
    std::list<WVLContent> programmes;
    for (SchedulePart& part : parts) {
        check("fetch the schedule", part.call.wait(m_patience));
        programmes.splice(programmes.end(), part.programmes);
    }
    return programmes;
}

std::optional<TimeSpan> ServiceSession::fetchSpan(const std::vector<std::string>& sources, std::int64_t around)
{
    constexpr std::size_t kSample = 20;
    constexpr int kMonth = 744;  // hours
    const std::vector<std::string> sample(
        sources.begin(), sources.begin() + static_cast<std::ptrdiff_t>(std::min(sources.size(), kSample)));
    std::list<WVLContent> programmes =
        fetchSchedule(sample, std::max<std::int64_t>(1, around - kMonth * kHour), kMonth);
    programmes.splice(programmes.end(), fetchSchedule(sample, around, kMonth));
    return spanOf(programmes);
}

std::list<WVLDownloadURL> ServiceSession::fetchTodayFiles()
{
    std::list<WVLDownloadURL> files;
    ServiceCall<DownloadUrlsCallback> call;
    call.start(m_runtime.plugin(), &WCorvaneOAI::getTodayURL,
               [&files](const WContainer<WVLDownloadURL>& delivered) { files = delivered.getData(); });
    check("ask for today's files", call.wait(m_patience));
    return files;
}

}  // namespace W::host
