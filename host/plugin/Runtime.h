// A process's host around one plug-in object: configuration, log, executor and library, in the order in which they come
// and go. Every subcommand of corvane works on one.
#pragma once

#include "Configuration.h"
#include "CurlExecutor.h"
#include "PluginLibrary.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace W::host {

/// What the command line says to all subcommands.
struct CommonOptions {
    std::string plugin;                     ///< file; empty for the standard one
    std::string config;                     ///< file; empty for the standard one, where that is read at all
    std::vector<std::string> settings;      ///< KEY=VALUE
    std::string log;                        ///< file or "syslog"; empty for standard error
    std::optional<unsigned long> logLevel;  ///< else 1, and with ForPeople and no log nothing
    double timeoutSeconds = 30;

    std::chrono::milliseconds timeout() const
    {
        return std::chrono::milliseconds(static_cast<std::int64_t>(timeoutSeconds * 1000));
    }
};

/// Scripts get what they say; people get what makes a local service work.
enum class Defaults {
    None,
    ForPeople
};

/// Fills a configuration: defaults, then file, environment and --set. Complaints go to standard error.
/// @return the file that was read; empty when none was
/// @throws std::runtime_error with one line for the user
std::string fill(Configuration& configuration, const CommonOptions& options, Defaults defaults);

/// The executor's limits from the configuration.
/// @throws std::runtime_error naming the setting, its source and the range
HttpLimits httpLimits(const Configuration& configuration);

/// One per process at a time. Destruction gives the object back, ends what is outstanding and unloads the library.
class Runtime {
public:
    /// Installs configuration, log and executor, loads the library and makes the object.
    /// @throws std::runtime_error with one line for the user
    Runtime(const CommonOptions& options, Configuration configuration, Defaults defaults);
    /// The same with a configuration filled as above.
    Runtime(const CommonOptions& options, Defaults defaults);
    ~Runtime();
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    WCorvaneOAI& plugin() { return *m_object; }
    const Configuration& configuration() const { return m_configuration; }
    const PluginLibrary& library() const { return *m_pLibrary; }
    const DownloadProgress& downloads() const { return m_pExecutor->downloads(); }

    /// Gives the object back to its library.
    void destroyPlugin() { m_object.reset(); }

private:
    Configuration m_configuration;
    CurlExecutor* m_pExecutor = nullptr;  ///< never destroyed: see HttpDelegator::getInstance()
    std::unique_ptr<PluginLibrary> m_pLibrary;
    PluginLibrary::Object m_object{nullptr, nullptr};
};

}  // namespace W::host
