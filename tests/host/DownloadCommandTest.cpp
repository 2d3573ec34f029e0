// `corvane download`: its output, the files that it leaves, and early ends.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include "CommandRun.h"
#include "Gate.h"
#include "RawServer.h"
#include "Scratch.h"

namespace W::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

std::vector<std::string> namesIn(const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Serves a body that depends on the path.
void files(RawServer::RawConnection& connection)
{
    while (const auto request = connection.readRequest()) {
        const auto asked = [&](const char* path) { return request->find(path) != std::string::npos; };
        if (asked("/good")) {
            connection.answer("fresh");
        } else if (asked("/empty")) {
            connection.answer("");
        } else if (asked("/cut")) {
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\npart");
            return;
        } else if (asked("/moved")) {
            connection.send("HTTP/1.1 302 Found\r\nLocation: /good\r\nContent-Length: 0\r\n\r\n");
        } else if (asked("/same")) {
            connection.send("HTTP/1.1 304 Not Modified\r\n\r\n");
        } else if (asked("/silent")) {
            connection.waitForEnd();
        } else {
            connection.send("HTTP/1.1 404 Not Found\r\nContent-Length: 5\r\n\r\nerror");
        }
    }
}

TEST(Download, PrintsThePathOfTheWholeFile)
{
    const RawServer server(files);
    const ScratchDirectory scratch;
    scratch.write("d/old", "an older and longer file");
    const struct {
        std::string arguments;
        std::string path;
        const char* content;
    } rows[] = {
        {server.url("/good") + " " + scratch.file("d"), scratch.file("d/good"), "fresh"},
        {server.url("/good") + " " + scratch.file("d/") + " old", scratch.file("d/old"), "fresh"},
        {server.url("/empty") + " " + scratch.file("d"), scratch.file("d/empty"), ""},
        {"'" + server.url("/good morning") + "' " + scratch.file("d"), scratch.file("d/good morning"), "fresh"},
    };
    for (const auto& row : rows) {
        const Outcome outcome = corvane("download " + row.arguments);
        EXPECT_EQ(outcome.exitCode, 0) << row.arguments;
        EXPECT_EQ(outcome.output, row.path + "\n");
        EXPECT_EQ(outcome.errors, "") << "no progress bar without a terminal";
        EXPECT_EQ(readFile(row.path), row.content);
    }
    EXPECT_THAT(namesIn(scratch.file("d")), ElementsAre("empty", "good", "good morning", "old"));
    EXPECT_THAT(server.requests().back(), HasSubstr("GET /good%20morning HTTP/1.1\r\n"));
}

TEST(Download, FailuresGiveTheReasonAndChangeNothing)
{
    const RawServer server(files);
    int refusing = 0;
    {
        const RawServer gone(answering(""));
        refusing = gone.port();
    }
    const ScratchDirectory scratch;
    const std::string directory = scratch.file("d");
    scratch.write("d/old", "older");
    scratch.write("plain", "");
    std::filesystem::create_directory(scratch.file("d/sub"));
    const struct {
        std::string arguments;
        const char* message;
    } rows[] = {
        {server.url("/none") + " " + directory + " old",
         "the server refuses the file or does not have it (status -205)"},
        {server.url("/cut") + " " + directory + " old", "the transfer broke off (status -13)"},
        {server.url("/moved") + " " + directory + " old", "something other than the file (status -16)"},
        {server.url("/same") + " " + directory + " old", "something other than the file (status -16)"},
        {"--timeout 0.2 " + server.url("/silent") + " " + directory + " old", "did not answer in time (status -500)"},
        {fmt::format("http://127.0.0.1:{}/x {} old", refusing, directory), "there is no server at this address"},
        {"ftp://h/x " + directory, "\"ftp://h/x\" is not an http or https address"},
        {server.url("/%2e%2e") + " " + directory, "the file name \"%2e%2e\" would be outside"},
        {server.url("/good") + " " + directory + " ../x", "the file name \"../x\" would be outside"},
        {server.url("/good") + " " + directory + " sub", "sub: it is a directory"},
        {server.url("/good") + " " + scratch.file("nowhere"), "nowhere: No such file or directory"},
        {server.url("/good") + " " + scratch.file("plain"), "plain: it is not a directory"},
        {server.url("/good") + " /dev null", "/dev/null: it is not a regular file"},
        {server.url("/good") + " /proc", "cannot download into /proc: "},
    };
    for (const auto& row : rows) {
        const Outcome outcome = corvane("download " + row.arguments);
        EXPECT_EQ(outcome.exitCode, 1) << row.arguments;
        EXPECT_EQ(outcome.output, "") << row.arguments;
        EXPECT_THAT(outcome.errors, AllOf(HasSubstr(row.message), HasSubstr("corvane: hint: ")));
        EXPECT_EQ(lineCount(outcome.errors), 2) << outcome.errors;
        EXPECT_THAT(namesIn(directory), ElementsAre("old", "sub")) << row.arguments;
        EXPECT_EQ(readFile(scratch.file("d/old")), "older");
    }
}

TEST(Download, ReportsFullDisks)
{
    const RawServer server(answering(std::string(1 << 20, 'x')));
    const ScratchDirectory scratch;
    std::filesystem::create_directory(scratch.file("d"));
    // Ignored, or with its default action.
    for (const char* signal : {"trap '' XFSZ", "trap - XFSZ"}) {
        const std::string command = fmt::format("{}; ulimit -f 64; exec {} download {} {}", signal, CORVANE,
                                                server.url("/big"), scratch.file("d"));
        const Outcome outcome = support::runProcess({"/bin/sh", {"-c", command}, {}});
        EXPECT_EQ(outcome.exitCode, 1) << signal;
        EXPECT_THAT(outcome.errors, HasSubstr("the file cannot be written (status -108)"));
        EXPECT_THAT(namesIn(scratch.file("d")), IsEmpty());
    }
}

/// Runs the command on a pseudo-terminal.
class OnTerminal {
public:
    explicit OnTerminal(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), CORVANE);
        std::vector<char*> pointers;
        for (std::string& argument : arguments) {
            pointers.push_back(argument.data());
        }
        pointers.push_back(nullptr);
        winsize size{};
        size.ws_col = 80;
        m_process = ::forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_process == 0) {
            ::execv(CORVANE, pointers.data());
            ::_exit(127);
        }
    }
    ~OnTerminal()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            ::waitpid(m_process, nullptr, 0);
        }
        ::close(m_terminal);
    }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    /// Reads until a string appears or the command has ended.
    /// @return everything read so far
    const std::string& readUntil(const std::string& text)
    {
        char buffer[4096];
        while (m_output.find(text) == std::string::npos) {
            const ssize_t got = ::read(m_terminal, buffer, sizeof buffer);
            if (got <= 0) {
                break;
            }
            m_output.append(buffer, static_cast<std::size_t>(got));
        }
        return m_output;
    }
    void type(const std::string& keys) const
    {
        EXPECT_EQ(::write(m_terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }
    void signal(int number) const { ::kill(m_process, number); }
    int exitCode()
    {
        readUntil("\x1f no such text");
        int status = 0;
        ::waitpid(m_process, &status, 0);
        m_process = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    const std::string& output() const { return m_output; }

private:
    int m_terminal = -1;
    pid_t m_process = 0;
    std::string m_output;
};

/// Sends half of a file, and the rest when the gate goOn is open.
struct HalfServer {
    support::Gate goOn;
    RawServer server{[this](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: 2097152\r\n\r\n" + std::string(1 << 20, 'x'));
        goOn.wait();
        connection.send(std::string(1 << 20, 'y'));
        connection.waitForEnd();
    }};
    HalfServer() = default;
    ~HalfServer() { goOn.open(); }
    HalfServer(const HalfServer&) = delete;
    HalfServer& operator=(const HalfServer&) = delete;
};

TEST(Download, TerminalsShowProgress)
{
    HalfServer half;
    const ScratchDirectory scratch;
    std::filesystem::create_directory(scratch.file("d"));
    OnTerminal command({"download", half.server.url("/f"), scratch.file("d")});
    EXPECT_THAT(command.readUntil("1.0 MiB of 2.0 MiB"), AllOf(HasSubstr("\r["), HasSubstr("=")));
    EXPECT_THAT(command.readUntil("left"), HasSubstr("/s  0:0"));
    half.goOn.open();
    EXPECT_EQ(command.exitCode(), 0) << command.output();
    EXPECT_THAT(command.output(), testing::EndsWith("\r" + scratch.file("d/f") + "\r\n")) << "the bar goes";
    EXPECT_EQ(std::filesystem::file_size(scratch.file("d/f")), std::uintmax_t{1} << 21);
}

TEST(Download, CancelledDownloadsLeaveNothing)
{
    HalfServer half;
    const ScratchDirectory scratch;
    scratch.write("d/f", "older");
    const struct {
        int signal;
        int exitCode;
    } rows[] = {{0, 130}, {SIGINT, 130}, {SIGTERM, 143}, {SIGHUP, 129}};
    for (const auto& row : rows) {
        OnTerminal command({"download", half.server.url("/f"), scratch.file("d")});
        command.readUntil("1.0 MiB of 2.0 MiB");
        EXPECT_EQ(namesIn(scratch.file("d")).size(), 2U);
        if (row.signal == 0) {
            command.type("\x03");
        } else {
            command.signal(row.signal);
        }
        EXPECT_EQ(command.exitCode(), row.exitCode) << command.output();
        EXPECT_THAT(command.output(), AllOf(HasSubstr("cancelled; no file was written"), Not(HasSubstr("hint"))));
        EXPECT_THAT(namesIn(scratch.file("d")), ElementsAre("f"));
        EXPECT_EQ(readFile(scratch.file("d/f")), "older");
    }
}

/// Memory of a process in KiB: "VmRSS" is the current value, "VmHWM" the highest so far.
long memoryOf(pid_t process, const std::string& what)
{
    std::ifstream state("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(state, line);) {
        if (line.rfind(what + ":", 0) == 0) {
            return std::stol(line.substr(what.size() + 1));
        }
    }
    return -1;
}

TEST(Download, LargeFilesNeedNoMemory)
{
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    // A GiB in the long form of the test, whose time is mostly the disk's.
    const std::size_t blocks = std::getenv("CORVANE_LONG") != nullptr ? 1024 : 256;
    constexpr long kMostGrowth = 8 * 1024;
    const ScratchDirectory scratch;
    support::Gate started;
    std::atomic<pid_t> process{0};
    std::atomic<long> atFirst{-1};
    std::atomic<long> atMost{-1};
    const RawServer server([&](RawServer::RawConnection& connection) {
        connection.readRequest();
        connection.send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kBlock * blocks) + "\r\n\r\n");
        started.wait();
        atFirst = memoryOf(process, "VmRSS");
        const std::string block(kBlock, 'x');
        for (std::size_t sent = 0; sent + 1 < blocks; ++sent) {
            connection.send(block);
        }
        connection.send(block.substr(1));
        atMost = memoryOf(process, "VmHWM");
        connection.send("x");
    });
    const std::string url = server.url("/large");
    const std::string directory = scratch.file("");
    support::ChildProcess command({CORVANE, {"download", url, directory}, {}});
    process = command.id();
    started.open();
    EXPECT_EQ(command.wait(), 0) << command.errors();
    EXPECT_EQ(std::filesystem::file_size(scratch.file("large")), kBlock * blocks);
    ASSERT_GT(atFirst, 0);
    ASSERT_GT(atMost, 0);
    EXPECT_LT(atMost - atFirst, kMostGrowth) << atFirst << " KiB at first, " << atMost << " KiB at most";
}

}  // namespace
}  // namespace W::host
