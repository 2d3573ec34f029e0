// `corvaned serve` under a service manager: readiness, watchdog, inherited sockets.
#include <array>
#include <csignal>
#include <cstring>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "ChildProcess.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using http::test::WebClient;
using support::ChildProcess;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

/// The manager's end of sd_notify(3).
class NotifySocket {
public:
    NotifySocket() : path(m_folder.path() + ".notify"), m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const timeval patience = {60, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket() { ::close(m_socket); }

    /// The next message; "" after a minute without one.
    std::string receive()
    {
        std::array<char, 4096> message{};
        const ssize_t size = ::recv(m_socket, message.data(), message.size(), 0);
        return std::string(message.data(), size > 0 ? static_cast<std::size_t>(size) : 0);
    }

private:
    TemporaryDatabase m_folder;

public:
    const std::string path;

private:
    const int m_socket;
};

TEST(Supervisor, IsNotifiedOfReadinessReloadAndStop)
{
    NotifySocket manager;
    ChildProcess service({CORVANED_PROGRAM, {"serve", "--listen", "127.0.0.1:0"}, {"NOTIFY_SOCKET=" + manager.path}});
    EXPECT_THAT(manager.receive(), MatchesRegex("READY=1\nSTATUS=listening on http://127.0.0.1:[0-9]+"));
    service.signal(SIGHUP);
    EXPECT_EQ(manager.receive(), "RELOADING=1");
    EXPECT_THAT(manager.receive(), StartsWith("READY=1\n"));
    service.signal(SIGTERM);
    EXPECT_EQ(manager.receive(), "STOPPING=1");
    EXPECT_EQ(service.wait(), 0);
}

TEST(Supervisor, IsNotifiedByARunningService)
{
    NotifySocket manager;
    ChildProcess service({CORVANED_PROGRAM,
                          {"serve", "--listen", "127.0.0.1:0"},
                          {"NOTIFY_SOCKET=" + manager.path, "WATCHDOG_USEC=400000"}});
    EXPECT_THAT(manager.receive(), StartsWith("READY=1\n"));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(manager.receive(), "WATCHDOG=1");
    }
}

// Starts the service like a manager that listens for it: with the sockets at the descriptors from 3 on.
constexpr const char* kListening = R"py(
import os, socket, sys
kinds = sys.argv[1].split(",")
made = []
for kind in kinds:
    if kind == "tcp" or kind == "any":
        made.append(socket.create_server(("0.0.0.0" if kind == "any" else "127.0.0.1", 0)))
    elif kind == "closed":
        made.append(socket.socket())
    else:
        made.append(socket.socketpair()[0])
print(made[0].getsockname()[1] if kinds[0] in ("tcp", "any") else 0, flush=True)
numbers = [os.dup2(one.fileno(), 50 + i) for i, one in enumerate(made)]
for i, number in enumerate(numbers):
    os.dup2(number, 3 + i, inheritable=True)
os.environ["LISTEN_FDS"] = str(len(made))
os.environ["LISTEN_PID"] = str(os.getpid())
os.execv(sys.argv[2], sys.argv[2:])
)py";

std::vector<std::string> listeningArguments(const char* sockets, const std::vector<std::string>& options)
{
    std::vector<std::string> arguments{"-c", kListening, sockets, CORVANED_PROGRAM, "serve"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return arguments;
}

TEST(Supervisor, SocketsItPassesReplaceTheAddress)
{
    ChildProcess service({"/usr/bin/python3", listeningArguments("tcp", {"--listen", "203.0.113.1:1"}), {}});
    const std::string port = service.readLine();
    EXPECT_EQ(service.readLine(), "corvaned listening on http://127.0.0.1:" + port);
    WebClient client(std::stoi(port));
    EXPECT_EQ(client.get("/openapi/service/vorel/conf/localtime")->status, 200);
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
}

TEST(Supervisor, UnusableSocketsAreRefused)
{
    const struct {
        const char* sockets;
        const char* message;
    } rows[] = {
        {"tcp,tcp", "the service manager passed 2 sockets; the service takes one"},
        {"closed", "the inherited descriptor 3 is not a listening TCP socket"},
        {"unix", "the inherited descriptor 3 is not a listening TCP socket"},
        // Reachable by other machines, as with --listen.
        {"any", " can be reached by other machines; give --secret-file or --app-key-file"},
    };
    for (const auto& row : rows) {
        ChildProcess service({"/usr/bin/python3", listeningArguments(row.sockets, {}), {}});
        EXPECT_EQ(service.wait(), 1) << row.sockets;
        EXPECT_THAT(service.errors(), HasSubstr(row.message)) << row.sockets;
    }
}

}  // namespace
}  // namespace corvaned
