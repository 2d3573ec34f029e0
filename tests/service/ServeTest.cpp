// `corvaned serve` as a process: signals, logs that cannot be written, secrets, failed accepts.
#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "RawClient.h"
#include "ServiceProgram.h"
#include "TestSupport.h"
#include "WebClient.h"

namespace corvaned {
namespace {

using http::test::RawClient;
using http::test::WebClient;
using test::ServiceProgram;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Shorter than the delay of a service that is held up, even on a busy machine.
constexpr seconds kPrompt{20};
constexpr const char* kLocalTime = "/openapi/service/vorel/conf/localtime";

int portIn(const std::string& line)
{
    return std::stoi(line.substr(line.rfind(':') + 1));
}

/// A service that a shell starts, with its log redirected by `redirection`.
class RedirectedService : public support::ChildProcess {
public:
    RedirectedService(const std::string& redirection, std::vector<std::string> environment = {})
        : ChildProcess(support::Launch{"/bin/sh",
                                       {"-c", fmt::format("exec {} serve --listen 127.0.0.1:0 --log-lines-per-second "
                                                          "1000000 {}",
                                                          CORVANED_PROGRAM, redirection)},
                                       std::move(environment)}),
          port(portIn(readLine()))
    {}
    const int port;
};

void expectService(int port, int requests)
{
    WebClient client(port);
    for (int i = 0; i < requests; ++i) {
        const auto reply = client.get(kLocalTime);
        ASSERT_TRUE(reply.has_value()) << i;
        ASSERT_EQ(reply->status, 200) << i;
    }
    const RawClient malformed(port);
    malformed.send("nonsense\r\n\r\n");
    EXPECT_THAT(malformed.receiveAll(), StartsWith("HTTP/1.1 400 "));
}

void expectPromptEnd(support::ChildProcess& service)
{
    const auto begin = Clock::now();
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    EXPECT_LT(Clock::now() - begin, kPrompt);
}

TEST(ServeLog, ContinuesWhenTheDiskIsFull)
{
    RedirectedService service("2>/dev/full");
    expectService(service.port, 100);
    expectPromptEnd(service);
}

TEST(ServeLog, ContinuesWhenTheReaderIsGone)
{
    const TemporaryDatabase scratch;
    const std::string fifo = scratch.path() + ".fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    RedirectedService service("2>" + fifo);
    ::close(reader);
    expectService(service.port, 100);
    expectPromptEnd(service);
}

TEST(ServeLog, StalledReaderDoesNotDelayRequests)
{
    const TemporaryDatabase scratch;
    const std::string fifo = scratch.path() + ".fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    RedirectedService service("2>" + fifo);
    expectService(service.port, 2000);  // a pipe holds about 500 lines
    expectPromptEnd(service);
    ::close(reader);
}

TEST(ServeLog, ClientsCannotForgeLinesOrLogWhatTheyWatch)
{
    ServiceProgram service({"serve", "--listen", "127.0.0.1:0"});
    const int port = portIn(service.readLine());
    const RawClient client(port);
    client.send("GET /a%0atime=forged%1b[2J/b&sourceid=secret HTTP/1.1\r\nHost: here\r\n\r\n");
    client.receive(1);
    client.send("GET /c?sourceid=secret HTTP/1.1\r\nHost: here\r\n\r\n");
    client.receive(1);
    client.send("G\x1b[2JT / HTTP/1.1\r\nHost: here\r\n\r\n");
    client.receiveAll();
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    EXPECT_THAT(service.errors(),
                AllOf(HasSubstr("path=\"/a\\x0atime\" "), HasSubstr("path=\"/c\" "), Not(HasSubstr("secret")),
                      Not(HasSubstr("\ntime=forged")), Not(HasSubstr("\x1b"))));
}

TEST(ServeLog, CountsAFloodInsteadOfLoggingIt)
{
    ServiceProgram service({"serve", "--listen", "127.0.0.1:0", "--log-lines-per-second", "10"});
    const int port = portIn(service.readLine());
    expectService(port, 500);
    std::this_thread::sleep_for(milliseconds(1100));  // lines are counted per second
    expectService(port, 1);
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
    const std::string log = service.errors();
    EXPECT_LT(std::count(log.begin(), log.end(), '\n'), 400) << log;
    EXPECT_THAT(log, HasSubstr(" remote=127.0.0.1 lines_left_out="));
}

TEST(ServeSignals, TermStopsDespiteAClientThatDoesNotRead)
{
    ServiceProgram service({"serve", "--listen", "127.0.0.1:0", "--stop-seconds", "2", "--send-pause-seconds", "60"});
    const int port = portIn(service.readLine());
    const RawClient client(port);
    client.receiveLittle();
    std::string many;
    for (int i = 0; i < 2000; ++i) {
        many += fmt::format("GET /unheard/{} HTTP/1.1\r\nHost: here\r\n\r\n", i);
    }
    std::thread sending([&] { client.send(many); });
    pollfd reply{client.descriptor(), POLLIN, 0};
    EXPECT_EQ(::poll(&reply, 1, 60'000), 1);
    expectPromptEnd(service);
    sending.join();
}

TEST(ServeSignals, HupAndPipeDoNotEndTheService)
{
    ServiceProgram service({"serve", "--listen", "127.0.0.1:0"});
    const int port = portIn(service.readLine());
    for (const int signal : {SIGHUP, SIGPIPE, SIGHUP}) {
        service.signal(signal);
        expectService(port, 1);
    }
    service.signal(SIGTERM);
    EXPECT_EQ(service.wait(), 0);
}

TEST(ServeSecrets, OtherMachinesRequireASecretOrAPermission)
{
    const TemporaryDatabase scratch;
    const std::string secret = scratch.path() + ".secret";
    const std::string empty = scratch.path() + ".empty";
    test::writeFile(secret, "open sesame\n");
    test::writeFile(empty, "\n");
    const struct {
        std::vector<std::string> arguments;
        const char* refusal;  // "": it serves
    } rows[] = {
        {{}, "can be reached by other machines; give --secret-file or --app-key-file"},
        {{"--secret", "x"}, "other users of this machine can read secrets on the command line"},
        {{"--app-key", "x", "--allow-anonymous"}, "other users of this machine can read secrets on the command line"},
        {{"--secret-file", secret + ".none"}, "No such file or directory"},
        {{"--secret-file", empty}, "is empty; write the secret into it"},
        {{"--secret-file", secret}, ""},
        {{"--app-key-file", secret}, ""},
        {{"--allow-anonymous"}, ""},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"serve", "--listen", "0.0.0.0:0"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        ServiceProgram service(arguments);
        if (*row.refusal != '\0') {
            EXPECT_EQ(service.wait(), 1) << ::testing::PrintToString(row.arguments);
            EXPECT_THAT(service.errors(), HasSubstr(row.refusal)) << ::testing::PrintToString(row.arguments);
            continue;
        }
        EXPECT_THAT(service.readLine(), StartsWith("corvaned listening on ")) << service.errors();
        service.signal(SIGTERM);
        EXPECT_EQ(service.wait(), 0);
        EXPECT_THAT(service.errors(), HasSubstr("other machines can reach 0.0.0.0:0"));
    }
}

TEST(ServeSecrets, ComeFromTheEnvironment)
{
    support::ChildProcess service(support::Launch{
        CORVANED_PROGRAM, {"serve", "--listen", "127.0.0.1:0"}, {"CORVANED_APP_KEY=from the environment"}});
    const int port = portIn(service.readLine());
    WebClient client(port);
    const std::string seedkey = "/openapi/service/vorel/auth/seedkey";
    EXPECT_EQ(client.get(seedkey, {{"DUID", "d"}, {"AppKey", "other"}})->status, 401);
    EXPECT_EQ(client.get(seedkey, {{"DUID", "d"}, {"AppKey", "from the environment"}})->status, 200);
}

#ifdef CORVANED_ACCEPT_FAULT
TEST(ServeAccepts, ContinuesAfterAFailedAccept)
{
    for (const char* error : {"ENFILE", "EMFILE", "ENOMEM", "ENOBUFS", "ECONNABORTED", "EPROTO", "EPERM"}) {
        RedirectedService service(
            "", {std::string("LD_PRELOAD=") + CORVANED_ACCEPT_FAULT, std::string("CORVANE_ACCEPT_FAULT=") + error});
        for (int i = 0; i < 10; ++i) {
            WebClient client(service.port);
            const auto reply = client.get(kLocalTime);
            ASSERT_TRUE(reply.has_value()) << error;
            EXPECT_EQ(reply->status, 200) << error;
        }
        service.signal(SIGTERM);
        EXPECT_EQ(service.wait(), 0);
        const std::string log = service.errors();
        EXPECT_THAT(log, HasSubstr("corvaned: cannot accept a connection: ")) << error;
    }
}
#endif

}  // namespace
}  // namespace corvaned
