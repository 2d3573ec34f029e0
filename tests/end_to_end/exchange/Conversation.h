// Runs the command with the loaded library, and a server whose replies a test sets. ExchangeTest.cpp runs the files in
// exchanges/ with it, DocsTest.cpp the examples of docs/operations.md.
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "RawServer.h"
#include "RpcProcess.h"
#include "Scratch.h"

namespace W::test {

/// One command, one server, one empty directory.
class Conversation {
public:
    Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /// Host and port of the server.
    std::string host() const { return "127.0.0.1:" + std::to_string(m_server.port()); }
    std::string url() const { return "http://" + host(); }
    const std::filesystem::path& directory() const { return m_scratch.path(); }

    /// Starts the command. @param options  "KEY=VALUE"; the base address is always set
    void start(const std::vector<std::string>& options);
    /// Gives the plug-in the session S, U, K.
    void openSession();
    /// Lets the plug-in fetch the server's time. @param offset  for example "+09:00"
    void setClock(const std::string& offset);

    /// Sets the bytes of the reply to every request from now on.
    void setReply(const std::string& bytes);
    /// Sets the reply to `200 OK` with a body.
    void setReplyBody(const std::string& body);

    /// The answer to a call and the requests that reached the server during it.
    struct CallOutcome {
        nlohmann::json answer;
        nlohmann::json accepted;  ///< the notification "accepted"; null if there was none
        std::vector<std::string> requests;
    };
    CallOutcome call(const std::string& operation, const nlohmann::json& parameters);

    /// Ends the command. @return its exit code
    int finish() { return m_process->finish(); }

private:
    void serve(host::RawServer::RawConnection& connection);

    const host::ScratchDirectory m_scratch;
    std::mutex m_lock;
    std::string m_reply;  ///< REQUIRES: m_lock held
    host::RawServer m_server;
    std::optional<RpcProcess> m_process;
};

}  // namespace W::test
