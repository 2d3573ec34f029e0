// Starts programs for tests: feeds their input, reads their output, sends signals and waits, each with a deadline.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

/// The deadline of every wait, unless a call gives another one. It is long because sanitizers and emulators are slow.
inline constexpr std::chrono::seconds kProcessPatience{60};

/// The program to start and its environment.
struct Launch {
    std::string program;  ///< a path; not searched for in PATH
    std::vector<std::string> arguments;
    /// Further variables as "NAME=VALUE"; they replace inherited ones.
    std::vector<std::string> environment;
    /// Whether the test's own variables are inherited. CORVANE_* and CORVANED_* never are, because they are settings of
    /// the programs under test. Otherwise only PATH is.
    bool inheritsEnvironment = true;
};

/// A program started by a test. Its standard input and output are pipes; its standard error is kept in memory.
/// Killed by the destructor if it is still running. Not thread-safe, except signal().
class ChildProcess {
public:
    /// Ignores SIGPIPE in the test from now on, so that write() can report a reader that has ended. The program starts
    /// with the default action of all signals and with none blocked.
    /// @throws std::runtime_error if the program cannot be started
    explicit ChildProcess(Launch launch);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// @throws std::runtime_error if the program has closed its input or does not read in time
    void write(const std::string& input);
    void closeInput();

    /// The next line of the standard output, without its newline; at the end, the rest, possibly "".
    /// @throws std::runtime_error after the deadline
    std::string readLine(std::chrono::milliseconds patience = kProcessPatience);
    /// The rest of the standard output, up to the end of the program.
    /// @throws std::runtime_error after the deadline
    std::string readAll(std::chrono::milliseconds patience = kProcessPatience);
    /// The program's standard error so far.
    std::string errors() const;

    void signal(int number) const;
    /// Waits for the end. A program that is still running after the deadline is killed.
    /// @return the exit code, or minus the number of the signal that ended it
    int wait(std::chrono::milliseconds patience = kProcessPatience);
    bool isRunning() const { return m_id > 0; }
    pid_t id() const { return m_id; }

private:
    /// Appends what is available. @return false at the end of the output
    bool readMore(std::chrono::steady_clock::time_point deadline);

    std::string m_name;
    pid_t m_id = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;  ///< a file in memory
    int m_exitCode = -1;
    std::string m_unread;
};

struct ProcessResult {
    int exitCode;  ///< or minus the number of a signal
    std::string output;
    std::string errors;
};

/// Runs a program to its end. Input and output may have any size.
/// @throws std::runtime_error if it cannot be started or is still running after the deadline
ProcessResult runProcess(Launch launch, const std::string& input = "",
                         std::chrono::milliseconds patience = kProcessPatience);

}  // namespace support
