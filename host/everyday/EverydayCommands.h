// The everyday commands of corvane: one row each. Read next: EverydayCommands.cpp for the table; the commands are in
// files by subject.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OpenedService.h"
#include "Report.h"

namespace CLI {
class App;
}

namespace W::host {

/// The arguments of all everyday commands. Each command declares those that it takes.
struct EverydayArguments {
    std::vector<std::string> words;     ///< of a search, or parameters
    std::vector<std::string> channels;  ///< of --channels
    std::string action;                 ///< as in "add"
    std::string kind;                   ///< as in "channel"
    std::string id;
    bool exact = false;
    int limit = 20;
    bool person = false;
    bool yes = false;
    bool show = false;
    std::string postalCode;
    std::string state;
    std::string city;
    std::string headend;
    std::string device;
    std::vector<std::string> answers;  ///< NUMBER=NAME
};

struct EverydayCommand {
    const char* name;
    const char* summary;
    std::vector<const char*> operations;  ///< that it calls, besides those that open the session
    /// Adds options and arguments.
    void (*declare)(CLI::App& command, EverydayArguments& arguments);
    /// Says what is wrong with the arguments together; null if nothing can be.
    std::optional<std::string> (*problem)(const EverydayArguments& arguments);
    /// Adds the settings that follow from the arguments, before the plug-in is loaded; null if there are none.
    /// @throws ServiceProblem
    void (*settings)(const EverydayArguments& arguments, CommonOptions& options);
    /// @throws ServiceProblem, std::runtime_error with one line for the user
    Report (*run)(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output);
};

const std::vector<EverydayCommand>& everydayCommands();

/// Opens a session, runs the command and prints its report.
/// @throws as EverydayCommand::run
int runEveryday(const EverydayCommand& command, const CommonOptions& options, const EverydayArguments& arguments,
                const OutputOptions& output);

}  // namespace W::host
