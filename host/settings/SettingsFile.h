// Configuration files: TOML (toml.io). Each value is a string, a number or a boolean; tables only group settings:
//
//     base_url = "http://127.0.0.1:8900"
//     [limits]
//     total_timeout = 20
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace W::host {

class Configuration;

/// Reads a file into a configuration.
/// @throws std::runtime_error with file, line, reason and remedy; nothing is set then
void readSettingsFile(const std::string& path, Configuration& into);

/// Reads the contents of a file.
/// @param name  of the file, for messages
/// @throws as readSettingsFile()
void readSettings(std::string_view contents, const std::string& name, Configuration& into);

/// The user's file: corvane/corvane.toml under $XDG_CONFIG_HOME or ~/.config; nothing if it does not exist.
std::optional<std::string> standardSettingsFile();

}  // namespace W::host
