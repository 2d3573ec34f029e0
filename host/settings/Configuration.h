// The host's configuration: settings as strings, each with its source. docs/options.md describes them;
// allSettings() is the list. Read next: SettingsSources.h for where they come from and which one wins.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "WConfigManager.h"

namespace W::host {

enum class SettingReader {
    Plugin,
    Host
};

/// One setting. The plug-in asks for its settings with the prefix "vorel_", which is accepted everywhere.
struct Setting {
    std::string_view key;  ///< without prefix
    SettingReader reader;
    std::string_view purpose;
};

/// All settings, the plug-in's first.
const std::vector<Setting>& allSettings();

/// The name of a setting without prefix.
std::string_view shortSettingName(std::string_view key);

/// Filled before it is installed and only read after that, by any thread without a lock. This host has one provider, so
/// all providers have the same options.
class Configuration final : public WConfigManager {
public:
    /// Sets a value, replacing an earlier one. An unknown key is kept, and added to complaints(). Slashes at the end of
    /// base_url are dropped.
    /// @param key     with or without prefix
    /// @param source  for messages: "corvane.toml:3", "--set", "CORVANE_COUNTRY"
    void set(std::string_view key, std::string value, std::string source);

    /// Takes the variables that start with "CORVANE_".
    /// @param environment  as `environ`: ends with a null pointer
    void setFromEnvironment(const char* const* environment);

    WVariant getCPOption(const WContentProvider& provider, const std::string& key) override;

    /// Value of a setting; empty if it is not set.
    const std::string& value(std::string_view key) const;
    bool isSet(std::string_view key) const;
    /// The source of the value; empty if it is not set.
    const std::string& source(std::string_view key) const;

    /// A number; `standard` if the setting is absent or empty.
    /// @throws std::runtime_error naming the setting, its source and the range
    double number(std::string_view key, double standard, double least, double most) const;

    /// One line for each unknown key, in the order of setting.
    const std::vector<std::string>& complaints() const { return m_complaints; }

    /// The file that was read; empty if none was.
    const std::string& file() const { return m_file; }
    void setFile(std::string file) { m_file = std::move(file); }

private:
    struct SettingValue {
        std::string value;
        std::string source;
    };
    const SettingValue* find(std::string_view key) const;

    std::map<std::string, SettingValue, std::less<>> m_values;
    std::vector<std::string> m_complaints;
    std::string m_file;
};

/// Makes a configuration the one that WConfigManager::getInstance() returns; null restores an empty one.
/// @param configuration  owned by the caller; must live as long as it is installed
void installConfigManager(WConfigManager* configuration);

}  // namespace W::host
