// `corvaned import`: makes a guide from XMLTV listings. This file has options, progress and report; ListingFetch.h
// fetches listings from the network, GuideImport.h imports, RepeatedImport.h repeats.
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "CombinedDatabase.h"
#include "Commands.h"
#include "FetchedListings.h"
#include "GuideFile.h"
#include "GuideImport.h"
#include "ListingFetch.h"
#include "OperatorError.h"
#include "PlacesImport.h"
#include "RepeatedImport.h"

namespace corvaned {
namespace {

struct ImportArguments {
    std::string database;
    std::string viewers;
    std::vector<std::string> listings;
    bool isMerge = false;
    bool today = false;
    std::string zone;
    std::string every;
    FetchLimits limits;
};

// Progress on a terminal, on one line that the next output replaces.
class ProgressLine {
public:
    bool isShown() const { return m_isTerminal; }
    void show(const std::string& line) const { fmt::print(stderr, "\r\033[K{}", line); }
    void clear() const
    {
        if (m_isTerminal) {
            fmt::print(stderr, "\r\033[K");
        }
    }
    void warn(const std::string& line) const
    {
        clear();
        fmt::print(stderr, "{}\n", line);
    }

private:
    const bool m_isTerminal = isatty(STDERR_FILENO) != 0;
};

std::string spanOf(Instant first, Instant last)
{
    return fmt::format("from {} to {}", formatUtc(first), formatUtc(last));
}

// "1 week later"; a shift may differ from whole days by the hour of a changed clock.
std::string moveOf(std::int64_t shift)
{
    const std::int64_t days = (std::abs(shift) + kDay / 2) / kDay;
    const bool isWeeks = days % 7 == 0;
    const std::int64_t count = isWeeks ? days / 7 : days;
    return fmt::format("{} {}", isWeeks ? counted(count, "week", "weeks") : counted(count, "day", "days"),
                       shift > 0 ? "later" : "earlier");
}

void printReport(const ImportReport& report, const std::string& database, std::chrono::duration<double> took)
{
    for (const ListingReport& listing : report.listings) {
        fmt::print("{}: {}, {}", listing.name, counted(listing.channels, "channel", "channels"),
                   counted(listing.programmes, "programme", "programmes"));
        if (listing.repeated > 0) {
            fmt::print(", {} of them {}", listing.repeated, listing.repeated == 1 ? "a repeat" : "repeats");
        }
        if (listing.skipped > 0) {
            fmt::print("; {} skipped", listing.skipped);
        }
        if (listing.shift != 0) {
            fmt::print("; moved {}, now {}", moveOf(listing.shift), spanOf(listing.first, listing.last));
        }
        fmt::print("\n");
    }
    if (!report.changed) {
        fmt::print("{} holds this guide already: nothing changed ({:.2f} s)\n", database, took.count());
    } else {
        fmt::print("{} now holds {} and {} {} ({:.2f} s)\n", database, counted(report.channels, "channel", "channels"),
                   counted(report.airings, "programme", "programmes"), spanOf(report.first, report.last), took.count());
    }
}

// Warns about a guide without current programmes: usually the file is old, and clients would show nothing.
void warnIfNotCurrent(const ImportReport& report, Instant now)
{
    if (report.last <= now) {
        fmt::print(stderr,
                   "corvaned: all programmes are in the past, the last one ended at {}; clients will show nothing for "
                   "now. Import a newer listing, or move this one with --today\n",
                   formatUtc(report.last));
    } else if (report.first > now) {
        fmt::print(stderr, "corvaned: the first programme begins at {}; until then clients will show nothing\n",
                   formatUtc(report.first));
    }
}

// The input of an import. Files are read when it begins; listings from the network have been fetched before.
struct Inputs {
    std::vector<ListingInput> listings;
    std::vector<Validators> versions;  // of the network's listings
    bool areNews = false;              // the guide was made from other versions, or that is not known
    bool areUnchanged = false;         // the servers say that the guide was made from exactly these versions
};

std::vector<std::string> addressesOf(const ImportArguments& arguments)
{
    std::vector<std::string> urls;
    std::copy_if(arguments.listings.begin(), arguments.listings.end(), std::back_inserter(urls), isListingAddress);
    return urls;
}

// A moved guide depends on the day, too.
bool mayBeUnchanged(const ImportArguments& arguments)
{
    return !arguments.today && addressesOf(arguments).size() == arguments.listings.size();
}

FetchOptions fetchOptions(const ImportArguments& arguments, const std::string& url, const ProgressLine& line)
{
    FetchOptions options;
    options.limits = arguments.limits;
    options.warn = [&line](const std::string& text) { line.warn("corvaned: " + text); };
    if (line.isShown()) {
        options.progress = [&line, name = addressForMessages(url)](std::uint64_t received, std::uint64_t expected) {
            constexpr double kMebibyte = 1 << 20;
            const double size = static_cast<double>(received) / kMebibyte;
            const double whole = static_cast<double>(expected) / kMebibyte;
            line.show(expected > 0 ? fmt::format("{}: {:.1f} of {:.1f} MiB", name, size, whole)
                                   : fmt::format("{}: {:.1f} MiB", name, size));
        };
    }
    return options;
}

Inputs gather(const ImportArguments& arguments, const ProgressLine& line)
{
    const std::vector<std::string> urls = addressesOf(arguments);
    std::vector<Validators> known(urls.size());
    std::error_code failed;
    if (mayBeUnchanged(arguments) && std::filesystem::exists(arguments.database, failed)) {
        known = knownVersions(*openGuide(arguments.database), urls);
    }
    std::vector<FetchedListing> fetched;
    for (std::size_t i = 0; i < urls.size(); ++i) {
        fetched.push_back(fetchListing(urls[i], known[i], fetchOptions(arguments, urls[i], line)));
    }
    const auto isUnchanged = [](const FetchedListing& listing) { return listing.isUnchanged; };
    Inputs inputs;
    if (!urls.empty() && std::all_of(fetched.begin(), fetched.end(), isUnchanged)) {
        inputs.areUnchanged = true;
        return inputs;
    }
    for (std::size_t i = 0; i < urls.size(); ++i) {
        if (fetched[i].isUnchanged) {  // but another one has changed, so this one is needed, too
            fetched[i] = fetchListing(urls[i], {}, fetchOptions(arguments, urls[i], line));
        }
        inputs.versions.push_back(fetched[i].validators);
        inputs.areNews = inputs.areNews || fetched[i].validators.etag != known[i].etag ||
                         fetched[i].validators.lastModified != known[i].lastModified;
    }
    auto next = fetched.begin();
    for (const std::string& listing : arguments.listings) {
        if (isListingAddress(listing)) {
            inputs.listings.push_back({addressForMessages(listing), (next++)->open});
        } else {
            inputs.listings.push_back(
                {listing == kStandardInput ? "standard input" : listing, [listing] { return openFile(listing); }});
        }
    }
    return inputs;
}

void importGathered(const ImportArguments& arguments, const ProgressLine& line)
{
    const auto begin = std::chrono::steady_clock::now();
    const Inputs inputs = gather(arguments, line);
    if (inputs.areUnchanged) {
        line.clear();
        fmt::print("{}: unchanged since the last import ({:.2f} s)\n", arguments.database,
                   std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        return;
    }
    ImportOptions options;
    options.isMerge = arguments.isMerge;
    options.warn = [&line](const std::string& text) { line.warn(text); };
    if (line.isShown()) {
        options.progress = [&line](const std::string& name, std::int64_t programmes) {
            line.show(fmt::format("{}: {}", name, counted(programmes, "programme", "programmes")));
        };
    }
    if (arguments.today) {
        options.shifts = movedToToday(systemNow(), zoneOf(arguments.zone));
    }
    if (mayBeUnchanged(arguments)) {
        options.always = inputs.areNews;
        options.complete = [&](sqlite::Connection& guide) {
            rememberVersions(guide, addressesOf(arguments), inputs.versions);
        };
    }
    const ImportReport report = importGuide(arguments.database, inputs.listings, options);
    line.clear();
    printReport(report, arguments.database, std::chrono::steady_clock::now() - begin);
    warnIfNotCurrent(report, systemNow());
}

void importOnce(const ImportArguments& arguments)
{
    const ProgressLine line;
    try {
        splitCombinedDatabase(
            arguments.database, arguments.viewers, [&line](const std::string& text) { line.warn(text); },
            addSamplePlaces);
        importGathered(arguments, line);
    } catch (...) {
        line.clear();
        throw;
    }
}

int runImport(const ImportArguments& arguments)
{
    if (arguments.every.empty()) {
        importOnce(arguments);
        return kDone;
    }
    if (std::find(arguments.listings.begin(), arguments.listings.end(), kStandardInput) != arguments.listings.end()) {
        throw OperatorError("standard input can be read once only; --every needs files or addresses");
    }
    repeatImport(*intervalOf(arguments.every), [&] { importOnce(arguments); });
}

std::string intervalProblem(const std::string& text)
{
    return intervalOf(text) ? std::string() : "'" + text + "' is not an interval such as 6h, 30m or 1d";
}

// An option for a number from 1 to `most`.
void addLimit(CLI::App& import, const char* name, const char* help, std::uint64_t usual, std::uint64_t most,
              const std::function<void(std::uint64_t)>& set)
{
    import.add_option_function<std::uint64_t>(name, set, help)
        ->default_str(std::to_string(usual))
        ->check(CLI::Range(std::uint64_t{1}, most));
}

}  // namespace

Command addImport(CLI::App& app)
{
    const auto arguments = std::make_shared<ImportArguments>();
    CLI::App* const command = app.add_subcommand(
        "import", "Make a guide from XMLTV listings (plain, .gz or .xz). It replaces the one in the file.");
    command->add_option("--db", arguments->database, "Write the guide to this file; it is created if it is missing")
        ->required();
    addViewersOption(*command, arguments->viewers);
    command
        ->add_option("listing", arguments->listings,
                     "Make one guide of these XMLTV files or addresses (http, https). - is standard input")
        ->required();
    command->add_flag("--merge", arguments->isMerge,
                      "Add to the guide instead of replacing it; new programmes replace those that they overlap");
    command->add_flag("--today", arguments->today,
                      "Move each listing that does not cover the present time so that it does: by whole weeks, or by "
                      "whole days if it is shorter than a week");
    command->add_option("--zone", arguments->zone,
                        "Keep the times of day of moved programmes in this zone, such as Asia/Seoul or +09:00 "
                        "(default: this machine's)");
    command
        ->add_option("--every", arguments->every,
                     "Repeat the import at this interval, such as 6h, 30m or 1d, until SIGTERM or SIGINT")
        ->check(intervalProblem);
    addLimit(*command, "--max-fetch", "Limit the size of a fetched listing, in MiB", FetchLimits().bytes >> 20, 1 << 20,
             [arguments](std::uint64_t mebibytes) { arguments->limits.bytes = mebibytes << 20; });
    addLimit(*command, "--fetch-seconds", "Limit the time for fetching a listing, in seconds",
             static_cast<std::uint64_t>(FetchLimits().wholeTime.count()), 86'400,
             [arguments](std::uint64_t seconds) { arguments->limits.wholeTime = std::chrono::seconds(seconds); });
    return {command, [arguments] { return runImport(*arguments); }};
}

}  // namespace corvaned
