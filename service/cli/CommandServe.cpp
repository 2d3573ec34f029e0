// `corvaned serve`: answers over HTTP until it is told to stop.
#include <fmt/format.h>
#include <sys/resource.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <memory>

#include "Commands.h"
#include "Meddler.h"
#include "PlacesImport.h"
#include "Sample.h"
#include "Server.h"
#include "Service.h"
#include "Store.h"

namespace corvaned {
namespace {

struct ServeArguments {
    std::string database;
    std::string listen = "127.0.0.1:8900";
    std::string secret;
    std::string appKey;
    std::string certificate;
    std::string key;
    std::string zone;
    std::int64_t sessionHours = 24;
    bool allowFaults = false;
    MeddlerOptions meddling;
};

// The signals that end the service; blocked in every thread and waited for in one.
sigset_t stopSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    return signals;
}

// A connection takes a descriptor; shells allow 1024 where the system allows many more.
void allowManyConnections()
{
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
        files.rlim_cur = files.rlim_max;
        setrlimit(RLIMIT_NOFILE, &files);
    }
}

int runServe(const ServeArguments& arguments)
{
    const sigset_t signals = stopSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    allowManyConnections();

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
    Store store(sample ? temporary->path() : arguments.database, sample ? Store::Mode::Create : Store::Mode::Existing,
                addSamplePlaces);
    if (sample) {
        importSample(store, systemNow(), zone);
    }
    Service service(store, std::move(settings));
    std::optional<Meddler> meddler;
    if (!arguments.meddling.faults.empty() || !arguments.meddling.record.empty() ||
        !arguments.meddling.replay.empty()) {
        meddler.emplace(arguments.meddling);
        fmt::print(stderr, "corvaned: for tests: replies are changed on purpose, kept or repeated\n");
    }
    Server server(
        service, address, tls, [](const std::string& line) { fmt::print(stderr, "{}\n", line); },
        meddler ? &*meddler : nullptr);
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

}  // namespace

Command addServe(CLI::App& app)
{
    const auto arguments = std::make_shared<ServeArguments>();
    CLI::App* const serve = app.add_subcommand("serve", "Answer over HTTP.");
    serve->add_option("--db", arguments->database, "Database that import has filled (default: the sample guide)");
    serve->add_option("--listen", arguments->listen, "Address and port; port 0 takes a free one")
        ->capture_default_str();
    serve->add_option("--secret", arguments->secret, "Text that session tokens are mixed with (default: empty)");
    serve->add_option("--app-key", arguments->appKey, "The one application key that is accepted (default: any)");
    CLI::Option* const certificate = serve->add_option("--tls-cert", arguments->certificate, "Certificate chain, PEM");
    CLI::Option* const key = serve->add_option("--tls-key", arguments->key, "Its private key, PEM");
    certificate->needs(key);
    key->needs(certificate);
    serve->add_option("--zone", arguments->zone,
                      "Zone that local time is told in: Asia/Seoul or +09:00 (default: this machine's)");
    serve->add_option("--session-hours", arguments->sessionHours, "Hours that a session lasts")
        ->capture_default_str()
        ->check(CLI::Range(1, 24 * 366));
    CLI::Option* const allow = serve->add_flag("--allow-faults", arguments->allowFaults, "Let --fault spoil replies");
    serve
        ->add_option("--fault", arguments->meddling.faults,
                     "For tests: what replies of a path suffer, as in 'channel/schedule=delay 500'; repeatable")
        ->needs(allow);
    CLI::Option* const record = serve->add_option("--record", arguments->meddling.record,
                                                  "For tests: folder to keep every request and reply in");
    serve->add_option("--replay", arguments->meddling.replay, "For tests: such a folder, to answer from it alone")
        ->excludes(record);
    return {serve, [arguments] { return runServe(*arguments); }};
}

}  // namespace corvaned
