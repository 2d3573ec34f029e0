#include "RpcProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace W::test {

namespace {

constexpr std::chrono::seconds kPatience{30};

std::array<int, 2> openPipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    return ends;
}

/// The environment without settings of the command.
std::vector<char*> ownEnvironment()
{
    std::vector<char*> kept;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (std::strncmp(*entry, "CORVANE_", 8) != 0)
            kept.push_back(*entry);
    }
    kept.push_back(nullptr);
    return kept;
}

}  // namespace

RpcProcess::RpcProcess(const std::string& command, const std::string& library, const std::vector<std::string>& options)
{
    std::vector<std::string> arguments = {command, "--plugin", library};
    for (const std::string& option : options) {
        arguments.emplace_back("--set");
        arguments.push_back(option);
    }
    arguments.emplace_back("rpc");
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);

    ::signal(SIGPIPE, SIG_IGN);
    const std::array<int, 2> in = openPipe();
    const std::array<int, 2> out = openPipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    const int failure =
        ::posix_spawn(&m_iProcess, command.c_str(), &actions, nullptr, pointers.data(), ownEnvironment().data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    m_iIn = in[1];
    m_iOut = out[0];
    if (failure != 0) {
        m_iProcess = -1;
        throw std::runtime_error(command + " cannot be started: " + std::strerror(failure));
    }
}

RpcProcess::~RpcProcess()
{
    finish();
    ::close(m_iOut);
}

nlohmann::json RpcProcess::call(const std::string& method, const nlohmann::json& parameters)
{
    const int id = ++m_iLastId;
    const nlohmann::json request = {{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", parameters}};
    const std::string line = request.dump() + "\n";
    for (std::size_t done = 0; done < line.size();) {
        const ssize_t written = ::write(m_iIn, line.data() + done, line.size() - done);
        if (written <= 0)
            throw std::runtime_error("the command does not read");
        done += static_cast<std::size_t>(written);
    }
    m_accepted = nullptr;
    while (true) {
        const std::string text = readLine();
        nlohmann::json answer = nlohmann::json::parse(text, nullptr, false);
        if (answer.is_discarded())
            throw std::runtime_error("the command wrote what is not JSON: " + text);
        if (!answer.contains("id"))
            m_accepted = std::move(answer);
        else if (answer["id"] == id)
            return answer;
        else
            throw std::runtime_error("the command answered another call: " + text);
    }
}

std::string RpcProcess::readLine()
{
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        const std::size_t end = m_unread.find('\n');
        if (end != std::string::npos) {
            std::string line = m_unread.substr(0, end);
            m_unread.erase(0, end + 1);
            return line;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        pollfd ready{m_iOut, POLLIN, 0};
        if (left.count() <= 0 || ::poll(&ready, 1, static_cast<int>(left.count())) <= 0)
            throw std::runtime_error("the command did not answer in time");
        std::array<char, 65536> buffer{};
        const ssize_t got = ::read(m_iOut, buffer.data(), buffer.size());
        if (got <= 0)
            throw std::runtime_error("the command ended before it answered");
        m_unread.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

int RpcProcess::finish()
{
    if (m_iIn >= 0)
        ::close(m_iIn);
    m_iIn = -1;
    if (m_iProcess < 0)
        return -1;
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    int state = 0;
    while (::waitpid(m_iProcess, &state, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(m_iProcess, SIGKILL);
            ::waitpid(m_iProcess, &state, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    m_iProcess = -1;
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

}  // namespace W::test
