#include "UsageErrors.h"

namespace corvane {

std::string usageMessage(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    const std::string help =
        "; see " + app.get_name() + (chosen.empty() ? "" : " " + chosen.front()->get_name()) + " --help";
    const std::vector<std::string> unknown = app.remaining(true);
    if (!unknown.empty() && unknown.front().front() == '-') {
        return "unknown option '" + unknown.front() + "'" + help;
    }
    if (!unknown.empty()) {
        return (chosen.empty() ? "unknown command '" : "unexpected argument '") + unknown.front() + "'" + help;
    }
    if (chosen.empty() && error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)) {
        return "a command is required" + help;
    }
    return error.what() + help;
}

}  // namespace corvane
