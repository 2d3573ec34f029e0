#include "CommandLine.h"

#include "Configuration.h"
#include "Descriptions.h"
#include "DisplayZone.h"
#include "Doctor.h"
#include "Download.h"
#include "Guide.h"
#include "GuideDate.h"
#include "RpcCommand.h"
#include "Runtime.h"
#include "ServiceProblem.h"
#ifdef CORVANE_HAS_WEB
#include "WebCommand.h"
#endif

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace W::host {

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

/// Shows the common options in the help of each command, too.
class CommandFormatter : public CLI::Formatter {
public:
    std::string make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const override
    {
        std::string help = Formatter::make_help(app, std::move(name), mode);
        if (app->get_parent() != nullptr) {
            const std::vector<const CLI::Option*> common =
                app->get_parent()->get_options([](const CLI::Option* option) {
                    return !option->get_group().empty() && !option->check_name("--help") &&
                           !option->check_name("--version");
                });
            help += make_group("Options of all commands", false, common);
        }
        return help;
    }
};

void addCommonOptions(CLI::App& app, CommonOptions& options)
{
    app.add_option("--plugin", options.plugin,
                   "Load this plug-in library; default: the one built or installed next to corvane")
        ->type_name("FILE");
    app.add_option("--config", options.config,
                   "Read settings from this file; default: ~/.config/corvane/corvane.toml, none for rpc without "
                   "--session")
        ->type_name("FILE");
    app.add_option("--set", options.settings,
                   "Set one setting, over file and environment; may be repeated. docs/options.md lists the settings")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            return text.find('=') == std::string::npos || text.front() == '=' ? "write KEY=VALUE, not " + text
                                                                              : std::string();
        });
    app.add_option("--log", options.log, "Write debug lines to this file or to syslog; default: standard error")
        ->type_name("FILE|syslog");
    app.add_option("--log-level", options.logLevel, "Log up to this level: 1 errors (default), 8 everything")
        ->type_name("N")
        ->check(CLI::Range(0, 99).description(""));
    app.add_option("--timeout", options.timeoutSeconds, "Wait this long for results")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0).description(""))
        ->capture_default_str();
}

void addGuideOptions(CLI::App& command, GuideOptions& guide)
{
    command
        .add_option("--date", guide.date,
                    "Show this evening or time: today, tomorrow, 2026-11-21, 20:00, \"2026-11-21 06:00\"; default: now")
        ->type_name("DATE")
        ->check([](const std::string& text) {
            return readGuideDate(text, 0)
                       ? std::string()
                       : "write today, tomorrow, 2026-11-21, 20:00 or \"2026-11-21 20:00\", not " + text;
        });
    command
        .add_option("--channels", guide.channels,
                    "Show only these channels, in this order: source, number, name, or a beginning that only one has")
        ->type_name("CHANNEL,…")
        ->delimiter(',');
    command.add_option("--hours", guide.hours, "Show this many hours, 1 to 24")
        ->type_name("HOURS")
        ->check(CLI::Range(1, 24).description(""))
        ->capture_default_str();
    command
        .add_option("--zone", guide.zone, "Show times of this zone; default: TZ if set, else the zone of the service")
        ->type_name("ZONE")
        ->check([](const std::string& text) {
            return DisplayZone::named(text) ? std::string()
                                            : "unknown zone " + text + "; write its name, as in Europe/Berlin";
        });
    command.add_option("--color", guide.color, "Use colours")
        ->type_name("always|never|auto")
        ->transform(
            CLI::CheckedTransformer(std::vector<std::pair<std::string, ColorChoice>>{{"auto", ColorChoice::Auto},
                                                                                     {"always", ColorChoice::Always},
                                                                                     {"never", ColorChoice::Never}})
                .description(""));
    command.add_option("--width", guide.width, "Use this many columns; default: the terminal's width, or 80")
        ->type_name("COLUMNS")
        ->check(CLI::Range(12, 1000).description(""));
}

/// For the manual page of the configuration file.
std::vector<corvane::DescribedSettings> describedSettings()
{
    std::vector<corvane::DescribedSettings> groups{{"Settings of the plug-in", {}}, {"Settings of the host", {}}};
    for (const Setting& setting : allSettings()) {
        groups[setting.reader == SettingReader::Plugin ? 0 : 1].settings.push_back(
            {std::string(setting.key), "VALUE", std::string(setting.purpose)});
    }
    return groups;
}

