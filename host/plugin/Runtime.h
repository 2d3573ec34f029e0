// The host of one plug-in object in this process: configuration, log, executor and library, in the order in which they
// are set up. Every command works on one.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "CurlExecutor.h"
#include "PluginLibrary.h"
#include "ServiceProblem.h"
#include "SettingsSources.h"

namespace W::host {

/// Options of the command line that all commands share.
struct CommonOptions {
    std::string plugin;                     ///< file; empty for the standard one
    std::string config;                     ///< file; empty for the user's
    std::vector<std::string> settings;      ///< KEY=VALUE
    std::string secretFile;                 ///< whose first line is the setting secret_key; empty for none
    std::string log;                        ///< file or "syslog"; empty for standard error
    std::optional<unsigned long> logLevel;  ///< default 1; for people without a log 0
    double timeoutSeconds = 30;

    std::chrono::milliseconds timeout() const
    {
        return std::chrono::milliseconds(static_cast<std::int64_t>(timeoutSeconds * 1000));
    }
};

/// Reads the settings from all sources and writes warnings to standard error.
/// @throws std::runtime_error with one line for the user
Configuration loadConfiguration(const CommonOptions& options, Defaults defaults);

/// The executor's limits from the configuration.
/// @throws std::runtime_error naming the setting, its source and the range
HttpLimits httpLimits(const Configuration& configuration);

/// One per process at a time. The destructor destroys the object, ends what is outstanding and unloads the library.
class Runtime {
public:
    /// Installs configuration, log and executor, loads the library and makes the object.
    /// @throws std::runtime_error with one line for the user
    Runtime(const CommonOptions& options, Configuration configuration, Defaults defaults);
    /// The same with the configuration of loadConfiguration().
    Runtime(const CommonOptions& options, Defaults defaults);
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    WCorvaneOAI& plugin() { return *m_object; }
    const Configuration& configuration() const { return m_configuration; }
    const PluginLibrary& library() const { return *m_library; }
    const DownloadProgress& downloads() const { return m_executor->progress().downloads; }
    const UploadProgress& uploads() const { return m_executor->progress().uploads; }
    ServiceFailures& failures() { return m_failures; }

    /// Destroys the plug-in object, through its library.
    void destroyPlugin() { m_object.reset(); }

private:
    Configuration m_configuration;
    ServiceFailures m_failures;
    CurlExecutor* m_executor = nullptr;  ///< never destroyed: see HttpDelegator::getInstance()
    std::unique_ptr<PluginLibrary> m_library;
    PluginLibrary::Object m_object{nullptr, nullptr};
};

}  // namespace W::host
