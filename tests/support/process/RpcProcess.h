// The command `corvane rpc` as a process: lines in, lines out.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace W::test {

/// Runs until its input is closed; killed when it has to be.
class RpcProcess {
public:
    /// @param options  "KEY=VALUE" of the provider
    /// @throws std::runtime_error when it cannot be started
    RpcProcess(const std::string& command, const std::string& library, const std::vector<std::string>& options);
    ~RpcProcess();
    RpcProcess(const RpcProcess&) = delete;
    RpcProcess& operator=(const RpcProcess&) = delete;

    /// Sends one request, with an id of its own, and reads up to its answer. Notifications are kept aside.
    /// @throws std::runtime_error when none comes within 30 seconds
    nlohmann::json call(const std::string& method, const nlohmann::json& parameters);

    /// The notification of the last call; null without one.
    const nlohmann::json& accepted() const { return m_accepted; }

    /// Ends the input and waits.
    /// @return the exit code; -1 when it did not exit by itself
    int finish();

private:
    std::string readLine();

    int m_iProcess = -1;
    int m_iIn = -1;   ///< its standard input
    int m_iOut = -1;  ///< its standard output
    int m_iLastId = 0;
    std::string m_unread;
    nlohmann::json m_accepted;
};

}  // namespace W::test
