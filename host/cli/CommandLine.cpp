#include "CommandLine.h"

#include "ApiCommand.h"
#include "Configuration.h"
#include "Descriptions.h"
#include "DisplayZone.h"
#include "Doctor.h"
#include "Download.h"
#include "EverydayCommands.h"
#include "Guide.h"
#include "GuideDate.h"
#include "RpcCommand.h"
#include "Runtime.h"
#include "ServiceProblem.h"
#include "Suggestion.h"
#ifdef CORVANE_HAS_WEB
#include "WebCommand.h"
#endif

#include <algorithm>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <curl/curl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <toml++/toml.h>

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
    app.add_option(
           "--set", options.settings,
           "Set one setting, overriding file and environment; may be repeated. docs/options.md lists the settings")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->check([](const std::string& value) {
            return value.find('=') == std::string::npos || value.front() == '=' ? "write KEY=VALUE, not " + value
                                                                                : std::string();
        });
    app.add_option("--log", options.log, "Write debug lines to this file or to syslog; default: standard error")
        ->type_name("FILE|syslog");
    app.add_option("--secret-file", options.secretFile,
                   "Read the setting secret_key from the first line of this file. Other users of this machine can read "
                   "command lines, but not this file or the variable CORVANE_SECRET_KEY")
        ->type_name("FILE");
    app.add_option("--log-level", options.logLevel,
                   "Log lines up to this level: 1 is errors only, 8 is everything; default: 1")
        ->type_name("N")
        ->check(CLI::Range(0, 99).description(""));
    app.add_option("--timeout", options.timeoutSeconds, "Wait at most this long for a result")
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
        ->check([](const std::string& value) {
            return readGuideDate(value, 0)
                       ? std::string()
                       : "write today, tomorrow, 2026-11-21, 20:00 or \"2026-11-21 20:00\", not " + value;
        });
    command
        .add_option("--channels", guide.channels,
                    "Show only these channels, in this order: number, source, name, or an unambiguous start of a name")
        ->type_name("CHANNEL[,CHANNEL]")
        ->delimiter(',');
    command.add_option("--hours", guide.hours, "Show this many hours, 1 to 24")
        ->type_name("HOURS")
        ->check(CLI::Range(1, 24).description(""))
        ->capture_default_str();
}

