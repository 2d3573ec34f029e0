// `corvaned serve`: answers over HTTP until it gets SIGTERM or SIGINT; SIGHUP reads the certificate again.
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "Commands.h"
#include "ExchangeRecords.h"
#include "FaultInjector.h"
#include "LogWriter.h"
#include "OperatorError.h"
#include "PlacesImport.h"
#include "Sample.h"
#include "ServeLimits.h"
#include "Server.h"
#include "Service.h"
#include "Store.h"
#include "XmltvFeed.h"

namespace corvaned {
namespace {

// A value that other users of the machine must not see: they can read the command line of every process.
struct SecretArgument {
    std::string text;
    std::string file;
    const char* variable;

    std::optional<std::string> value;
    bool isOnCommandLine = false;

    void read();
};

struct ServeArguments {
    std::string database;
    std::string listen = "127.0.0.1:8900";
    SecretArgument secret{{}, {}, "CORVANED_SECRET", {}, false};
    SecretArgument appKey{{}, {}, "CORVANED_APP_KEY", {}, false};
    bool allowAnonymous = false;
    std::string certificate;
    std::string key;
    std::string zone;
    std::int64_t sessionHours = 24;
    std::int64_t statementSeconds = 2;
    std::size_t logLinesPerSecond = ServerSettings().logLinesPerSecond;
    bool allowFaults = false;
    std::vector<std::string> faults;
    std::string record;
    std::string replay;
    http::ServerLimits limits;
};

std::string secretOfFile(const std::string& path)
{
    errno = 0;
    std::ifstream stream(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::error_code failed;
    if (!stream || std::filesystem::is_directory(path, failed)) {
        throw OperatorError(fmt::format("cannot read {}: {}", path, std::strerror(errno != 0 ? errno : EISDIR)));
    }
    while (!content.empty() && (content.back() == '\n' || content.back() == '\r')) {
        content.pop_back();
    }
    if (content.empty()) {
        throw OperatorError(fmt::format("{} is empty; write the secret into it", path));
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        fmt::print(stderr, "corvaned: other users can read {}; run: chmod 600 {}\n", path, path);
    }
    return content;
}

void SecretArgument::read()
{
    const char* const inEnvironment = std::getenv(variable);
    if (!file.empty()) {
        value = secretOfFile(file);
    } else if (inEnvironment != nullptr && *inEnvironment != '\0') {
        value = inEnvironment;
    } else if (!text.empty()) {
        value = text;
        isOnCommandLine = true;
    }
}

// What other machines can reach must know its clients, unless the operator wants it otherwise.
// @return a warning, or ""
std::string checkExposure(const ServeArguments& arguments, const http::ListenAddress& address)
{
    if (address.isLoopback()) {
        return "";
    }
    for (const SecretArgument* const secret : {&arguments.secret, &arguments.appKey}) {
        if (secret->isOnCommandLine) {
            throw OperatorError(fmt::format(
                "other users of this machine can read secrets on the command line; with --listen {}, give them with "
                "--secret-file and --app-key-file, or in CORVANED_SECRET and CORVANED_APP_KEY",
                arguments.listen));
        }
    }
    if (!arguments.secret.value && !arguments.appKey.value && !arguments.allowAnonymous) {
        throw OperatorError(
            fmt::format("--listen {} lets other machines in; give --secret-file or --app-key-file, so that only your "
                        "clients are served, or --allow-anonymous to serve everyone",
                        arguments.listen));
    }
    return fmt::format("corvaned: other machines can reach {}{}{}", arguments.listen,
                       arguments.secret.value || arguments.appKey.value ? "" : ", and everyone is served",
                       arguments.certificate.empty() ? "; without --tls-cert, everything can be read on the way" : "");
}

// The signals that the service waits for; blocked in every thread.
sigset_t awaitedSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    return signals;
}

// Every exchange passes these, in this order.
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
        log("corvaned: for tests: replies are changed on purpose, kept or repeated");
    }
}

// Until SIGTERM or SIGINT.
void serveUntilStopped(const sigset_t& signals, Server& server, const std::function<void()>& everyHour)
{
    constexpr timespec kHour = {3600, 0};
    while (true) {
        const int signal = sigtimedwait(&signals, nullptr, &kHour);
        if (signal == SIGHUP) {
            server.reloadTls();
        } else if (signal > 0) {
            return;
        } else if (errno == EAGAIN) {
            everyHour();
        }
    }
}

// Clients of such a guide show nothing for now.
void warnIfPast(Store& store, const std::function<void(const std::string&)>& log)
{
    const Store::Lease lease = store.lease();
    sqlite::Query last(*lease, "SELECT coalesce(max(stop), 0) FROM airing");
    last.next();
    if (last.number(0) <= systemNow()) {
        log(last.number(0) == 0 ? "corvaned: the guide is empty; fill it with: corvaned import"
                                : fmt::format("corvaned: all programmes are in the past, the last one ended at {}; "
                                              "import a newer listing",
                                              formatUtc(last.number(0))));
    }
}

