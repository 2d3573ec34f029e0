#include "Runtime.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "Debug.h"

namespace W::host {

Configuration loadConfiguration(const CommonOptions& options, Defaults defaults)
{
    Configuration configuration =
        loadSettings({defaults, options.config, options.settings, options.secretFile}, environ);
    for (const std::string& complaint : configuration.complaints()) {
        fmt::print(stderr, "corvane: {}\n", complaint);
    }
    return configuration;
}

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
    limits.caFile = configuration.value("ca_file");
    return limits;
}

Runtime::Runtime(const CommonOptions& options, Defaults defaults)
    : Runtime(options, loadConfiguration(options, defaults), defaults)
{}

Runtime::Runtime(const CommonOptions& options, Configuration configuration, Defaults defaults)
    : m_configuration(std::move(configuration))
{
    HttpLimits limits = httpLimits(m_configuration);
    // Some requests cannot be cancelled, so the executor limits the time that people have to wait.
    if (defaults == Defaults::ForPeople) {
        const auto most = std::max(options.timeout(), std::chrono::milliseconds(1));
        limits.totalTimeout = std::min(most, limits.totalTimeout);
        limits.stallTimeout = std::min(most, limits.stallTimeout);
    }
    // Commands for people explain failures themselves, so the plug-in's error lines are not shown.
    const bool quiet = defaults == Defaults::ForPeople && options.log.empty();
    setDebugLevel(options.logLevel.value_or(quiet ? 0 : 1));
    installDebugLog(options.log.empty() ? std::make_unique<DebugLog>(STDERR_FILENO) : DebugLog::open(options.log));
    installConfigManager(&m_configuration);
    m_executor = new CurlExecutor(limits);
    m_executor->observeReplies(
        [this](const HttpRequest& request, SESSION_STATUS status) { m_failures.observe(request, status); });
    installHttpDelegator(m_executor);
    m_library =
        std::make_unique<PluginLibrary>(options.plugin.empty() ? PluginLibrary::standardFile() : options.plugin);
    m_object = m_library->create();
}

Runtime::~Runtime()
{
    m_object.reset();
    m_executor->stop();
    m_library.reset();
    installConfigManager(nullptr);
}

}  // namespace W::host
