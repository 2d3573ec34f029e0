#include "SettingsSources.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "SettingsFile.h"

namespace W::host {

namespace {

/// Values that a service on this machine accepts.
constexpr std::pair<std::string_view, const char*> kDefaultsForPeople[] = {
    {"base_url", "http://127.0.0.1:8900"},
    {"app_key", "corvane"},
    {"duid", "corvane-command"},
    {"model_id", "corvane"},
    {"country", "US"},
    {"language", "en"},
    {"headend", "default"},
};

/// @throws std::runtime_error if there is none
std::string firstLineOf(const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    if (!file || !std::getline(file, line)) {
        throw std::runtime_error(
            fmt::format("cannot read a secret from {}: {}", path,
                        file.is_open() ? "it is empty; write the secret into its first line" : std::strerror(errno)));
    }
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

}  // namespace

Configuration loadSettings(const SettingsSources& sources, const char* const* environment)
{
    Configuration configuration;
    std::string file = sources.file;
    if (sources.defaults == Defaults::ForPeople) {
        for (const auto& [key, value] : kDefaultsForPeople) {
            configuration.set(key, value, "default");
        }
        if (file.empty()) {
            file = standardSettingsFile().value_or("");
        }
    }
    if (!file.empty()) {
        readSettingsFile(file, configuration);
        configuration.setFile(file);
    }
    configuration.setFromEnvironment(environment);
    for (const std::string& assignment : sources.assignments) {
        const std::size_t equals = assignment.find('=');
        configuration.set(assignment.substr(0, equals), assignment.substr(equals + 1), "--set");
    }
    if (!sources.secretFile.empty()) {
        configuration.set("secret_key", firstLineOf(sources.secretFile), "--secret-file");
    }
    return configuration;
}

}  // namespace W::host
