// The program `corvaned`, started by a test.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"

namespace corvaned::test {

/// A run of the program; killed by the destructor if it is still running.
class ServiceProgram : public support::ChildProcess {
public:
    explicit ServiceProgram(std::vector<std::string> arguments)
        : ChildProcess(support::Launch{CORVANED_PROGRAM, std::move(arguments), {}})
    {
        closeInput();
    }
};

}  // namespace corvaned::test
