#include "Guide.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <optional>
#include <stdexcept>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "GuideDate.h"
#include "GuideTable.h"
#include "Interruption.h"
#include "ServiceCall.h"
#include "ServiceSession.h"
#include "Terminal.h"

namespace W::host {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kHour = 3600;

// --- channels --------------------------------------------------------------------------------------------------------

bool startsWithIgnoringCase(std::string_view text, std::string_view beginning)
{
    const auto lower = [](char letter) { return std::tolower(static_cast<unsigned char>(letter)); };
    return text.size() >= beginning.size() && std::equal(beginning.begin(), beginning.end(), text.begin(),
                                                         [&](char x, char y) { return lower(x) == lower(y); });
}

bool matches(const WVLChannel& channel, std::string_view wanted, bool whole)
{
    const std::string* const fields[] = {&channel.getSource(), &channel.getNumber(), &channel.getName()};
    return std::any_of(std::begin(fields), std::end(fields), [&](const std::string* field) {
        return startsWithIgnoringCase(*field, wanted) && (!whole || field->size() == wanted.size());
    });
}

/// The channel that a word on the command line means.
std::list<WVLChannel>::iterator findChannel(std::list<WVLChannel>& channels, const std::string& wanted)
{
    if (wanted.empty()) {
        return channels.end();
    }
    const auto exact = std::find_if(channels.begin(), channels.end(),
                                    [&](const WVLChannel& channel) { return matches(channel, wanted, true); });
    if (exact != channels.end()) {
        return exact;
    }
    const auto starts = [&](const WVLChannel& channel) { return matches(channel, wanted, false); };
    const auto first = std::find_if(channels.begin(), channels.end(), starts);
    if (std::count_if(channels.begin(), channels.end(), starts) < 2) {
        return first;
    }
    constexpr int kShown = 5;
    std::string names;
    int shown = 0;
    for (const WVLChannel& channel : channels) {
        if (starts(channel) && ++shown <= kShown) {
            names += fmt::format("{}{} {}", names.empty() ? "" : ", ", channel.getNumber(), channel.getName());
        }
    }
    throw ServiceProblem(
        fmt::format("several channels begin with \"{}\": {}{}", wanted, names, shown > kShown ? ", …" : ""),
        "write more of the name, or the number or source");
}

/// Keeps the wanted channels, in the wanted order.
std::list<WVLChannel> chosen(std::list<WVLChannel> channels, const std::vector<std::string>& wanted)
{
    if (wanted.empty()) {
        return channels;
    }
    std::list<WVLChannel> kept;
    for (const std::string& name : wanted) {
        const auto found = findChannel(channels, name);
        if (found != channels.end()) {
            kept.splice(kept.end(), channels, found);
        } else {
            fmt::print(stderr, "corvane: there is no channel \"{}\" in the line-up\n", name);
        }
    }
    if (kept.empty()) {
        throw ServiceProblem("none of these channels is in the line-up", "omit --channels to see all channels");
    }
    return kept;
}

std::vector<std::string> sourcesOf(const std::list<WVLChannel>& channels)
{
    std::vector<std::string> sources;
    for (const WVLChannel& channel : channels) {
        sources.push_back(channel.getSource());
    }
    return sources;
}

/// The line-up that programmes imply.
std::list<WVLChannel> channelsOf(const std::list<WVLContent>& programmes)
{
    std::list<WVLChannel> channels;
    for (const WVLContent& programme : programmes) {
        channels.push_back(programme.getChannel());
    }
    return lineUp(std::move(channels));
}

// --- times -----------------------------------------------------------------------------------------------------------

/// --zone, or TZ, or the service's zone; this machine's if no service was asked.
DisplayZone zoneFor(const GuideOptions& guide, const WVLLocaltime* service)
{
    if (!guide.zone.empty()) {
        return DisplayZone::named(guide.zone).value();
    }
    const char* const machine = std::getenv("TZ");
    if (!service || (machine && *machine)) {
        return DisplayZone::machine();
    }
    return serviceZone(*service);
}

/// The last full half hour.
std::int64_t slotOf(std::int64_t time)
{
    constexpr std::int64_t kSlot = kHour / 2;
    return time - time % kSlot;
}

GuideWindow windowFor(const GuideOptions& guide, std::int64_t now, const DisplayZone& zone)
{
    GuideWindow window;
    window.zone = zone;
    window.now = now;
    window.begin =
        guide.date.empty() ? slotOf(now) : zone.instantOf(readGuideDate(guide.date, zone.localOf(now)).value());
    window.end = window.begin + guide.hours * kHour;
    return window;
}

bool hasProgrammes(const std::list<WVLContent>& programmes, const GuideWindow& window)
{
    return std::any_of(programmes.begin(), programmes.end(), [&window](const WVLContent& programme) {
        const std::int64_t begin = programme.getStartTime().toTime_t();
        const std::int64_t end = begin + std::int64_t{60} * std::max(0, programme.getDuration());
        return programme.getStartTime().hasInstant() && begin < window.end && end > window.begin;
    });
}

// --- output ----------------------------------------------------------------------------------------------------------

void print(const GuideOptions& options, const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
           const GuideWindow& window)
{
    GuideStyle style;
    style.width = options.width > 0 ? options.width : terminalWidth();
    style.colours = options.color == ColorChoice::Auto ? terminalHasColours() : options.color == ColorChoice::Always;
    const std::string table = guideTable(channels, programmes, window, style);
    std::fwrite(table.data(), 1, table.size(), stdout);
}

/// Says what there is instead, if the window is empty.
void reportEmpty(const std::string& subject, const std::optional<TimeSpan>& span, const DisplayZone& zone)
{
    std::fflush(stdout);
    if (span) {
        fmt::print(stderr,
                   "corvane: {} has no programmes for this time, but from {} to {}; choose a time with --date\n",
                   subject, shownTime(span->first, zone), shownTime(span->second, zone));
    } else {
        fmt::print(stderr,
                   "corvane: {} has no programmes within a month of now; import a listing with \"corvaned "
                   "import\"\n",
                   subject);
    }
}

// --- schedule files --------------------------------------------------------------------------------------------------

/// Why the plug-in could not read a file: its status says only that it could not.
std::string whyUnreadable(const std::string& file)
{
    struct stat state {};
    if (::stat(file.c_str(), &state) != 0) {
        return std::strerror(errno);
    }
    if (!S_ISREG(state.st_mode)) {
        return S_ISDIR(state.st_mode) ? "it is a directory" : "it is not a regular file";
    }
    if (::access(file.c_str(), R_OK) != 0) {
        return std::strerror(errno);
    }
    return fmt::format("it has {} bytes; at most 64 MiB are read", state.st_size);
}

ServiceProblem scheduleProblem(const std::string& file, int status)
{
    constexpr const char* kGetOne =
        "name a file of today's schedule, or omit FILE to download today's files from the service";
    switch (status) {
        case status::kFileNotReadable:
            return {fmt::format("cannot read the schedule file {}: {} (status {})", file, whyUnreadable(file), status),
                    kGetOne};
        case status::kNotJson:
            return {fmt::format("{} is not a schedule file: it is not JSON (status {})", file, status), kGetOne};
        case status::kUnreadableReply:
            return {fmt::format("{} is not a schedule file: it is JSON, but holds an error or no channels (status {})",
                                file, status),
                    kGetOne};
        default:
            return {
                fmt::format("cannot read the schedule file {}: {} (status {})", file, WSTATUS2STRING(status), status),
                "free some memory and try again"};
    }
}

/// @throws ServiceProblem
std::list<WVLContent> readSchedule(WCorvaneOAI& plugin, const std::string& file)
{
    WContainer<WVLContent> schedule;
    const int status = plugin.getTodaySchedule(file, schedule);
    if (status != status::kOk) {
        throw scheduleProblem(file, status);
    }
    return schedule.getData();
}

/// A directory that goes with everything in it.
class TemporaryDirectory {
public:
    TemporaryDirectory()
    {
        std::string path = (std::filesystem::temp_directory_path() / "corvane-XXXXXX").string();
        if (!::mkdtemp(path.data())) {
            throw std::runtime_error(
                fmt::format("cannot make a temporary directory {}: {}", path, std::strerror(errno)));
        }
        m_path = path;
    }
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

/// Downloads a file through the plug-in.
/// @return the status; 600 after an interruption
int fetchFile(Runtime& runtime, const std::string& url, const std::string& directory, const std::string& name)
{
    constexpr auto kRefresh = 100ms;
    ServiceCall<DownloadCallback> call;
    const auto fetch = [&](WCorvaneOAI& plugin, DownloadCallback done, void* userData, WRequestStatus& out) {
        return plugin.download(plugin.getContentProvider(), url, directory, name, done, userData, out);
    };
    call.start(runtime.plugin(), fetch, [](const WContentProvider&, const std::string&) {});
    while (!call.isOverWithin(kRefresh)) {
        if (Interruption::signal() != 0) {
            call.cancel();
        }
    }
    return call.wait(0ms);
}

/// Today's programmes from the service's files; nothing after an interruption.
/// @throws ServiceProblem
std::optional<std::list<WVLContent>> downloadToday(Runtime& runtime, ServiceSession& service)
{
    const Interruption interruption;
    const TemporaryDirectory directory;
    std::list<WVLContent> programmes;
    int number = 0;
    for (const WVLDownloadURL& file : service.fetchTodayFiles()) {
        const std::string name = fmt::format("{}.json", ++number);
        const int status = fetchFile(runtime, file.getURL(), directory.path(), name);
        if (Interruption::signal() != 0) {
            return std::nullopt;
        }
        if (status != status::kOk) {
            throw describe("download " + file.getURL(), status, runtime.failures().take(), runtime.configuration());
        }
        programmes.splice(programmes.end(), readSchedule(runtime.plugin(), directory.path() + "/" + name));
    }
    return programmes;
}

/// Prints programmes that are all of today's. Without a date the window moves to them if nothing is on now.
void printDay(const GuideOptions& guide, const std::list<WVLContent>& programmes, const std::string& subject,
              GuideWindow window)
{
    const std::list<WVLChannel> channels = chosen(channelsOf(programmes), guide.channels);
    const std::optional<TimeSpan> span = spanOf(programmes);
    const bool isOn = hasProgrammes(programmes, window);
    const bool moves = !isOn && guide.date.empty() && span;
    if (moves) {
        window.begin = slotOf(span->first);
        window.end = window.begin + guide.hours * kHour;
    }
    print(guide, channels, programmes, window);
    if (!span) {
        fmt::print(stderr, "corvane: {} has no programmes\n", subject);
    } else if (moves) {
        fmt::print(stderr, "corvane: {} has no programmes for now; the table shows its beginning\n", subject);
    } else if (!isOn) {
        reportEmpty(subject, span, window.zone);
    }
}

}  // namespace

DisplayZone serviceZone(const WVLLocaltime& localtime)
{
    const int offset = localtime.getDifference().offsetSeconds();
    const auto zone = DisplayZone::named(localtime.getTimezone());
    const bool agrees =
        zone && localtime.getUTC().hasInstant() && zone->offsetAt(localtime.getUTC().toTime_t()) == offset;
    return agrees ? *zone : DisplayZone::fixed(offset);
}

int runGuide(const CommonOptions& options, const GuideOptions& guide)
{
    Runtime runtime(options, Defaults::ForPeople);
    ServiceSession service(runtime, options.timeout());
    service.checkAddress();
    const WVLLocaltime localtime = service.fetchLocaltime();
    service.open();
    const std::list<WVLChannel> channels = chosen(service.fetchChannels(), guide.channels);
    if (channels.empty()) {
        throw ServiceProblem(
            fmt::format("the line-up of headend \"{}\" has no channels", runtime.configuration().text("headend")),
            "choose another one with --set headend=ID, or fill the service with \"corvaned import\"");
    }
    const WDateTime& clock = localtime.getUTC();
    const std::int64_t now = clock.hasInstant() ? clock.toTime_t() : std::time(nullptr);
    const GuideWindow window = windowFor(guide, now, zoneFor(guide, &localtime));
    const std::vector<std::string> sources = sourcesOf(channels);
    const std::list<WVLContent> programmes = service.fetchSchedule(sources, window.begin, guide.hours);
    print(guide, channels, programmes, window);
    if (programmes.empty()) {
        reportEmpty("the service", service.fetchSpan(sources, now), window.zone);
    }
    return 0;
}

int runToday(const CommonOptions& options, const GuideOptions& guide, const std::string& file)
{
    Runtime runtime(options, Defaults::ForPeople);
    if (!file.empty()) {
        const std::list<WVLContent> programmes = readSchedule(runtime.plugin(), file);
        printDay(guide, programmes, file, windowFor(guide, std::time(nullptr), zoneFor(guide, nullptr)));
        return 0;
    }
    ServiceSession service(runtime, options.timeout());
    service.checkAddress();
    const WVLLocaltime localtime = service.fetchLocaltime();
    service.open();
    const auto programmes = downloadToday(runtime, service);
    if (!programmes) {
        fmt::print(stderr, "corvane: interrupted\n");
        return 128 + Interruption::signal();
    }
    const WDateTime& clock = localtime.getUTC();
    const std::int64_t now = clock.hasInstant() ? clock.toTime_t() : std::time(nullptr);
    printDay(guide, *programmes, "today's schedule", windowFor(guide, now, zoneFor(guide, &localtime)));
    return 0;
}

}  // namespace W::host