/// @param isGrid  the command prints its table into pipes, too
void addOutputOptions(CLI::App& command, OutputOptions& output, bool isGrid)
{
    CLI::Option* const json =
        command.add_flag("--json", output.json, "Print one JSON object; docs/commands.md describes it");
    if (!isGrid) {
        command.add_flag("--table", output.table, "Print tables into a pipe or file, too, instead of plain lines")
            ->excludes(json);
    }
    command.add_flag("--pager", output.pager,
                     "If the output is a terminal, show it with the program that PAGER names, or with less");
    command.add_option("--zone", output.zone, "Show times in this zone; default: TZ if set, else the service's zone")
        ->type_name("ZONE")
        ->check([](const std::string& value) {
            return DisplayZone::named(value) ? std::string()
                                             : "unknown zone " + value + "; write its name, as in Europe/Berlin";
        });
    command.add_option("--color", output.color, "Use colours")
        ->type_name("always|never|auto")
        ->transform(
            CLI::CheckedTransformer(std::vector<std::pair<std::string, ColorChoice>>{{"auto", ColorChoice::Auto},
                                                                                     {"always", ColorChoice::Always},
                                                                                     {"never", ColorChoice::Never}})
                .description(""));
    command.add_option("--width", output.width, "Use this many columns; default: the terminal's width, or 80")
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

std::vector<std::string> commandNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

/// Prints the help of a command, or of the program if none is named.
int runHelp(const CLI::App& app, const std::string& name)
{
    if (name.empty()) {
        fmt::print("{}", app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
        return 0;
    }
    const std::vector<std::string> known = commandNames(app);
    if (std::find(known.begin(), known.end(), name) == known.end()) {
        fmt::print(stderr, "corvane: unknown command {}{}; see corvane --help\n", name, didYouMean(name, known));
        return kWrongUsage;
    }
    fmt::print("{}", app.get_subcommand(name)->help(app.get_name()));
    return 0;
}

/// The libraries of the host, with their versions.
std::string libraryVersions()
{
    return fmt::format("{}\nCLI11 {}, fmt {}.{}.{}, nlohmann-json {}.{}.{}, toml++ {}.{}.{}", ::curl_version(),
                       CLI11_VERSION, FMT_VERSION / 10000, FMT_VERSION / 100 % 100, FMT_VERSION % 100,
                       NLOHMANN_JSON_VERSION_MAJOR, NLOHMANN_JSON_VERSION_MINOR, NLOHMANN_JSON_VERSION_PATCH,
                       TOML_LIB_MAJOR, TOML_LIB_MINOR, TOML_LIB_PATCH);
}

/// Options of a command and of the program, with their dashes.
std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    std::vector<const CLI::App*> levels{&app};
    if (!app.get_subcommands().empty()) {
        levels.push_back(app.get_subcommands().front());
    }
    for (const CLI::App* const level : levels) {
        for (const CLI::Option* const option : level->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

/// Reports the error in one line. CLI11 reports a missing command even if one was given and misspelt.
int reportUsage(const CLI::App& app, const CLI::ParseError& error)
{
    std::string problem = error.what();
    const std::vector<std::string> remaining = app.remaining(true);
    if (!remaining.empty()) {
        const std::string& first = remaining.front();
        problem = first.front() == '-' ? fmt::format("unknown option {}{}", first, didYouMean(first, optionNames(app)))
                  : app.get_subcommands().empty()
                      ? fmt::format("unknown command {}{}", first, didYouMean(first, commandNames(app)))
                      : fmt::format("unexpected argument {}", first);
    } else if (app.get_subcommands().empty()) {
        problem = problem.find("subcommand") == std::string::npos ? problem : "no command given";
    }
    const std::string command = app.get_subcommands().empty() ? "" : " " + app.get_subcommands().front()->get_name();
    fmt::print(stderr, "corvane: {}; see corvane{} --help\n", problem, command);
    if (command.empty()) {
        fmt::print(stderr, "corvane: commands are {}\n", fmt::join(commandNames(app), ", "));
    }
    return kWrongUsage;
}

/// The arguments in CLI11's order, the last one first. CLI11 would take "[a,b]" apart into a list; a blank at the end
/// keeps it whole.
std::vector<std::string> protectedArguments(int argc, char** argv)
{
    std::vector<std::string> arguments;
    for (int i = argc - 1; i > 0; --i) {
        arguments.emplace_back(argv[i]);
        std::string& word = arguments.back();
        if (word.size() > 1 && word.front() == '[' && word.back() == ']') {
            word += ' ';
        }
    }
    return arguments;
}

/// Removes the blanks that protectedArguments() added.
void restoreWords(std::vector<std::string>& words)
{
    for (std::string& word : words) {
        if (word.size() > 2 && word.front() == '[' && word.compare(word.size() - 2, 2, "] ") == 0) {
            word.pop_back();
        }
    }
}

}  // namespace

int runCommandLine(int argc, char** argv)
{
    CommonOptions options;
    GuideOptions guide;
    OutputOptions output;
    std::function<int()> command;

    CLI::App app{"Show the television guide of a Corvane service, and call the plug-in's operations.", "corvane"};
    app.formatter(std::make_shared<CommandFormatter>());
    corvane::addDescriptions(
        app,
        {CORVANE_VERSION, CORVANE_DATE, 1, {"corvane.toml(5)", "corvaned(8)"}, describedSettings, libraryVersions()});
    addCommonOptions(app, options);
    app.require_subcommand(1);
    app.fallthrough();

    CLI::App* const guideCommand = app.add_subcommand("guide", "Show what is on, channel by channel");
    addGuideOptions(*guideCommand, guide);
    guideCommand->add_flag("--favourites", guide.favourites, "Show only favourite channels");
    guideCommand->add_option("--genre", guide.genre, "Show only programmes of this genre, or group of genres")
        ->type_name("NAME");
    addOutputOptions(*guideCommand, output, true);
    guideCommand->callback([&] { command = [&] { return runGuide(options, guide, output); }; });

    EverydayArguments everyday;
    for (const EverydayCommand& row : everydayCommands()) {
        CLI::App* const everydayCommand = app.add_subcommand(row.name, row.summary);
        row.declare(*everydayCommand, everyday);
        addOutputOptions(*everydayCommand, output, false);
        everydayCommand->footer(fmt::format("Operations: {}", fmt::join(row.operations, ", ")));
        everydayCommand->callback([&] {
            if (const auto problem = row.problem ? row.problem(everyday) : std::nullopt) {
                throw CLI::ValidationError(row.name, *problem);
            }
            command = [&] { return runEveryday(row, options, everyday, output); };
        });
    }

    std::string method;
    CLI::App* const apiCommand = app.add_subcommand("api", "Call any operation of the plug-in and print its result");
    apiCommand->add_option("method", method, "Call this operation; docs/operations.md lists them")
        ->type_name("METHOD")
        ->required();
    apiCommand
        ->add_option("params", everyday.words,
                     "Pass these parameters: words, JSON or lists as in a,b; or all of them as one JSON array")
        ->type_name("PARAMS");
    apiCommand->callback([&] { command = [&] { return runApi(options, output, method, everyday.words); }; });

    std::string schedule;
    CLI::App* const todayCommand =
        app.add_subcommand("today", "Show today's schedule files, from the service or from a file on this machine");
    todayCommand
        ->add_option("file", schedule, "Show this schedule file; default: download today's files from the service")
        ->type_name("FILE");
    addGuideOptions(*todayCommand, guide);
    addOutputOptions(*todayCommand, output, true);
    todayCommand->callback([&] { command = [&] { return runToday(options, guide, output, schedule); }; });

    DownloadOptions download;
    CLI::App* const downloadCommand = app.add_subcommand("download", "Download a file through the plug-in");
    downloadCommand->add_option("url", download.url, "Download this http or https address")
        ->type_name("URL")
        ->required();
    downloadCommand->add_option("directory", download.directory, "Write the file into this directory")
        ->type_name("DIR")
        ->required();
    downloadCommand
        ->add_option("name", download.name, "Name the file; default: the part of the URL after its last slash")
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
    webCommand->add_option("--listen", web.listen, "Serve the page at this address; port 0 takes a free port")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    webCommand->add_flag("--open", web.open, "Open the page in a browser");
    webCommand
        ->add_option("--assets", web.assets,
                     "Serve the page from this folder, reading it again for each load; default: the built-in page")
        ->type_name("DIR");
    webCommand
        ->add_option(
            "--password-file", web.passwordFile,
            "Ask for the password in this file's first line; required for an address that other machines can reach")
        ->type_name("FILE");
    webCommand->callback([&] { command = [&] { return runWeb(options, web); }; });
#endif

    app.add_subcommand("doctor", "Check step by step why there is no guide, and say what to do")->callback([&] {
        command = [&] { return runDoctor(options); };
    });
    std::string topic;
    CLI::App* const helpCommand = app.add_subcommand("help", "Show the help of a command");
    helpCommand->add_option("command", topic, "Show the help of this command; default: of the program")
        ->type_name("COMMAND");
    helpCommand->callback([&] { command = [&] { return runHelp(app, topic); }; });
    try {
        app.parse(protectedArguments(argc, argv));
        restoreWords(everyday.words);
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
