// Setting up and tearing down.
#include "Runtime.h"

#include "Debug.h"
#include "SettingsFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace W::host {

namespace {

/// What a service on this machine answers to.
constexpr std::pair<std::string_view, const char*> kDefaultsForPeople[] = {
    {"base_url", "http://127.0.0.1:8900"},
    {"app_key", "corvane"},
    {"duid", "corvane-command"},
    {"model_id", "corvane"},
    {"country", "US"},
    {"language", "en"},
    {"headend", "default"},
};

}  // namespace

void fill(Configuration& configuration, const CommonOptions& options, Defaults defaults)
{
    if (defaults == Defaults::ForPeople) {
        for (const auto& [key, value] : kDefaultsForPeople)
            configuration.set(key, value, "default");
    }
    std::optional<std::string> file;
    if (!options.config.empty())
        file = options.config;
    else if (defaults == Defaults::ForPeople)
        file = standardSettingsFile();
    if (file)
        readSettingsFile(*file, configuration);
    configuration.setFromEnvironment(environ);
    for (const std::string& setting : options.settings) {
        const std::size_t equals = setting.find('=');
        configuration.set(setting.substr(0, equals), setting.substr(equals + 1), "--set");
    }
    for (const std::string& complaint : configuration.complaints())
        fmt::print(stderr, "corvane: {}\n", complaint);
}

Runtime::Runtime(const CommonOptions& options, Defaults defaults)
{
    fill(m_configuration, options, defaults);
    const HttpLimits limits = m_configuration.httpLimits();
    setDebugLevel(options.logLevel);
    installDebugLog(options.log.empty() ? std::make_unique<DebugLog>(STDERR_FILENO) : DebugLog::open(options.log));
    installConfigManager(&m_configuration);
    m_pExecutor = new CurlExecutor(limits);
    installHttpDelegator(m_pExecutor);
    m_pLibrary =
        std::make_unique<PluginLibrary>(options.plugin.empty() ? PluginLibrary::standardFile() : options.plugin);
    m_object = m_pLibrary->create();
}

Runtime::~Runtime()
{
    m_object.reset();
    m_pExecutor->stop();
    m_pLibrary.reset();
    installConfigManager(nullptr);
}

}  // namespace W::host
