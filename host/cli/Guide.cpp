#include "Guide.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "FavouriteLists.h"
#include "GuideDate.h"
#include "GuideTable.h"
#include "Interruption.h"
#include "OpenedService.h"
#include "ServiceCall.h"
#include "ServiceSession.h"
#include "Suggestion.h"
#include "Terminal.h"

namespace W::host {

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kHour = 3600;

/// The channels that the programmes are on, as a line-up.
std::list<WVLChannel> channelsOf(const std::list<WVLContent>& programmes)
{
    std::list<WVLChannel> channels;
    for (const WVLContent& programme : programmes) {
        channels.push_back(programme.getChannel());
    }
    return lineUp(std::move(channels));
}

// --- times -----------------------------------------------------------------------------------------------------------

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

/// The guide as a table, or as one JSON object.
void print(const OutputOptions& output, const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
           const GuideWindow& window)
{
    if (output.json) {
        printJson({{"begin", toJson(WDateTime::fromTime_t(window.begin))},
                   {"end", toJson(WDateTime::fromTime_t(window.end))},
                   {"channels", toJson(channels)},
                   {"programmes", toJson(programmes)}},
                  output);
        return;
    }
    GuideStyle style;
    style.width = output.columns();
    style.colours = output.hasColours();
    printPaged(guideTable(channels, programmes, window, style), output);
}

/// Reports that the window is empty, and the time span of the programmes.
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

/// Why the plug-in could not read a file. Its status does not tell.
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
            return {
                fmt::format("{} is not a schedule file: it is JSON, but contains an error or no channels (status {})",
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

/// A directory that the destructor removes with its contents.
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

/// Prints today's programmes. Without a date the window moves to them if nothing is on now.
void printDay(const GuideOptions& guide, const OutputOptions& output, const std::list<WVLContent>& programmes,
              const std::string& subject, GuideWindow window)
{
    const std::list<WVLChannel> channels = chosenChannels(channelsOf(programmes), guide.channels);
    const std::optional<TimeSpan> span = spanOf(programmes);
    const bool isOn = hasProgrammes(programmes, window);
    const bool moves = !isOn && guide.date.empty() && span;
    if (moves) {
        window.begin = slotOf(span->first);
        window.end = window.begin + guide.hours * kHour;
    }
    print(output, channels, programmes, window);
    if (!span) {
        fmt::print(stderr, "corvane: {} has no programmes\n", subject);
    } else if (moves) {
        fmt::print(stderr, "corvane: {} has no programmes for now; the table shows its beginning\n", subject);
    } else if (!isOn) {
        reportEmpty(subject, span, window.zone);
    }
}

// --- favourites and genres
// --------------------------------------------------------------------------------------------

/// Keeps the channels that are favourites.
/// @throws ServiceProblem if there are none
std::list<WVLChannel> favouritesOf(std::list<WVLChannel> channels, OperationCaller& operations)
{
    std::set<std::string> sources;
    const Json favourites = fetchFavourites(operations, Favourite::Channel);
    for (const Json& channel : favourites["data"]) {
        sources.insert(channel["Source"].get<std::string>());
    }
    channels.remove_if([&](const WVLChannel& channel) { return sources.count(channel.getSource()) == 0; });
    if (channels.empty()) {
        throw ServiceProblem("no channel of the line-up is a favourite",
                             "add one with \"corvane favourites add channel CHANNEL\", or omit --favourites");
    }
    return channels;
}

/// IDs of the genres with a name, or of a group of genres with that name. Case does not matter.
/// @throws ServiceProblem if there are none
std::set<std::string> genresNamed(const std::string& wanted, OperationCaller& operations)
{
    const Json results = operations.call("fetch the genres", "getGenreList", Json::array({""}));
    const auto same = [&wanted](const std::string& name) {
        return name.size() == wanted.size() &&
               std::equal(name.begin(), name.end(), wanted.begin(),
                          [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
    };
    std::vector<std::string> known;
    std::set<std::string> groups;
    for (const Json& group : results[1]["data"]) {
        known.push_back(group["GenreRepName"].get<std::string>());
        if (same(known.back())) {
            groups.insert(group["GenreRepID"].get<std::string>());
        }
    }
    std::set<std::string> genres;
    for (const Json& genre : results[0]["data"]) {
        const auto name = genre["GenreName"].get<std::string>();
        if (same(name) || groups.count(genre["GenreRepID"].get<std::string>()) != 0) {
            genres.insert(genre["GenreID"].get<std::string>());
        }
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            known.push_back(name);
        }
    }
    if (genres.empty()) {
        // A listing may have hundreds; the groups come first.
        constexpr std::size_t kShown = 12;
        std::string names;
        for (std::size_t i = 0; i < std::min(kShown, known.size()); ++i) {
            names += (names.empty() ? "" : ", ") + known[i];
        }
        if (known.size() > kShown) {
            names += fmt::format(", or one of {} others, which \"corvane api getGenreList ''\" lists",
                                 known.size() - kShown);
        }
        throw ServiceProblem(fmt::format("the guide has no genre \"{}\"{}", wanted, didYouMean(wanted, known)),
                             names.empty() ? "omit --genre" : "choose one of " + names);
    }
    return genres;
}

/// Keeps the programmes of some genres, and the channels that show one.
void keepGenres(const std::set<std::string>& genres, std::list<WVLChannel>& channels, std::list<WVLContent>& programmes)
{
    programmes.remove_if([&genres](const WVLContent& programme) {
        const std::list<WVLGenre>& own = programme.getGenrelist();
        return std::none_of(own.begin(), own.end(),
                            [&genres](const WVLGenre& genre) { return genres.count(genre.getGenreID()) != 0; });
    });
    std::set<std::string> sources;
    for (const WVLContent& programme : programmes) {
        sources.insert(programme.getChannel().getSource());
    }
    channels.remove_if([&](const WVLChannel& channel) { return sources.count(channel.getSource()) == 0; });
}

}  // namespace

int runGuide(const CommonOptions& options, const GuideOptions& guide, const OutputOptions& output)
{
    OpenedService service(options);
    std::list<WVLChannel> channels = service.channels();
    if (guide.favourites) {
        channels = favouritesOf(std::move(channels), service.operations());
    }
    channels = chosenChannels(std::move(channels), guide.channels);
    const GuideWindow window = windowFor(guide, service.now(), service.zone(output.zone));
    const std::vector<std::string> sources = sourcesOf(channels);
    std::list<WVLContent> programmes = service.session().fetchSchedule(sources, window.begin, guide.hours);
    const bool isEmpty = programmes.empty();
    if (!guide.genre.empty()) {
        keepGenres(genresNamed(guide.genre, service.operations()), channels, programmes);
    }
    print(output, channels, programmes, window);
    if (isEmpty) {
        reportEmpty("the service", service.session().fetchSpan(sources, service.now()), window.zone);
    } else if (programmes.empty()) {
        fmt::print(stderr, "corvane: no programme of the genre \"{}\" is on at this time; choose a time with --date\n",
                   guide.genre);
    }
    return 0;
}

int runToday(const CommonOptions& options, const GuideOptions& guide, const OutputOptions& output,
             const std::string& file)
{
    if (!file.empty()) {
        Runtime runtime(options, Defaults::ForPeople);
        const std::list<WVLContent> programmes = readSchedule(runtime.plugin(), file);
        const DisplayZone zone = output.zone.empty() ? DisplayZone::machine() : DisplayZone::named(output.zone).value();
        printDay(guide, output, programmes, file, windowFor(guide, std::time(nullptr), zone));
        return 0;
    }
    OpenedService service(options);
    const auto programmes = downloadToday(service.runtime(), service.session());
    if (!programmes) {
        fmt::print(stderr, "corvane: interrupted\n");
        return 128 + Interruption::signal();
    }
    printDay(guide, output, *programmes, "today's schedule",
             windowFor(guide, service.now(), service.zone(output.zone)));
    return 0;
}

}  // namespace W::host
