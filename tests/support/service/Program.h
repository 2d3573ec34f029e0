// The program corvaned itself, started by a test: its standard output is a pipe, its standard error a file.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Store.h"
#include "TestSupport.h"

namespace corvaned::test {

/// A run of the program; killed, if it still runs, at the end of the object's life.
class Program {
public:
    explicit Program(std::vector<std::string> arguments)
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("pipe");
        }
        m_output = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errorFile().c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                         0600);
        arguments.insert(arguments.begin(), CORVANED_PROGRAM);
        std::vector<char*> argv;
        argv.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        if (posix_spawn(&m_pid, CORVANED_PROGRAM, &actions, nullptr, argv.data(), environ) != 0) {
            throw std::runtime_error("spawn");
        }
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program()
    {
        close(m_output);
        if (m_pid != 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }

    /// The next line of its standard output.
    std::string readLine()
    {
        std::string line;
        char c = 0;
        while (read(m_output, &c, 1) == 1 && c != '\n') {
            line += c;
        }
        return line;
    }

    /// What is left of its standard output; comes back when the program ends.
    std::string readAll()
    {
        std::string text;
        char c = 0;
        while (read(m_output, &c, 1) == 1) {
            text += c;
        }
        return text;
    }

    /// SIGKILL and others.
    void signal(int number) const { kill(m_pid, number); }

    /// The exit code; -1 where a signal ended it.
    int wait()
    {
        int status = 0;
        waitpid(std::exchange(m_pid, 0), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    /// What it has written to its standard error.
    std::string errors() const { return readFile(errorFile()); }

private:
    std::string errorFile() const { return m_folder.path() + ".stderr"; }

    TemporaryDatabase m_folder;
    int m_output = -1;
    pid_t m_pid = 0;
};

}  // namespace corvaned::test
