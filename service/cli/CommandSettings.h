// Settings of corvaned's commands outside the command line: a configuration file (TOML) and the environment. Each
// option of each command is a setting, named after the option: --max-connections is max_connections in the file and
// CORVANED_MAX_CONNECTIONS in the environment.
//
//     db = "/var/lib/corvaned/guide.db"      # for every command that has the option
//     [serve]                                # for this command; overrides a value above
//     listen = "127.0.0.1:8900"
//     [import]
//     listings = ["/srv/listings/guide.xml.gz"]
//
// The file is read if --config or CORVANED_CONFIG names it. The environment overrides the file, and the command
// line overrides both, as for corvane; an empty value counts as set.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Descriptions.h"

namespace corvaned {

enum class SettingSource {
    Default,
    File,
    Environment,
    CommandLine
};

/// The name of an option as a setting: max_connections of --max-connections. A list of arguments has the plural:
/// listings.
std::string settingName(const CLI::Option& option);

/// All settings, a group for each command that has any.
std::vector<corvane::DescribedSettings> describedSettings(const CLI::App& app);

class CommandSettings {
public:
    /// @param app  must outlive this object
    explicit CommandSettings(CLI::App& app) : m_app(app) {}
    CommandSettings(const CommandSettings&) = delete;
    CommandSettings& operator=(const CommandSettings&) = delete;

    /// Adds --config to each command that the app has so far.
    void addOption();

    /// Parses a command line together with the settings of file and environment. Reports unknown variables on standard
    /// error.
    /// @param environment  as `environ`: ends with a null pointer
    /// @throws CLI::ParseError if the command line is wrong, or has --help
    /// @throws OperatorError with the file's line or the variable, if a setting is wrong
    void parse(int argc, const char* const* argv, const char* const* environment);

    /// The source of the value of an option of the chosen command.
    SettingSource source(const CLI::Option& option) const;

    /// The configuration file; empty if none was read.
    const std::string& file() const { return m_file; }

    /// The name of a required list that is empty in file or environment and missing on the command line; parse() then
    /// checks nothing else, and there is nothing to do. Empty otherwise.
    const std::string& emptyList() const { return m_emptyList; }

private:
    struct SourcedValue {
        std::vector<std::string> values;
        SettingSource source;
        std::string place;  // "corvaned.toml:7", "CORVANED_DB"
    };
    using Values = std::map<const CLI::Option*, SourcedValue>;

    void readFile(const CLI::App& command, Values& values);
    void readEnvironment(const CLI::App& command, const char* const* environment, Values& values) const;
    std::vector<std::string> arguments(int argc, const char* const* argv, const CLI::App& command,
                                       const Values& values) const;

    CLI::App& m_app;
    std::string m_file;
    std::string m_emptyList;
    std::map<const CLI::Option*, SettingSource> m_sources;
};

}  // namespace corvaned
