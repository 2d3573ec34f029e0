#include "ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const std::string& what, int error)
{
    throw std::runtime_error(what + ": " + std::strerror(error));
}

std::array<int, 2> openPipe()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        fail("cannot open a pipe", errno);
    }
    return ends;
}

int openMemory(const std::string& content = "")
{
    const int file = ::memfd_create("test", MFD_CLOEXEC);
    if (file < 0) {
        fail("cannot open a file in memory", errno);
    }
    if (::pwrite(file, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
        ::close(file);
        fail("cannot write a file in memory", errno);
    }
    return file;
}

std::string contentOf(int file)
{
    struct stat state {};
    ::fstat(file, &state);
    std::string content(static_cast<std::size_t>(state.st_size), '\0');
    const ssize_t got = ::pread(file, content.data(), content.size(), 0);
    content.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return content;
}

/// The strings in the form that execve() takes. They must outlive the result.
std::vector<char*> pointersTo(std::vector<std::string>& strings)
{
    std::vector<char*> pointers;
    pointers.reserve(strings.size() + 1);
    for (std::string& string : strings) {
        pointers.push_back(string.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

bool startsWith(const std::string& string, const std::string& start)
{
    return string.compare(0, start.size(), start) == 0;
}

std::vector<std::string> environmentOf(const Launch& launch)
{
    const auto isReplaced = [&launch](const std::string& entry) {
        for (const std::string& other : launch.environment) {
            if (startsWith(entry, other.substr(0, other.find('=') + 1))) {
                return true;
            }
        }
        return false;
    };
    std::vector<std::string> kept = launch.environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string variable = *entry;
        const bool inherited = launch.inheritsEnvironment
                                   ? !startsWith(variable, "CORVANE_") && !startsWith(variable, "CORVANED_")
                                   : startsWith(variable, "PATH=");
        if (inherited && !isReplaced(variable)) {
            kept.push_back(variable);
        }
    }
    return kept;
}

/// @param standard  descriptors that become the program's 0, 1 and 2
pid_t start(Launch& launch, const std::array<int, 3>& standard)
{
    ::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> arguments = {launch.program};
    arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<std::string> environment = environmentOf(launch);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int number = 0; number < 3; ++number) {
        posix_spawn_file_actions_adddup2(&actions, standard.at(static_cast<std::size_t>(number)), number);
    }
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    pid_t id = -1;
    const int error = ::posix_spawn(&id, launch.program.c_str(), &actions, &attributes, pointersTo(arguments).data(),
                                    pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        fail("cannot start " + launch.program, error);
    }
    return id;
}

/// Waits until a descriptor is ready. @return false after the deadline
bool awaitReady(int descriptor, short events, Clock::time_point deadline)
{
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd ready{descriptor, events, 0};
        const int count = left.count() > 0 ? ::poll(&ready, 1, static_cast<int>(left.count())) : 0;
        if (count >= 0 || errno != EINTR) {
            return count > 0;
        }
    }
}

/// @return false after the deadline; the program is still running then
bool awaitEnd(pid_t id, Clock::time_point deadline)
{
    // The wrapper in <sys/pidfd.h> of glibc 2.36 cannot be called from C++.
    const int process = static_cast<int>(::syscall(SYS_pidfd_open, id, 0));
    if (process < 0) {
        fail("cannot watch a process", errno);
    }
    const bool ended = awaitReady(process, POLLIN, deadline);
    ::close(process);
    return ended;
}

int reap(pid_t id)
{
    int status = 0;
    while (::waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace

ChildProcess::ChildProcess(Launch launch) : m_name(launch.program)
{
    const std::array<int, 2> input = openPipe();
    const std::array<int, 2> output = openPipe();
    m_input = input[1];
    m_output = output[0];
    m_errors = openMemory();
    try {
        m_id = start(launch, {input[0], output[1], m_errors});
    } catch (...) {
        for (const int descriptor : {input[0], input[1], output[0], output[1], m_errors}) {
            ::close(descriptor);
        }
        throw;
    }
    ::close(input[0]);
    ::close(output[1]);
    ::fcntl(m_input, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess()
{
    if (isRunning()) {
        signal(SIGKILL);
        reap(m_id);
    }
    closeInput();
    ::close(m_output);
    ::close(m_errors);
}

void ChildProcess::write(const std::string& input)
{
    const Clock::time_point deadline = Clock::now() + kProcessPatience;
    for (std::size_t done = 0; done < input.size();) {
        const ssize_t written = ::write(m_input, input.data() + done, input.size() - done);
        if (written > 0) {
            done += static_cast<std::size_t>(written);
        } else if (errno != EAGAIN) {
            fail("cannot write to " + m_name, errno);
        } else if (!awaitReady(m_input, POLLOUT, deadline)) {
            throw std::runtime_error(m_name + " does not read its input");
        }
    }
}

void ChildProcess::closeInput()
{
    if (m_input >= 0) {
        ::close(m_input);
    }
    m_input = -1;
}

bool ChildProcess::readMore(Clock::time_point deadline)
{
    if (!awaitReady(m_output, POLLIN, deadline)) {
        throw std::runtime_error(m_name + " did not write in time; so far: " + m_unread + errors());
    }
    std::array<char, 65536> buffer{};
    const ssize_t got = ::read(m_output, buffer.data(), buffer.size());
    if (got > 0) {
        m_unread.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return got > 0;
}

std::string ChildProcess::readLine(std::chrono::milliseconds patience)
{
    const Clock::time_point deadline = Clock::now() + patience;
    std::size_t end = m_unread.find('\n');
    while (end == std::string::npos && readMore(deadline)) {
        end = m_unread.find('\n');
    }
    const std::string line = m_unread.substr(0, end);
    m_unread.erase(0, end == std::string::npos ? end : end + 1);
    return line;
}

std::string ChildProcess::readAll(std::chrono::milliseconds patience)
{
    const Clock::time_point deadline = Clock::now() + patience;
    while (readMore(deadline)) {
    }
    return std::exchange(m_unread, {});
}

std::string ChildProcess::errors() const
{
    return contentOf(m_errors);
}

void ChildProcess::signal(int number) const
{
    if (isRunning()) {
        ::kill(m_id, number);
    }
}

int ChildProcess::wait(std::chrono::milliseconds patience)
{
    if (isRunning()) {
        if (!awaitEnd(m_id, Clock::now() + patience)) {
            signal(SIGKILL);
        }
        m_exitCode = reap(std::exchange(m_id, -1));
    }
    return m_exitCode;
}

ProcessResult runProcess(Launch launch, const std::string& input, std::chrono::milliseconds patience)
{
    // Files in memory hold any amount, so that neither side waits for the other.
    const int in = openMemory(input);
    const int out = openMemory();
    const int errors = openMemory();
    const pid_t id = start(launch, {in, out, errors});
    const bool ended = awaitEnd(id, Clock::now() + patience);
    if (!ended) {
        ::kill(id, SIGKILL);
    }
    ProcessResult result{reap(id), contentOf(out), contentOf(errors)};
    for (const int file : {in, out, errors}) {
        ::close(file);
    }
    if (!ended) {
        throw std::runtime_error(launch.program + " did not end in time: " + result.output + result.errors);
    }
    return result;
}

}  // namespace support
