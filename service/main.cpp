// The command line of corvaned: `import` fills a database from XMLTV listings, `serve` answers over HTTP from one.
// Exit codes: 0 done, 1 something that the message names has to be put right, 2 wrong usage.
#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>

#include "Clock.h"
#include "Endpoints.h"
#include "GuideImport.h"
#include "OperatorError.h"
#include "Sample.h"
#include "Server.h"
#include "Store.h"

namespace corvaned {
namespace {

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

struct ImportArguments {
    std::string database;
    std::vector<std::string> listings;
    bool today = false;
    std::string zone;
};

struct ServeArguments {
    std::string database;
    std::string listen = "127.0.0.1:8900";
    std::string secret;
    std::string appKey;
    std::string certificate;
    std::string key;
    std::string zone;
    std::int64_t sessionHours = 24;
};

Zone zoneOf(const std::string& text)
{
    return text.empty() ? Zone::ofMachine() : Zone::named(text);
}

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
        Store store(arguments.database, Store::Mode::Create);
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
            // A database without a guide would only hide from a later `serve` that the import failed.
            for (const char* companion : {"", "-wal", "-shm"}) {
                std::filesystem::remove(arguments.database + companion, failed);
            }
        }
        throw;
    }
    return kDone;
}

// The signals that end the service; blocked in every thread and waited for in one.
sigset_t stopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

int runServe(const ServeArguments& arguments)
{
    const sigset_t signals = stopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    ServiceSettings settings;
    settings.secret = arguments.secret;
    settings.zone = zoneOf(arguments.zone);
    settings.sessionLifetime = arguments.sessionHours * 3600;
    if (!arguments.appKey.empty()) {
        settings.appKey = arguments.appKey;
    }
    const Zone zone = settings.zone;
    const ListenAddress address = ListenAddress::parse(arguments.listen);
    std::optional<TlsFiles> tls;
    if (!arguments.certificate.empty()) {
        tls = TlsFiles{arguments.certificate, arguments.key};
    }

    const bool sample = arguments.database.empty();
    std::optional<TemporaryDatabase> temporary;
    if (sample) {
        temporary.emplace();
    }
    Store store(sample ? temporary->path() : arguments.database, sample ? Store::Mode::Create : Store::Mode::Existing);
    if (sample) {
        importSample(store, systemNow(), zone);
    }
    Service service(store, std::move(settings));
    Server server(service, address, tls, [](const std::string& line) { fmt::print(stderr, "{}\n", line); });
    if (sample) {
        fmt::print(stderr, "corvaned: no --db given, serving the sample guide\n");
    }
    fmt::print("corvaned listening on {}\n", server.url());
    std::fflush(stdout);

    constexpr timespec kHour = {3600, 0};
    while (sigtimedwait(&signals, nullptr, &kHour) < 0) {
        // The sample is to cover today however long the service runs; on the same day this changes nothing.
        if (sample && errno == EAGAIN) {
            importSample(store, systemNow(), zone);
        }
    }
    server.stop();
    return kDone;
}

int run(int argc, char** argv)
{
    CLI::App app("corvaned: the live-television service on your own machine, over XMLTV listings.");
    app.require_subcommand(1);

    ImportArguments importing;
    CLI::App* const import = app.add_subcommand("import", "Fill a database from XMLTV listings (plain, .gz or .xz).");
    import->add_option("--db", importing.database, "Database file; made where it is missing")->required();
    import->add_option("listing", importing.listings, "XMLTV files; together they become the guide")->required();
    import->add_flag("--today", importing.today, "Move a guide of the past, by whole weeks, so that it covers today");
    import->add_option("--zone", importing.zone, "Zone that today is told by (default: this machine's)");

    ServeArguments serving;
    CLI::App* const serve = app.add_subcommand("serve", "Answer over HTTP.");
    serve->add_option("--db", serving.database, "Database that import has filled (default: the sample guide)");
    serve->add_option("--listen", serving.listen, "Address and port; port 0 takes a free one")->capture_default_str();
    serve->add_option("--secret", serving.secret, "Text that session tokens are mixed with (default: empty)");
    serve->add_option("--app-key", serving.appKey, "The one application key that is accepted (default: any)");
    CLI::Option* const certificate = serve->add_option("--tls-cert", serving.certificate, "Certificate chain, PEM");
    CLI::Option* const key = serve->add_option("--tls-key", serving.key, "Its private key, PEM");
    certificate->needs(key);
    key->needs(certificate);
    serve->add_option("--zone", serving.zone,
                      "Zone that local time is told in: Asia/Seoul or +09:00 (default: this machine's)");
    serve->add_option("--session-hours", serving.sessionHours, "Hours that a session lasts")
        ->capture_default_str()
        ->check(CLI::Range(1, 24 * 366));

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
    }
    return import->parsed() ? runImport(importing) : runServe(serving);
}

}  // namespace
}  // namespace corvaned

int main(int argc, char** argv)
{
    try {
        return corvaned::run(argc, argv);
    } catch (const std::exception& error) {
        fmt::print(stderr, "corvaned: {}\n", error.what());
        return corvaned::kFailed;
    }
}
