// Runs the command `corvane` to its end.
#pragma once

#include <algorithm>
#include <string>

#include "ChildProcess.h"
#include "Scratch.h"

namespace W::host {

using Outcome = support::ProcessResult;

/// Runs the command without the personal configuration of the developer.
/// @param arguments    as a shell reads them
/// @param environment  one further variable, as in "TZ=UTC0"
inline Outcome corvane(const std::string& arguments, const std::string& input = "", const std::string& environment = "")
{
    support::Launch launch{"/bin/sh", {"-c", std::string(CORVANE) + " " + arguments}, {}, false};
    launch.environment = {"XDG_CONFIG_HOME=/nonexistent"};
    if (!environment.empty()) {
        launch.environment.push_back(environment);
    }
    return support::runProcess(launch, input);
}

inline long lineCount(const std::string& text)
{
    return std::count(text.begin(), text.end(), '\n');
}

}  // namespace W::host
