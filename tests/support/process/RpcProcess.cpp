#include "RpcProcess.h"

#include <stdexcept>

namespace W::test {

namespace {

support::Launch launchOf(const std::string& command, const std::string& library,
                         const std::vector<std::string>& options)
{
    support::Launch launch{command, {"--plugin", library}, {}};
    for (const std::string& option : options) {
        launch.arguments.insert(launch.arguments.end(), {"--set", option});
    }
    launch.arguments.emplace_back("rpc");
    return launch;
}

}  // namespace

RpcProcess::RpcProcess(const std::string& command, const std::string& library, const std::vector<std::string>& options)
    : m_process(launchOf(command, library, options))
{}

RpcProcess::~RpcProcess()
{
    finish();
}

nlohmann::json RpcProcess::call(const std::string& method, const nlohmann::json& parameters)
{
    const int id = ++m_lastId;
    const nlohmann::json request = {{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", parameters}};
    m_process.write(request.dump() + "\n");
    m_accepted = nullptr;
    while (true) {
        const std::string line = m_process.readLine();
        nlohmann::json answer = nlohmann::json::parse(line, nullptr, false);
        if (answer.is_discarded()) {
            throw std::runtime_error("the command wrote a line that is not JSON: " + line + m_process.errors());
        }
        if (!answer.contains("id")) {
            m_accepted = std::move(answer);
        } else if (answer["id"] == id) {
            return answer;
        } else {
            throw std::runtime_error("the command answered another call: " + line);
        }
    }
}

int RpcProcess::finish()
{
    m_process.closeInput();
    return m_process.wait();
}

}  // namespace W::test
