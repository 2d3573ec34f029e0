// The subcommands of corvaned, one file each: CommandServe.cpp, CommandImport.cpp, CommandPlaces.cpp,
// CommandShow.cpp. main.cpp lists them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "Clock.h"

namespace corvaned {

class CommandSettings;

constexpr int kDone = 0;
constexpr int kFailed = 1;  // the message says what to correct
constexpr int kUsage = 2;

/// A subcommand and the function that runs it, which returns the exit code and throws OperatorError.
struct Command {
    CLI::App* parser;
    std::function<int()> run;
};

/// @param settings  says where options came from; must outlive the command
Command addServe(CLI::App& app, const CommandSettings& settings);
Command addImport(CLI::App& app);
Command addImportPlaces(CLI::App& app);
Command addUsers(CLI::App& app);
Command addStats(CLI::App& app);
Command addExport(CLI::App& app);

/// Adds --viewers to a command that may have to split a combined database (CombinedDatabase.h).
inline CLI::Option* addViewersOption(CLI::App& command, std::string& location)
{
    return command.add_option(
        "--viewers", location,
        "Keep viewers' data in this file or PostgreSQL database (default: viewers.db in the folder of --db)");
}

/// The zone that an option names; this machine's if it is empty.
inline Zone zoneOf(const std::string& name)
{
    return name.empty() ? Zone::ofMachine() : Zone::named(name);
}

/// "1 channel", "2 channels".
inline std::string counted(std::int64_t count, const char* singular, const char* plural)
{
    return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

}  // namespace corvaned
