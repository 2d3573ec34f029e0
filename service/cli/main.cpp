// The command line of corvaned. Commands.h lists the subcommands, each in its own file. Exit codes: 0 done, 1 failed
// (the message says what to correct), 2 wrong usage.
#include <boost/version.hpp>
#include <curl/curl.h>
#include <fmt/format.h>
#include <libxml/xmlversion.h>
#include <nlohmann/json.hpp>
#include <sqlite3.h>
#include <toml++/toml.h>
#include <unistd.h>

#include "CommandSettings.h"
#include "Commands.h"
#include "Descriptions.h"
#include "StandardStreams.h"
#include "UsageErrors.h"

namespace corvaned {
namespace {

/// The libraries of the service, with their versions.
std::string libraryVersions()
{
    return fmt::format(
        "{}\nBoost {}.{}.{}, CLI11 {}, fmt {}.{}.{}, libxml2 {}, nlohmann-json {}.{}.{}, SQLite {}, "
        "toml++ {}.{}.{}",
        ::curl_version(), BOOST_VERSION / 100000, BOOST_VERSION / 100 % 1000, BOOST_VERSION % 100, CLI11_VERSION,
        FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100, LIBXML_DOTTED_VERSION,
        NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH, ::sqlite3_libversion(),
        TOML_LIB_MAJOR, TOML_LIB_MINOR, TOML_LIB_PATCH);
}

int run(int argc, char** argv)
{
    CLI::App app("The live-television service on your own machine, filled from XMLTV listings.", "corvaned");
    corvane::addDescriptions(app, {CORVANE_VERSION,
                                   CORVANE_DATE,
                                   8,
                                   {"corvane(1)", "corvaned.toml(5)", "corvane-protocol(7)"},
                                   [&app] { return describedSettings(app); },
                                   libraryVersions()});
    app.require_subcommand(1);
    CommandSettings settings(app);
    const Command commands[] = {addServe(app, settings), addImport(app), addImportPlaces(app),
                                addStats(app),           addUsers(app),  addExport(app)};
    settings.addOption();
    try {
        settings.parse(argc, argv, environ);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);
        }
        fmt::print(stderr, "corvaned: {}\n", corvane::usageMessage(app, error));
        return kUsage;
    }
    if (!settings.emptyList().empty()) {
        fmt::print(stderr, "corvaned: {} is empty: there is nothing to do\n", settings.emptyList());
        return kDone;
    }
    for (const Command& command : commands) {
        if (command.parser->parsed()) {
            return command.run();
        }
    }
    return kUsage;
}

int runAndFlush(int argc, char** argv)
{
    const int code = run(argc, argv);
    if (corvane::flushOutput()) {
        return code;
    }
    fmt::print(stderr,
               "corvaned: cannot write all of the output; check whether standard output is open and the disk "
               "full\n");
    return kFailed;
}

}  // namespace
}  // namespace corvaned

int main(int argc, char** argv)
{
    try {
        corvane::occupyStandardDescriptors();
        return corvaned::runAndFlush(argc, argv);
    } catch (const std::exception& error) {
        fmt::print(stderr, "corvaned: {}\n", error.what());
        return corvaned::kFailed;
    }
}