int runServe(ServeArguments& arguments)
{
    const sigset_t signals = awaitedSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // A reader of the log that is gone must not end the service.
    (void)std::signal(SIGPIPE, SIG_IGN);
    arguments.secret.read();
    arguments.appKey.read();

    ServerSettings settings;
    settings.address = http::ListenAddress::parse(arguments.listen);
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
    service.statementTime = std::chrono::seconds(arguments.statementSeconds);
    const Zone zone = service.zone;
    const FeedAccess access{!service.appKey && service.secret.empty(), service.appKey};

    const bool sample = arguments.database.empty();
    std::optional<TemporaryDatabase> temporary;
    if (sample) {
        temporary.emplace();
    }
    Store store(sample ? temporary->path() : arguments.database, sample ? Store::Mode::Create : Store::Mode::Existing,
                addSamplePlaces);
    if (sample) {
        importSample(store, systemNow(), zone);
    }
    Service answering(store, std::move(service));
    XmltvFeed feed(store, access);
    settings.feed = &feed;
    http::LogWriter writer(STDERR_FILENO);
    const auto log = [&writer](const std::string& line) { writer.write(line); };
    Hooks hooks;
    makeHooks(arguments, log, hooks);
    settings.hooks = hooks.all();
    Server server(answering, settings, log);
    if (!warning.empty()) {
        log(warning);
    }
    if (sample) {
        log("corvaned: no --db given, serving the sample guide");
    }
    if (!sample) {
        warnIfPast(store, log);
    }
    std::printf("corvaned listening on %s\n", server.url().c_str());
    std::fflush(stdout);

    serveUntilStopped(signals, server, [&] {
        // The sample is to cover today however long the service runs; on the same day this changes nothing.
        if (sample) {
            importSample(store, systemNow(), zone);
        }
    });
    if (!server.stop()) {
        // A handler still uses the store, so nothing can be destroyed; what was confirmed is on the disk.
        log("corvaned: a request was still being answered at the end");
        temporary.reset();
        std::_Exit(kDone);
    }
    return kDone;
}

void addSecret(CLI::App& serve, const std::string& name, SecretArgument& secret, const std::string& what,
               const std::string& standard)
{
    CLI::Option* const file = serve.add_option(
        name + "-file", secret.file,
        fmt::format("File with {} (default: the variable {}, or {})", what, secret.variable, standard));
    serve.add_option(name, secret.text, fmt::format("The same on the command line, for tests on this machine"))
        ->excludes(file);
}

}  // namespace

Command addServe(CLI::App& app)
{
    const auto arguments = std::make_shared<ServeArguments>();
    CLI::App* const serve = app.add_subcommand("serve", "Answer over HTTP.");
    serve->add_option("--db", arguments->database, "Database that import has filled (default: the sample guide)");
    serve->add_option("--listen", arguments->listen, "Address and port; port 0 takes a free one")
        ->capture_default_str();
    addSecret(*serve, "--secret", arguments->secret, "the string that session tokens are mixed with", "empty");
    addSecret(*serve, "--app-key", arguments->appKey, "the one application key that is accepted", "any");
    serve->add_flag("--allow-anonymous", arguments->allowAnonymous,
                    "Serve other machines without a secret or an application key");
    CLI::Option* const certificate = serve->add_option("--tls-cert", arguments->certificate, "Certificate chain, PEM");
    CLI::Option* const key = serve->add_option("--tls-key", arguments->key, "Its private key, PEM");
    certificate->needs(key);
    key->needs(certificate);
    serve->add_option("--zone", arguments->zone,
                      "Zone of the local time: Asia/Seoul or +09:00 (default: this machine's)");
    serve->add_option("--statement-seconds", arguments->statementSeconds, "Seconds that one statement of SQL may run")
        ->capture_default_str()
        ->check(CLI::Range(1, 3600));
    serve->add_option("--session-hours", arguments->sessionHours, "Hours that a session lasts")
        ->capture_default_str()
        ->check(CLI::Range(1, 24 * 366));
    serve
        ->add_option("--log-lines-per-second", arguments->logLinesPerSecond,
                     "Requests of one client address that are logged; the others are counted")
        ->capture_default_str();
    CLI::Option* const allow = serve->add_flag("--allow-faults", arguments->allowFaults, "Let --fault break replies");
    serve
        ->add_option("--fault", arguments->faults,
                     "For tests: break the replies of a path, as in 'channel/schedule=delay 500'; repeatable")
        ->needs(allow);
    CLI::Option* const record =
        serve->add_option("--record", arguments->record, "For tests: folder to keep every request and reply in");
    serve->add_option("--replay", arguments->replay, "For tests: such a folder, to answer from it alone")
        ->excludes(record);
    addLimitOptions(*serve, arguments->limits);
    return {serve, [arguments] { return runServe(*arguments); }};
}

}  // namespace corvaned
