// Where channels, programmes and the time come from: session, clock, line-up and schedule of a service, or a file. Then
// the table.
#include "Guide.h"

#include "GuideTable.h"
#include "ServiceSession.h"
#include "Terminal.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
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

/// The last full half hour.
std::int64_t slotOf(std::int64_t time)
{
    constexpr std::int64_t kSlot = kHour / 2;
    return time - time % kSlot;
}

GuideWindow windowFor(const GuideOptions& guide, std::int64_t now, int offsetSeconds)
{
    GuideWindow window;
    window.offsetSeconds = offsetSeconds;
    window.now = now;
    window.begin = guide.date.empty() ? slotOf(now) : *readGuideDate(guide.date) - offsetSeconds;
    window.end = window.begin + guide.hours * kHour;
    return window;
}

void print(const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes, const GuideWindow& window)
{
    const std::string table = guideTable(channels, programmes, window, {terminalWidth(), terminalHasColours()});
    std::fwrite(table.data(), 1, table.size(), stdout);
}

/// What this machine's clock shows, in seconds east of Greenwich.
int localOffset(std::time_t now)
{
    std::tm local{};
    return ::localtime_r(&now, &local) ? static_cast<int>(local.tm_gmtoff) : 0;
}

/// The channels of programmes, in order of appearance.
std::list<WVLChannel> channelsOf(const std::list<WVLContent>& programmes)
{
    std::list<WVLChannel> channels;
    std::set<std::string_view> seen;
    for (const WVLContent& programme : programmes) {
        const WVLChannel& channel = programme.getChannel();
        if (seen.insert(channel.getSource()).second)
            channels.push_back(channel);
    }
    return channels;
}

bool isOnDuring(const WVLContent& programme, const GuideWindow& window)
{
    const std::int64_t begin = programme.getStartTime().toTime_t();
    const std::int64_t end = begin + std::int64_t{60} * std::max(0, programme.getDuration());
    return programme.getStartTime().hasInstant() && begin < window.end && end > window.begin;
}

bool hasProgrammes(const std::list<WVLContent>& programmes, const GuideWindow& window)
{
    return std::any_of(programmes.begin(), programmes.end(),
                       [&window](const WVLContent& programme) { return isOnDuring(programme, window); });
}

/// When the first programme begins; nothing when none has a time.
std::optional<std::int64_t> firstBegin(const std::list<WVLContent>& programmes)
{
    std::optional<std::int64_t> first;
    for (const WVLContent& programme : programmes) {
        const WDateTime& start = programme.getStartTime();
        if (start.hasInstant() && start.toTime_t() >= 0 && (!first || start.toTime_t() < *first))
            first = start.toTime_t();
    }
    return first;
}

/// Why the plug-in could not read a file: it says only that it could not.
std::string whyUnreadable(const std::string& file)
{
    struct stat state {};
    if (::stat(file.c_str(), &state) != 0)
        return std::strerror(errno);
    if (!S_ISREG(state.st_mode))
        return S_ISDIR(state.st_mode) ? "it is a directory" : "it is not a regular file";
    if (::access(file.c_str(), R_OK) != 0)
        return std::strerror(errno);
    return fmt::format("it has {} bytes, of which at most 64 MiB are read", state.st_size);
}

ServiceProblem scheduleProblem(const std::string& file, int status)
{
    constexpr const char* kGetOne =
        "name a file of today's schedule, as \"corvane download URL DIR\" fetches it from the service";
    switch (status) {
        case status::kFileNotReadable:
            return {fmt::format("cannot read the schedule file {}: {} (status {})", file, whyUnreadable(file), status),
                    kGetOne};
        case status::kNotJson:
            return {fmt::format("{} is no schedule file: it is not JSON (status {})", file, status), kGetOne};
        case status::kUnreadableReply:
            return {fmt::format("{} is no schedule file: it is JSON, but holds an error, or no channels (status {})",
                                file, status),
                    kGetOne};
        default:
            return {
                fmt::format("cannot read the schedule file {}: {} (status {})", file, WSTATUS2STRING(status), status),
                "free some memory and try again"};
    }
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
    const WDateTime& clock = localtime.getUTC();
    const GuideWindow window = windowFor(guide, clock.hasInstant() ? clock.toTime_t() : std::time(nullptr),
                                         localtime.getDifference().offsetSeconds());
    const std::list<WVLContent> programmes = service.fetchSchedule(sources, window.begin, guide.hours);
    print(channels, programmes, window);
    if (programmes.empty())
        fmt::print(stderr, "corvane: the service has no programmes for this time; name another one with --date\n");
    return 0;
}

int runToday(const CommonOptions& options, const GuideOptions& guide, const std::string& file)
{
    Runtime runtime(options, Defaults::ForPeople);
    WContainer<WVLContent> schedule;
    const int status = runtime.plugin().getTodaySchedule(file, schedule);
    if (status != status::kOk)
        throw scheduleProblem(file, status);
    const std::list<WVLContent>& programmes = schedule.getData();
    const std::list<WVLChannel> channels = chosen(channelsOf(programmes), guide.channels);
    const std::time_t now = std::time(nullptr);
    GuideWindow window = windowFor(guide, now, localOffset(now));
    const std::optional<std::int64_t> first = firstBegin(programmes);
    const bool isOn = hasProgrammes(programmes, window);
    // Where the clock or the file is of another day, the file's own day is what there is to see.
    if (!isOn && guide.date.empty() && first) {
        window.begin = slotOf(*first);
        window.end = window.begin + guide.hours * kHour;
    }
    print(channels, programmes, window);
    if (!first)
        fmt::print(stderr, "corvane: {} has no programmes\n", file);
    else if (!isOn && guide.date.empty())
        fmt::print(stderr, "corvane: {} has no programmes for now; this is where it begins\n", file);
    else if (!isOn)
        fmt::print(stderr, "corvane: {} has no programmes for this time; name another one with --date\n", file);
    return 0;
}

}  // namespace W::host
