// Configuration files: lines `key = "value"`, the part of TOML that text settings need, and of INI what differs:
//   base_url = "http://127.0.0.1:8900"   # text in double quotes, with TOML's escapes
//   secret_key = 'as it \ stands'        # text in single quotes
//   country = US                         ; a bare value ends before the comment
//   [any heading]                        ; for the eye only
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace W::host {

class Configuration;

/// Reads a file into a configuration.
/// @throws std::runtime_error with file, line, reason and what would be right; what stood before that line is set
void readSettingsFile(const std::string& path, Configuration& into);

/// The same of a text. @param name  of the text, for messages
void readSettings(std::string_view text, const std::string& name, Configuration& into);

/// The file that is read when none is named: corvane/corvane.toml under $XDG_CONFIG_HOME or ~/.config; nothing when
/// there is no such file.
std::optional<std::string> standardSettingsFile();

}  // namespace W::host
