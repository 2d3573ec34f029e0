// corvaned as a process with a new database that contains a small guide around the present. Read next: Television.h,
// its client.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "Scratch.h"

namespace W::test {

/// Three channels with hourly programmes, two days back and two ahead:
/// - "News One" (1): "Report", a series whose episode on air now is number 100;
/// - "Movie Two" (2): films, "Film 100" now, directed by Ann Ek; Bo Li plays in those with an even number;
/// - "Kids Three" (3): "Puppets 100" now.
/// One and three have a logo.
class ServiceProcess {
public:
    /// Imports the guide and starts the service. @throws std::runtime_error if it does not start
    /// @param options  further options of "corvaned serve"
    explicit ServiceProcess(std::vector<std::string> options = {});
    /// Ends the service and expects that it exits with 0.
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    /// Ends the service and starts it again with the same address and database.
    void restart();
    /// The same, with other options.
    void restart(std::vector<std::string> options);

    /// Paths of the requests that it has answered since it started, in order.
    std::vector<std::string> requestedPaths() const;

    const std::string& url() const { return m_url; }
    const std::filesystem::path& directory() const { return m_scratch.path(); }
    /// Begin of the programmes on air, in seconds since the epoch.
    std::int64_t onAirSince() const { return m_onAirSince; }
    /// Begin of this machine's day, in seconds since the epoch.
    static std::int64_t midnight();

    /// The content of an uploaded file; empty if there is none.
    std::string upload(const std::string& name) const;

private:
    void import(const std::string& listing) const;
    void start(const std::string& address);
    void stop();
    std::string databaseFile() const { return m_scratch.file("guide.db"); }

    std::vector<std::string> m_options;
    const host::ScratchDirectory m_scratch;
    const std::string m_viewers;
    std::int64_t m_onAirSince = 0;
    std::optional<support::ChildProcess> m_process;
    std::string m_url;
};

}  // namespace W::test
