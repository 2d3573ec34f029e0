// The command corvane: its arguments, and which subcommand runs. Read next: RpcConversation.h, Guide.h, Download.h, Doctor.h.
#include "Doctor.h"
#include "Download.h"
#include "Guide.h"
#include "RpcLines.h"
#include "Runtime.h"
#include "ServiceProblem.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <functional>
#include <iostream>
#include <string>

namespace {

using namespace W::host;

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

void writeLine(const std::string& line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int runRpc(const CommonOptions& options)
{
    Runtime runtime(options, Defaults::None);
    RpcDispatcher dispatcher(runtime.plugin());
    RpcConversation conversation(dispatcher, writeLine);
    serveLines(conversation, std::cin, options.timeout());
    runtime.destroyPlugin();
    conversation.abandon();
    return 0;
}

void addCommonOptions(CLI::App& app, CommonOptions& options)
{
    app.add_option("--plugin", options.plugin,
                   "the plug-in library; default: the one built or installed beside corvane")
        ->type_name("FILE");
    app.add_option("--config", options.config,
                   "configuration file; default: ~/.config/corvane/corvane.toml, but none for rpc")
        ->type_name("FILE");
    app.add_option("--set", options.settings, "set one option, over file and environment; may be repeated")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            return text.find('=') == std::string::npos || text.front() == '=' ? "write KEY=VALUE, not " + text
                                                                              : std::string();
        });
    app.add_option("--log", options.log, "debug lines go to this file, or to syslog; default: standard error")
        ->type_name("FILE|syslog");
    app.add_option("--log-level", options.logLevel, "debug lines up to this level: 1 errors (default), 8 everything")
        ->type_name("N")
        ->check(CLI::NonNegativeNumber);
    app.add_option("--timeout", options.timeoutSeconds, "how long to wait for results")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, 86400.0))
        ->capture_default_str();
}

/// What of a guide is shown.
void addGuideOptions(CLI::App& command, GuideOptions& guide)
{
    command.add_option("--date", guide.date, "an evening, as 2026-11-21, or a time, as 2026-11-21T06:00; default: now")
        ->type_name("DATE")
        ->check([](const std::string& text) {
            return readGuideDate(text) ? std::string() : "write 2026-11-21 or 2026-11-21T06:00, not " + text;
        });
    command.add_option("--channels", guide.channels, "only these, by source, number or name, in this order")
        ->type_name("CHANNEL,…")
        ->delimiter(',');
    command.add_option("--hours", guide.hours, "how much to show")
        ->type_name("HOURS")
        ->check(CLI::Range(1, 24))
        ->capture_default_str();
}

int run(int argc, char** argv)
{
    CommonOptions options;
    GuideOptions guide;
    std::function<int()> command;

    CLI::App app{"Drives the Corvane plug-in: the television guide of its service, and everything else it can do.",
                 "corvane"};
    app.set_version_flag("--version", "corvane " CORVANE_VERSION, "print the version");
    addCommonOptions(app, options);
    app.require_subcommand(1);
    app.fallthrough();

    CLI::App* const guideCommand = app.add_subcommand("guide", "what is on, channel by channel");
    addGuideOptions(*guideCommand, guide);
    guideCommand->callback([&] { command = [&] { return runGuide(options, guide); }; });

    std::string schedule;
    CLI::App* const todayCommand = app.add_subcommand("today", "the same of a schedule file, without a network");
    todayCommand->add_option("file", schedule, "today's schedule as it was downloaded")->type_name("FILE")->required();
    addGuideOptions(*todayCommand, guide);
    todayCommand->callback([&] { command = [&] { return runToday(options, guide, schedule); }; });

    DownloadOptions download;
    CLI::App* const downloadCommand = app.add_subcommand("download", "fetches a file");
    downloadCommand->add_option("url", download.url, "http or https")->type_name("URL")->required();
    downloadCommand->add_option("directory", download.directory, "where it goes")->type_name("DIR")->required();
    downloadCommand->add_option("name", download.name, "its name there; default: what follows the last / of the URL")
        ->type_name("NAME");
    downloadCommand->callback([&] { command = [&] { return runDownload(options, download); }; });

    app.add_subcommand("rpc", "JSON-RPC 2.0 on standard input and output, one object a line")->callback([&] {
        command = [&] { return runRpc(options); };
    });
    app.add_subcommand("doctor", "finds out what keeps the guide from working")->callback([&] {
        command = [&] { return runDoctor(options); };
    });
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error, std::cout, std::cerr) == 0 ? 0 : kWrongUsage;
    }
    try {
        return command();
    } catch (const ServiceProblem& problem) {
        fmt::print(stderr, "corvane: {}\ncorvane: hint: {}\n", problem.what(), problem.hint());
    } catch (const std::exception& error) {
        fmt::print(stderr, "corvane: {}\n", error.what());
    }
    return kFailure;
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        const int status = run(argc, argv);
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0)
            return status;
        std::fputs("corvane: the output could not be written, or not all of it; look whether the disk is full\n",
                   stderr);
        return kFailure;
    } catch (...) {
        std::fputs("corvane: out of memory\n", stderr);
        return kFailure;
    }
}
