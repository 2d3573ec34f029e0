#include "Conversation.h"

#include <stdexcept>

namespace W::test {

Conversation::Conversation() : m_server([this](host::RawServer::RawConnection& connection) { serve(connection); }) {}

void Conversation::start(const std::vector<std::string>& options)
{
    std::vector<std::string> all = {"vorel_base_url=" + url()};
    all.insert(all.end(), options.begin(), options.end());
    m_process.emplace(CORVANE_COMMAND, CORVANE_LIBRARY, all);
}

void Conversation::openSession()
{
    call("setAuthSeedkey", {{{"SessionID", "S"}, {"UserID", "U"}, {"SeedKey", "K"}}});
}

void Conversation::setClock(const std::string& offset)
{
    setReplyBody(R"({"rsp":{"stat":"OK","difference":")" + offset + R"("}})");
    const nlohmann::json answer = call("getLocalTime", nlohmann::json::array()).answer;
    if (answer.value("/result/status"_json_pointer, -1) != 0) {
        throw std::runtime_error("no server's time: " + answer.dump());
    }
}

void Conversation::setReply(const std::string& bytes)
{
    const std::lock_guard<std::mutex> hold(m_lock);
    m_reply = bytes;
}

void Conversation::setReplyBody(const std::string& body)
{
    setReply("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}

Conversation::CallOutcome Conversation::call(const std::string& operation, const nlohmann::json& parameters)
{
    const std::size_t before = m_server.requests().size();
    CallOutcome outcome;
    outcome.answer = m_process->call(operation, parameters);
    outcome.accepted = m_process->accepted();
    const std::vector<std::string> all = m_server.requests();
    outcome.requests.assign(all.begin() + static_cast<std::ptrdiff_t>(before), all.end());
    return outcome;
}

void Conversation::serve(host::RawServer::RawConnection& connection)
{
    while (connection.readRequest()) {
        std::string reply;
        {
            const std::lock_guard<std::mutex> hold(m_lock);
            reply = m_reply;
        }
        connection.send(reply);
    }
}

}  // namespace W::test
