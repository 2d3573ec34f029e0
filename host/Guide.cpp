// Session, clock, line-up, schedule; then the table.
#include "Guide.h"

#include "GuideTable.h"
#include "ServiceSession.h"
#include "Terminal.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <set>
#include <stdexcept>

namespace W::host {

namespace {

constexpr std::int64_t kHour = 3600;

bool sameText(std::string_view a, std::string_view b)
{
    const auto lower = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](char x, char y) { return lower(x) == lower(y); });
}

bool isChannel(const WVLChannel& channel, std::string_view wanted)
{
    return sameText(channel.getSource(), wanted) || sameText(channel.getNumber(), wanted) ||
           sameText(channel.getName(), wanted);
}

/// Keeps what was asked for, in the order in which it was asked for.
std::list<WVLChannel> chosen(std::list<WVLChannel> channels, const std::vector<std::string>& wanted)
{
    if (wanted.empty())
        return channels;
    std::list<WVLChannel> kept;
    for (const std::string& name : wanted) {
        const auto found = std::find_if(channels.begin(), channels.end(),
                                        [&name](const WVLChannel& channel) { return isChannel(channel, name); });
        if (found != channels.end())
            kept.splice(kept.end(), channels, found);
        else
            fmt::print(stderr, "corvane: there is no channel \"{}\" in the line-up\n", name);
    }
    if (kept.empty())
        throw ServiceProblem("none of these channels is in the line-up",
                             "leave --channels out to see all of them; each goes by source, number or name");
    return kept;
}

GuideWindow windowFor(const GuideOptions& guide, const WVLLocaltime& localtime)
{
    constexpr std::int64_t kSlot = kHour / 2;
    GuideWindow window;
    window.offsetSeconds = localtime.getDifference().offsetSeconds();
    window.now = localtime.getUTC().hasInstant() ? localtime.getUTC().toTime_t() : std::time(nullptr);
    if (guide.date.empty())
        window.begin = window.now - window.now % kSlot;
    else
        window.begin = *readGuideDate(guide.date) - window.offsetSeconds;
    window.end = window.begin + guide.hours * kHour;
    return window;
}

}  // namespace

std::optional<std::int64_t> readGuideDate(std::string_view text)
{
    constexpr std::string_view kEvening = "T20:00";
    constexpr std::size_t kDay = 10;
    std::string complete(text);
    if (complete.size() == kDay)
        complete += kEvening;
    complete += ":00";
    const WDateTime time = WDateTime::fromString(complete, WDateTime::FORMAT_LOCAL, WDateTime::TIMEZONE_LOCAL);
    if (!time.hasInstant())
        return std::nullopt;
    return time.toTime_t();
}

int runGuide(const CommonOptions& options, const GuideOptions& guide)
{
    ServiceReason reason;
    Runtime runtime(options, Defaults::ForPeople);
    ServiceSession service(runtime, reason, options.timeout());
    const WVLLocaltime localtime = service.fetchLocaltime();
    service.open();
    const std::list<WVLChannel> channels = chosen(service.fetchChannels(), guide.channels);
    if (channels.empty())
        throw ServiceProblem(
            fmt::format("the line-up of headend \"{}\" has no channels", runtime.configuration().text("headend")),
            "choose another one with --set headend=ID, or fill the service with \"corvaned import\"");
    std::vector<std::string> sources;
    for (const WVLChannel& channel : channels)
        sources.push_back(channel.getSource());
    const GuideWindow window = windowFor(guide, localtime);
    const std::list<WVLContent> programmes = service.fetchSchedule(sources, window.begin, guide.hours);
    const std::string table = guideTable(channels, programmes, window, {terminalWidth(), terminalHasColours()});
    std::fwrite(table.data(), 1, table.size(), stdout);
    if (programmes.empty())
        fmt::print(stderr, "corvane: the service has no programmes for this time; name another one with --date\n");
    return 0;
}

}  // namespace W::host
