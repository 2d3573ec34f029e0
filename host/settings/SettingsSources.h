// The sources of settings and their order: defaults, the file, the environment, the command line. A later source
// overrides an earlier one. A value means the same in each of them, and an empty one counts as set.
#pragma once

#include <string>
#include <vector>

#include "Configuration.h"

namespace W::host {

/// Scripts get the settings that they name; people also get the user's file and what a service on this machine needs.
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
