// The command line of corvaned. Each subcommand has its own file; Commands.h lists them.
// Exit codes: 0 done, 1 failed (the message says what to correct), 2 wrong usage.
#include <fmt/format.h>

#include <unistd.h>

#include "CommandSettings.h"
#include "Commands.h"
#include "Descriptions.h"

namespace corvaned {
namespace {

int run(int argc, char** argv)
{
    CLI::App app("The live-television service on your own machine, filled from XMLTV listings.", "corvaned");
    corvane::addDescriptions(app, {CORVANE_VERSION,
                                   CORVANE_DATE,
                                   8,
                                   {"corvane(1)", "corvaned.toml(5)", "corvane-protocol(7)"},
                                   [&app] { return describedSettings(app); },
                                   {}});
    app.require_subcommand(1);
    CommandSettings settings(app);
    const Command commands[] = {addServe(app, settings), addImport(app), addImportPlaces(app),
                                addStats(app),           addUsers(app),  addExport(app)};
    settings.addOption();
    try {
        settings.parse(argc, argv, environ);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kUsage;
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
