// `corvaned serve`: serves over HTTP until it gets SIGTERM or SIGINT; SIGHUP reads the certificate again.
#include "Commands.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <system_error>

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CombinedDatabase.h"
#include "CommandSettings.h"
#include "ExchangeRecords.h"
#include "FaultInjector.h"
#include "FileContent.h"
#include "GuideFile.h"
#include "LogWriter.h"
#include "Monitoring.h"
#include "NewGuide.h"
#include "OperatorError.h"
#include "PlacesImport.h"
#include "Sample.h"
#include "ServeLimits.h"
#include "Server.h"
#include "Service.h"
#include "Supervisor.h"
#include "ViewerStore.h"
#include "XmltvFeed.h"

namespace corvaned {
namespace {

// A value that other users of the machine must not see: they can read the command line of every process.
struct SecretArgument {
    std::string text;
    std::string file;
    const CLI::Option* option = nullptr;  // the option that sets `text`

    std::optional<std::string> value;
    bool isOnCommandLine = false;

    void read(const CommandSettings& options);
};

struct ServeArguments {
    std::string database;
    std::string viewers;
    std::string listen = "127.0.0.1:8900";
    bool create = false;
    SecretArgument secret;
    SecretArgument appKey;
    bool allowAnonymous = false;
    std::string certificate;
    std::string key;
    std::string zone;
    std::int64_t sessionHours = 24;
    std::int64_t sessionsPerDevice = ServiceSettings().sessionsPerDevice;
    std::int64_t newDevicesPerHour = ServiceSettings().newDevicesPerHour;
    std::int64_t statementSeconds = 2;
    std::size_t logLinesPerSecond = ServerSettings().logLinesPerSecond;
    bool allowFaults = false;
    std::vector<std::string> faults;
    std::string record;
    std::string replay;
    http::ServerLimits limits;
};

// Warns unless only owner and group can read the file. The group is allowed for services that run as their own user.
void warnIfOthersRead(const std::string& path)
{
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && (status.st_mode & S_IRWXO) != 0) {
        fmt::print(stderr, "corvaned: all users of this machine can read the secret in {}; run: chmod o= {}\n", path,
                   path);
    }
}

std::string secretOfFile(const std::string& path)
{
    std::string content;
    try {
        content = contentOfFile(path);
    } catch (const std::system_error& error) {
        throw OperatorError(fmt::format("cannot read {}: {}", path, error.code().message()));
    }
    while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) {
        content.pop_back();
    }
    if (content.empty()) {
        throw OperatorError(fmt::format("{} is empty; write the secret into it", path));
    }
    warnIfOthersRead(path);
    return content;
}

void SecretArgument::read(const CommandSettings& options)
{
    if (!file.empty()) {
        value = secretOfFile(file);
    } else if (!text.empty()) {
        value = text;
        isOnCommandLine = options.source(*option) == SettingSource::CommandLine;
        if (options.source(*option) == SettingSource::File) {
            warnIfOthersRead(options.file());
        }
    }
}

// Requires a secret if other machines can reach the service, unless the operator waives it.
// @return a warning, or ""
std::string checkExposure(const ServeArguments& arguments, const http::ListenAddress& address)
{
    if (address.isLoopback()) {
        return "";
    }
    const std::string place = address.socket < 0 ? arguments.listen : fmt::format("{}:{}", address.host, address.port);
    for (const SecretArgument* const secret : {&arguments.secret, &arguments.appKey}) {
        if (secret->isOnCommandLine) {
            throw OperatorError(fmt::format(
                "other users of this machine can read secrets on the command line; to listen on {}, give them with "
                "--secret-file and --app-key-file, or in CORVANED_SECRET and CORVANED_APP_KEY",
                place));
        }
    }
    if (!arguments.secret.value && !arguments.appKey.value && !arguments.allowAnonymous) {
        throw OperatorError(fmt::format(
            "--listen {} can be reached by other machines; give --secret-file or --app-key-file, so that only your "
            "clients are served, or --allow-anonymous to serve everyone",
            place));
    }
    return fmt::format(
        "corvaned: other machines can reach {}{}{}", place,
        arguments.secret.value || arguments.appKey.value ? "" : ", and everyone is served",
        arguments.certificate.empty() ? "; without --tls-cert, others on the network can read everything" : "");
}

// The signals that the service waits for. They are blocked in every thread.
sigset_t awaitedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    return signals;
}

// The hooks of every exchange, in their order.
struct Hooks {
    std::optional<ExchangePlayer> player;
    std::optional<FaultInjector> injector;
    std::optional<ExchangeRecorder> recorder;

    std::vector<http::ExchangeHook*> all()
    {
        std::vector<http::ExchangeHook*> made;
        if (player) {
            made.push_back(&*player);
        }
        if (injector) {
            made.push_back(&*injector);
        }
        if (recorder) {
            made.push_back(&*recorder);
        }
        return made;
    }
};

