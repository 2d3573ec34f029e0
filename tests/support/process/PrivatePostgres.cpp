#include "PrivatePostgres.h"

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <utility>
#include <vector>

#include <unistd.h>

#include "ChildProcess.h"

namespace support {
namespace {

constexpr const char* kHost = "CORVANE_TEST_POSTGRES_HOST";

std::string outputOf(std::vector<std::string> command)
{
    const std::string name = command.front();
    ProcessResult result = runProcess({"/usr/bin/env", std::move(command), {}});
    if (result.exitCode != 0) {
        throw std::runtime_error(name + ": " + result.errors);
    }
    if (!result.output.empty() && result.output.back() == '\n') {
        result.output.pop_back();
    }
    return std::move(result.output);
}

}  // namespace

bool isOnPostgres()
{
    return std::getenv(kHost) != nullptr;
}

std::string newPostgresDatabase()
{
    static std::atomic<int> s_number{0};
    const std::string host = std::getenv(kHost);
    const std::string name = "test" + std::to_string(::getpid()) + "_" + std::to_string(++s_number);
    outputOf({"createdb", "-h", host, "-U", "tester", name});
    return "postgresql://tester@/" + name + "?host=" + host;
}

std::string queryPostgres(const std::string& address, const std::string& sql)
{
    return outputOf({"psql", "--no-psqlrc", "--tuples-only", "--no-align", "--command", sql, address});
}

}  // namespace support
