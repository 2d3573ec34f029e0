// The host's configuration store: text settings from a file, the environment and the command line, later ones over
// earlier ones. docs/options.md says what each of them does; allSettings() lists them.
// Read next: SettingsFile.h for the file's format.
#pragma once

#include "WConfigManager.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace W::host {

enum class SettingReader {
    Plugin,
    Host
};

/// One setting by its short name. In front of the plug-in's the prefix "vorel_" may stand, and does where the plug-in
/// asks for it.
struct Setting {
    std::string_view key;
    SettingReader reader;
    std::string_view purpose;
};

/// All of them, the plug-in's first.
const std::vector<Setting>& allSettings();

/// Filled before it is installed, only read afterwards: by any thread, without a lock. This host has one provider, so
/// its options are the options of every provider that asks.
class Configuration final : public WConfigManager {
public:
    /// Sets a value over an earlier one. A key that nothing known reads is kept, and noted.
    /// @param key     with or without prefix
    /// @param source  for messages: "corvane.toml:3", "--set", "CORVANE_COUNTRY"
    void set(std::string_view key, std::string value, std::string source);

    /// Takes the variables that start with "CORVANE_".
    /// @param environment  as `environ`: ends with a null pointer
    void setFromEnvironment(const char* const* environment);

    WVariant getCPOption(const WContentProvider& provider, const std::string& key) override;

    /// Value of a setting by its short name; empty when it is not set.
    const std::string& text(std::string_view key) const;
    bool isSet(std::string_view key) const;
    /// Where the value came from; empty when it is not set.
    const std::string& source(std::string_view key) const;

    /// A number; `standard` if the setting is absent or empty.
    /// @throws std::runtime_error naming the setting, its source and the range
    double number(std::string_view key, double standard, double least, double most) const;

    /// One line for each key that nothing known reads, in the order of setting.
    const std::vector<std::string>& complaints() const { return m_complaints; }

private:
    struct Value {
        std::string text;
        std::string source;
    };
    const Value* find(std::string_view key) const;

    std::map<std::string, Value, std::less<>> m_values;
    std::vector<std::string> m_complaints;
};

/// Makes a configuration the one that WConfigManager::getInstance() gives out; null goes back to an empty one.
/// @param configuration  stays the caller's, and has to live as long as it is installed
void installConfigManager(WConfigManager* configuration);

}  // namespace W::host
