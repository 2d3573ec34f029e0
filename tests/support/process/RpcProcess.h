// The command `corvane rpc` as a process: one JSON request or answer per line.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ChildProcess.h"

namespace W::test {

class RpcProcess {
public:
    /// @param options  "KEY=VALUE" of the provider
    /// @throws std::runtime_error if the command cannot be started
    RpcProcess(const std::string& command, const std::string& library, const std::vector<std::string>& options);

    /// Closes the input and waits for the end.
    ~RpcProcess();
    RpcProcess(const RpcProcess&) = delete;
    RpcProcess& operator=(const RpcProcess&) = delete;

    /// Sends one request with a new id and reads up to its answer. Keeps the notification that came before it.
    /// @throws std::runtime_error if no answer comes within support::kProcessPatience
    nlohmann::json call(const std::string& method, const nlohmann::json& parameters);

    /// The notification of the last call; null if there was none.
    const nlohmann::json& accepted() const { return m_accepted; }

    /// Closes the input and waits for the end.
    /// @return the exit code, or minus the number of the signal that ended the command
    int finish();

private:
    support::ChildProcess m_process;
    int m_lastId = 0;
    nlohmann::json m_accepted;
};

}  // namespace W::test
