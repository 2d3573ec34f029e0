// Setting up and tearing down.
#include "Runtime.h"

#include "Debug.h"
#include "SettingsFile.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
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

HttpLimits httpLimits(const Configuration& configuration)
{
    using Milliseconds = std::chrono::milliseconds;
    constexpr double kDay = 86400;
    constexpr double kMostBytes = 2147483647;
    constexpr double kMostTransfers = 1024;
    HttpLimits limits;
    const auto time = [&configuration](std::string_view key, Milliseconds standard) {
        const double seconds = configuration.number(key, std::chrono::duration<double>(standard).count(), 0.001, kDay);
        return Milliseconds(static_cast<std::int64_t>(std::ceil(seconds * 1000)));
    };
    const auto count = [&configuration](std::string_view key, std::size_t standard, double most) {
        return static_cast<std::size_t>(configuration.number(key, static_cast<double>(standard), 1, most));
    };
    limits.connectTimeout = time("connect_timeout", limits.connectTimeout);
    limits.stallTimeout = time("stall_timeout", limits.stallTimeout);
    limits.totalTimeout = time("total_timeout", limits.totalTimeout);
    limits.payloadCap = count("payload_cap", limits.payloadCap, kMostBytes);
    limits.concurrency = count("concurrency", limits.concurrency, kMostTransfers);
    limits.caFile = configuration.text("ca_file");
    return limits;
}

std::string fill(Configuration& configuration, const CommonOptions& options, Defaults defaults)
{
    if (defaults == Defaults::ForPeople) {
        for (const auto& [key, value] : kDefaultsForPeople)
            configuration.set(key, value, "default");
    }
    std::string file = options.config;
    if (file.empty() && defaults == Defaults::ForPeople)
        file = standardSettingsFile().value_or("");
    if (!file.empty())
        readSettingsFile(file, configuration);
    configuration.setFromEnvironment(environ);
    for (const std::string& setting : options.settings) {
        const std::size_t equals = setting.find('=');
        configuration.set(setting.substr(0, equals), setting.substr(equals + 1), "--set");
    }
    for (const std::string& complaint : configuration.complaints())
        fmt::print(stderr, "corvane: {}\n", complaint);
    return file;
}

namespace {

Configuration filled(const CommonOptions& options, Defaults defaults)
{
    Configuration configuration;
    fill(configuration, options, defaults);
    return configuration;
}

}  // namespace

Runtime::Runtime(const CommonOptions& options, Defaults defaults)
    : Runtime(options, filled(options, defaults), defaults)
{}

Runtime::Runtime(const CommonOptions& options, Configuration configuration, Defaults defaults)
    : m_configuration(std::move(configuration))
{
    HttpLimits limits = httpLimits(m_configuration);
    // Not every request can be cancelled, and people do not wait longer than they said.
    if (defaults == Defaults::ForPeople) {
        const auto most = std::max(options.timeout(), std::chrono::milliseconds(1));
        limits.totalTimeout = std::min(most, limits.totalTimeout);
        limits.stallTimeout = std::min(most, limits.stallTimeout);
    }
    // People get failures in words; the plug-in's error lines would only stand in between.
    const bool quiet = defaults == Defaults::ForPeople && options.log.empty();
    setDebugLevel(options.logLevel.value_or(quiet ? 0 : 1));
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
