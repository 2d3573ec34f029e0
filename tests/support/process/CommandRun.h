// The command corvane, run to its end by a shell.
#pragma once

#include "Scratch.h"

#include <fmt/format.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace W::host {

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

/// Runs the command with nothing of the tester's own configuration.
/// @param environment  further variables, as "TZ=UTC0"
inline Outcome corvane(const std::string& arguments, const std::string& input = "", const std::string& environment = "")
{
    const ScratchDirectory scratch;
    const std::string command =
        fmt::format("env -i PATH=\"$PATH\" XDG_CONFIG_HOME={} {} {} {} <{} >{} 2>{}", scratch.file("none"), environment,
                    CORVANE, arguments, scratch.write("in", input), scratch.file("out"), scratch.file("err"));
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(scratch.file("out")), readFile(scratch.file("err"))};
}

inline long lineCount(const std::string& text)
{
    return std::count(text.begin(), text.end(), '\n');
}

}  // namespace W::host