void makeHooks(const ServeArguments& arguments, const std::function<void(const std::string&)>& log, Hooks& hooks)
{
    if (!arguments.replay.empty()) {
        hooks.player.emplace(arguments.replay);
    }
    if (!arguments.faults.empty()) {
        hooks.injector.emplace(arguments.faults);
    }
    if (!arguments.record.empty()) {
        hooks.recorder.emplace(arguments.record, log);
    }
    if (!hooks.all().empty()) {
        log("corvaned: for tests: replies are altered, recorded or replayed");
    }
}

// Until SIGTERM or SIGINT.
void serveUntilStopped(const sigset_t& signals, Server& server, const std::function<void(const std::string&)>& log,
                       const std::function<void()>& everyHour)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds kHour = std::chrono::hours(1);
    const std::optional<std::chrono::milliseconds> watchdog = supervisor::watchdogTime();
    // Half of the watchdog's time remains for the server's answer.
    const std::chrono::milliseconds pause = watchdog ? std::min(*watchdog / 4, kHour) : kHour;
    const timespec timeout = {pause.count() / 1000, pause.count() % 1000 * 1'000'000};
    const std::string status = fmt::format("listening on {}", server.url());
    supervisor::announceReady(status);
    Clock::time_point hour = Clock::now();
    while (true) {
        const int signal = sigtimedwait(&signals, nullptr, &timeout);
        if (signal == SIGHUP) {
            supervisor::announceReload();
            server.reloadTls();
            supervisor::announceReady(status);
        } else if (signal > 0) {
            supervisor::announceStop();
            return;
        } else if (errno != EAGAIN) {
            continue;
        }
        if (watchdog && server.isResponsive(*watchdog / 2)) {
            supervisor::reportAlive();
        } else if (watchdog) {
            log("corvaned: the server does not respond; the service manager is going to restart it");
        }
        if (Clock::now() - hour >= kHour) {
            hour = Clock::now();
            everyHour();
        }
    }
}

// Warns about an empty or old guide, for which clients show no current programmes.
void warnIfPast(GuideFile& guide, const std::function<void(const std::string&)>& log)
{
    const GuideFile::Lease lease = guide.lease();
    sqlite::Query last(*lease, "SELECT coalesce(max(stop), 0) FROM airing");
    last.next();
    if (last.number(0) <= systemNow()) {
        log(last.number(0) == 0
                ? fmt::format("corvaned: {} has no guide yet; fill it with: corvaned import", guide.path())
                : fmt::format("corvaned: all programmes are in the past, the last one ended at {}; "
                              "import a newer listing",
                              formatUtc(last.number(0))));
    }
}

int runServe(ServeArguments& arguments, const CommandSettings& options)
{
    const std::optional<http::ListenAddress> inherited = supervisor::inheritedAddress();
    const sigset_t signals = awaitedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A closed reader of the log must not end the service.
    (void)std::signal(SIGPIPE, SIG_IGN);
    arguments.secret.read(options);
    arguments.appKey.read(options);

    ServerSettings settings;
    settings.address = inherited ? *inherited : http::ListenAddress::parse(arguments.listen);
    const std::string warning = checkExposure(arguments, settings.address);
    const std::size_t wanted = arguments.limits.connections;
    if (!fitToDescriptors(arguments.limits)) {
        fmt::print(stderr, "corvaned: the system allows {} connections instead of {}; raise it with ulimit -n\n",
                   arguments.limits.connections, wanted);
    }
    settings.limits = arguments.limits;
    settings.logLinesPerSecond = arguments.logLinesPerSecond;
    if (!arguments.certificate.empty()) {
        settings.tls = http::TlsFiles{arguments.certificate, arguments.key};
    }
    ServiceSettings service;
    service.secret = arguments.secret.value.value_or("");
    service.appKey = arguments.appKey.value;
    service.zone = zoneOf(arguments.zone);
    service.sessionLifetime = arguments.sessionHours * 3600;
    service.sessionsPerDevice = arguments.sessionsPerDevice;
    service.newDevicesPerHour = arguments.newDevicesPerHour;
    service.statementTime = std::chrono::seconds(arguments.statementSeconds);
    const Zone zone = service.zone;
    const KeyAccess access{!service.appKey && service.secret.empty(), service.appKey};

    const bool sample = arguments.database.empty();
    std::optional<TemporaryDatabase> temporary;
    if (sample) {
        temporary.emplace();
    }
    const std::string path = sample ? temporary->path() : arguments.database;
    if (sample) {
        importSample(path, systemNow(), zone);
    }
    http::LogWriter writer(STDERR_FILENO);
    const auto log = [&writer](const std::string& line) { writer.write(line); };
    splitCombinedDatabase(path, arguments.viewers, log, addSamplePlaces);
    if (arguments.create) {
        createGuideIfMissing(path, addSamplePlaces);
    }
    GuideFile guide(path, arguments.limits.handlers, log);
    ViewerStoreSettings viewerSettings;
    viewerSettings.statementTime = service.statementTime;
    viewerSettings.handlers = arguments.limits.handlers;
    viewerSettings.log = log;
    viewerSettings.mustAnswer = false;
    const std::unique_ptr<ViewerStore> viewers =
        openViewers(arguments.viewers.empty() ? viewersBeside(path) : arguments.viewers, viewerSettings);
    Service answering(guide, *viewers, std::move(service));
    XmltvFeed feed(guide, access);
    settings.feed = &feed;
    Monitoring monitoring(answering, access);
    settings.monitoring = &monitoring;
    Hooks hooks;
    makeHooks(arguments, log, hooks);
    settings.hooks = hooks.all();
    Server server(answering, settings, log);
    if (!warning.empty()) {
        log(warning);
    }
    if (sample) {
        log("corvaned: no --db given, serving the sample guide");
    } else {
        warnIfPast(guide, log);
    }
    std::printf("corvaned listening on %s\n", server.url().c_str());
    std::fflush(stdout);

    serveUntilStopped(signals, server, log, [&] {
        // Keeps the sample around today while the service runs for days. On the same day this changes nothing.
        if (sample) {
            importSample(path, systemNow(), zone);
        }
    });
    if (!server.stop()) {
        // A handler still uses the store, so nothing can be destroyed. Changes that were confirmed to clients are on
        // the disk.
        log("corvaned: stopped before a request was answered");
        temporary.reset();
        std::_Exit(kDone);
    }
    return kDone;
}

