// The sources of settings and their order: defaults, the file, the environment, the command line. A later source
// overrides an earlier one. A value has the same meaning in each source; an empty value counts as set.
#pragma once

#include <string>
#include <vector>

#include "Configuration.h"

namespace W::host {

/// Scripts use only the settings that they name. Commands for people also use the user's file and the defaults for a
/// service on this machine.
enum class Defaults {
    None,
    ForPeople
};

struct SettingsSources {
    Defaults defaults = Defaults::None;
    std::string file;                      ///< empty for the user's file, which only people get
    std::vector<std::string> assignments;  ///< KEY=VALUE, of --set
    std::string secretFile;                ///< whose first line is the setting secret_key; empty for none
};

/// Reads all sources.
/// @param environment  as `environ`: ends with a null pointer
/// @throws std::runtime_error with one line for the user
Configuration loadSettings(const SettingsSources& sources, const char* const* environment);

}  // namespace W::host
