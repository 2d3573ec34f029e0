// `corvaned import`: fills a database from XMLTV listings. GuideImport.h does it; here are options, progress and
// report.
#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

#include <fmt/format.h>
#include <unistd.h>

#include "Commands.h"
#include "GuideImport.h"
#include "PlacesImport.h"
#include "Store.h"

namespace corvaned {
namespace {

struct ImportArguments {
    std::string database;
    std::vector<std::string> listings;
    bool today = false;
    std::string zone;
};

void printReport(const ImportReport& report, const std::string& database, std::chrono::duration<double> took)
{
    for (const ListingReport& listing : report.listings) {
        fmt::print("{}: {} channels, {} programmes", listing.name, listing.channels, listing.programmes);
        if (listing.repeated > 0) {
            fmt::print(", {} of them repeats", listing.repeated);
        }
        if (listing.skipped > 0) {
            fmt::print("; {} skipped", listing.skipped);
        }
        fmt::print("\n");
    }
    if (report.shift != 0) {
        constexpr std::int64_t kDay = 86400;
        const std::int64_t days = report.shift / kDay;
        fmt::print("moved by {} {}\n", days % 7 == 0 ? days / 7 : days, days % 7 == 0 ? "weeks" : "days");
    }
    if (!report.changed) {
        fmt::print("{} holds this guide already: nothing changed ({:.2f} s)\n", database, took.count());
    } else if (report.airings == 0) {
        fmt::print("{} now holds {} channels and no programme ({:.2f} s)\n", database, report.channels, took.count());
    } else {
        fmt::print("{} now holds {} channels and {} programmes from {} to {} ({:.2f} s)\n", database, report.channels,
                   report.airings, formatUtc(report.first), formatUtc(report.last), took.count());
    }
}

int runImport(const ImportArguments& arguments)
{
    const auto begin = std::chrono::steady_clock::now();
    const bool terminal = isatty(STDERR_FILENO) != 0;
    std::error_code failed;
    const bool existed = std::filesystem::exists(arguments.database, failed);

    std::vector<ListingInput> listings;
    for (const std::string& path : arguments.listings) {
        listings.push_back({path, [path] { return openFile(path); }});
    }
    ImportOptions options;
    options.warn = [terminal](const std::string& line) {
        fmt::print(stderr, "{}{}\n", terminal ? "\r\033[K" : "", line);
    };
    if (terminal) {
        options.progress = [](const std::string& name, std::int64_t programmes) {
            fmt::print(stderr, "\r\033[K{}: {} programmes", name, programmes);
        };
    }
    if (arguments.today) {
        options.shifts = movedToToday(systemNow(), zoneOf(arguments.zone));
    }
    try {
        Store store(arguments.database, Store::Mode::Create, addSamplePlaces);
        const ImportReport report = importGuide(store, listings, options);
        if (terminal) {
            fmt::print(stderr, "\r\033[K");
        }
        printReport(report, arguments.database, std::chrono::steady_clock::now() - begin);
    } catch (...) {
        if (terminal) {
            fmt::print(stderr, "\r\033[K");
        }
        if (!existed) {
            // Removes a new database without a guide: a later `serve` would start with it although the import failed.
            for (const char* companion : {"", "-wal", "-shm"}) {
                std::filesystem::remove(arguments.database + companion, failed);
            }
        }
        throw;
    }
    return kDone;
}

}  // namespace

Command addImport(CLI::App& app)
{
    const auto arguments = std::make_shared<ImportArguments>();
    CLI::App* const import = app.add_subcommand("import", "Fill a database from XMLTV listings (plain, .gz or .xz).");
    import->add_option("--db", arguments->database, "Database file; created if it is missing")->required();
    import->add_option("listing", arguments->listings, "XMLTV files; together they replace the guide")->required();
    import->add_flag("--today", arguments->today, "Move a guide of the past by whole weeks, so that it covers today");
    import->add_option("--zone", arguments->zone,
                       "Time zone of today, such as Asia/Seoul or +09:00 (default: this machine's)");
    return {import, [arguments] { return runImport(*arguments); }};
}

}  // namespace corvaned