void addSecret(CLI::App& serve, const std::string& name, SecretArgument& secret, const std::string& what,
               const std::string& standard)
{
    CLI::Option* const file = serve.add_option(name + "-file", secret.file,
                                               fmt::format("Read {} from this file (default: {})", what, standard));
    secret.option =
        serve
            .add_option(
                name, secret.text,
                fmt::format(
                    "Use this value as {}. For tests only, because other users of this machine can read command lines",
                    what))
            ->excludes(file);
}

}  // namespace

Command addServe(CLI::App& app, const CommandSettings& settings)
{
    const auto arguments = std::make_shared<ServeArguments>();
    CLI::App* const serve = app.add_subcommand("serve", "Serve a guide over HTTP.");
    serve->add_option(
        "--db", arguments->database,
        "Serve the guide in this file, and each guide imported into it later (default: the sample guide)");
    addViewersOption(*serve, arguments->viewers);
    serve->add_flag("--create", arguments->create,
                    "Create the guide's file if it is missing; it is empty until the first import");
    serve->add_option("--listen", arguments->listen, "Listen on this address and port; port 0 takes a free one")
        ->capture_default_str();
    addSecret(*serve, "--secret", arguments->secret, "the secret of session tokens", "empty");
    addSecret(*serve, "--app-key", arguments->appKey, "the only accepted application key", "any");
    serve->add_flag("--allow-anonymous", arguments->allowAnonymous,
                    "Serve other machines without a secret or an application key");
    CLI::Option* const certificate = serve->add_option("--tls-cert", arguments->certificate,
                                                       "Serve HTTPS with the certificate chain in this PEM file");
    CLI::Option* const key = serve->add_option("--tls-key", arguments->key, "Use the private key in this PEM file");
    certificate->needs(key);
    key->needs(certificate);
    serve->add_option("--zone", arguments->zone,
                      "Use this zone for local times: Asia/Seoul or +09:00 (default: this machine's)");
    serve
        ->add_option("--statement-seconds", arguments->statementSeconds,
                     "Limit the time of one SQL statement, in seconds")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    serve->add_option("--session-hours", arguments->sessionHours, "End a session after this many hours")
        ->capture_default_str()
        ->check(CLI::Range(1, 24 * 366));
    constexpr std::int64_t kMany = 1'000'000'000;
    serve
        ->add_option("--sessions-per-device", arguments->sessionsPerDevice,
                     "Keep at most this many sessions of a device; a new one ends the oldest")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{1}, kMany));
    serve
        ->add_option("--new-devices-per-hour", arguments->newDevicesPerHour,
                     "Accept at most this many new devices of one client address in an hour; 0 accepts any number, as "
                     "needed behind a proxy")
        ->capture_default_str()
        ->check(CLI::Range(std::int64_t{0}, kMany));
    serve
        ->add_option("--log-lines-per-second", arguments->logLinesPerSecond,
                     "Log at most this many requests per second of each client address; count the others")
        ->capture_default_str();
    CLI::Option* const allow =
        serve->add_flag("--allow-faults", arguments->allowFaults, "Allow --fault to break replies");
    serve
        ->add_option("--fault", arguments->faults,
                     "For tests: break the replies of a path, as in 'channel/schedule=delay 500'; repeatable")
        ->needs(allow);
    CLI::Option* const record =
        serve->add_option("--record", arguments->record, "For tests: store every request and reply in this folder");
    serve->add_option("--replay", arguments->replay, "For tests: answer only from a folder that --record has filled")
        ->excludes(record);
    addLimitOptions(*serve, arguments->limits);
    return {serve, [arguments, &settings] { return runServe(*arguments, settings); }};
}

}  // namespace corvaned