/// The error in one line. CLI11 reports a missing command also if one was misspelt.
int reportUsage(const CLI::App& app, const CLI::ParseError& error)
{
    std::string problem = error.what();
    const std::vector<std::string> remaining = app.remaining(true);
    if (!remaining.empty()) {
        const std::string& first = remaining.front();
        problem = first.front() == '-'            ? fmt::format("unknown option {}", first)
                  : app.get_subcommands().empty() ? fmt::format("unknown command {}", first)
                                                  : fmt::format("unexpected argument {}", first);
    } else if (app.get_subcommands().empty()) {
        problem = problem.find("subcommand") == std::string::npos ? problem : "no command given";
    }
    const std::string command = app.get_subcommands().empty() ? "" : " " + app.get_subcommands().front()->get_name();
    std::string known;
    for (const CLI::App* const sub : app.get_subcommands([](const CLI::App*) { return true; })) {
        known += fmt::format("{}{}", known.empty() ? "" : ", ", sub->get_name());
    }
    fmt::print(stderr, "corvane: {}; see corvane{} --help\n", problem, command);
    if (command.empty()) {
        fmt::print(stderr, "corvane: commands are {}\n", known);
    }
    return kWrongUsage;
}

}  // namespace

int runCommandLine(int argc, char** argv)
{
    CommonOptions options;
    GuideOptions guide;
    std::function<int()> command;

    CLI::App app{"Shows the television guide of a Corvane service, and drives the plug-in's operations.", "corvane"};
    app.formatter(std::make_shared<CommandFormatter>());
    corvane::addDescriptions(app,
                             {CORVANE_VERSION, CORVANE_DATE, 1, {"corvane.toml(5)", "corvaned(8)"}, describedSettings});
    addCommonOptions(app, options);
    app.require_subcommand(1);
    app.fallthrough();

    CLI::App* const guideCommand = app.add_subcommand("guide", "Show what is on, channel by channel");
    addGuideOptions(*guideCommand, guide);
    guideCommand->callback([&] { command = [&] { return runGuide(options, guide); }; });

    std::string schedule;
    CLI::App* const todayCommand =
        app.add_subcommand("today", "Show today's schedule files, from the service or from a file on this machine");
    todayCommand
        ->add_option("file", schedule, "A schedule file as it was downloaded; default: fetch today's from the service")
        ->type_name("FILE");
    addGuideOptions(*todayCommand, guide);
    todayCommand->callback([&] { command = [&] { return runToday(options, guide, schedule); }; });

    DownloadOptions download;
    CLI::App* const downloadCommand = app.add_subcommand("download", "Download a file through the plug-in");
    downloadCommand->add_option("url", download.url, "Address, http or https")->type_name("URL")->required();
    downloadCommand->add_option("directory", download.directory, "Directory of the file")->type_name("DIR")->required();
    downloadCommand
        ->add_option("name", download.name, "Name of the file; default: the part of the URL after its last slash")
        ->type_name("NAME");
    downloadCommand->callback([&] { command = [&] { return runDownload(options, download); }; });

    bool openSession = false;
    CLI::App* const rpcCommand =
        app.add_subcommand("rpc", "Answer JSON-RPC 2.0 requests on standard input, one per line");
    rpcCommand->add_flag("--session", openSession,
                         "Read settings as the other commands do, and open a session and the clock first");
    rpcCommand->callback([&] { command = [&] { return runRpc(options, openSession); }; });

#ifdef CORVANE_HAS_WEB
    WebOptions web;
    CLI::App* const webCommand = app.add_subcommand("web", "Serve the guide as a page, for a browser");
    webCommand->add_option("--listen", web.listen, "Address of the page; port 0 takes a free one")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    webCommand->add_flag("--open", web.open, "Open the page in a browser");
    webCommand
        ->add_option("--assets", web.assets,
                     "Serve the page from this folder, read again with each load; default: the page in the program")
        ->type_name("DIR");
    webCommand
        ->add_option(
            "--password-file", web.passwordFile,
            "Ask for the password in this file's first line; required for an address that other machines reach")
        ->type_name("FILE");
    webCommand->callback([&] { command = [&] { return runWeb(options, web); }; });
#endif

    app.add_subcommand("doctor", "Check step by step why there is no guide, and say what to do")->callback([&] {
        command = [&] { return runDoctor(options); };
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help, std::cout, std::cerr);
    } catch (const CLI::ParseError& error) {
        return reportUsage(app, error);
    }
    try {
        return command();
    } catch (const ServiceProblem& problem) {
        fmt::print(stderr, "corvane: {}\ncorvane: hint: {}\n", problem.what(), problem.hint());
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        fmt::print(stderr, "corvane: {}\n", error.what());
    }
    return kFailure;
}

}  // namespace W::host
