// Manual pages and shell completions, generated from the same tables as --help, so that they cannot differ from it.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace corvane {

/// A setting of a configuration file.
struct DescribedSetting {
    std::string name;
    std::string value;  ///< placeholder, as FILE; empty for true and false
    std::string description;
};

struct DescribedSettings {
    std::string title;
    std::vector<DescribedSetting> settings;
};

/// The setting for an option, with the option's description and default.
DescribedSetting describedSetting(std::string name, const CLI::Option& option);

/// Facts about a program that its tables of CLI11 do not hold.
struct Program {
    std::string version;
    std::string date;                                          ///< of the version, as 2026-11-21
    int section;                                               ///< of the manual: 1 for users, 8 for administrators
    std::vector<std::string> seeAlso;                          ///< other pages, as "corvane(1)"
    std::function<std::vector<DescribedSettings>()> settings;  ///< of its configuration file
    std::string libraries{};                                   ///< with their versions, for --version; may be empty
};

/// Describes a program in a form: "bash", "zsh" and "fish" are completions, "man" is the program's manual page, and
/// "man/COMMAND" that of a subcommand; "commands" lists the subcommands. "settings" are the settings, as a part of a
/// manual page.
/// @throws CLI::ValidationError for another form
std::string describe(const CLI::App& app, const Program& program, const std::string& form);

/// The output of --version: program, version and commit, and the libraries on separate lines.
std::string versionString(const std::string& name, const Program& program);

/// Adds --version, and the hidden option --describe FORM, which prints describe() and exits.
void addDescriptions(CLI::App& app, const Program& program);

}  // namespace corvane
