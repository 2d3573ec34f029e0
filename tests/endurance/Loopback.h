// Between a test program and the C library: names are looked up as the test says, attempts to connect are counted, and
// nothing goes beyond the loopback address. It works by defining getaddrinfo() and connect() in the program, which has
// to export its symbols: then libcurl calls these.
#pragma once

#include <cstddef>
#include <string>

namespace W::test {

enum class LookUp {
    NotFound,  ///< there is no such name
    Hangs,     ///< no answer, until there is another one
    Loopback,  ///< 127.0.0.1
};

/// Says what becomes of look-ups of a name from now on. One that hangs gets the new answer.  [any thread]
void setLookUp(const std::string& name, LookUp answer);

/// How many look-ups of a name were not found, or hang or have hung.  [any thread]
std::size_t failedLookUps(const std::string& name);

/// How often the process has tried to connect to a port of the loopback address.  [any thread]
std::size_t attemptsToConnect(int port);

/// How many connections to a port of the loopback address wait at this moment for the first answer of the other side,
/// by what the system says.  [any thread]
std::size_t unansweredAttempts(int port);

/// Look-ups of names that nobody has set, and attempts to connect to other machines: both fail.  [any thread]
std::size_t attemptsToLeave();

}  // namespace W::test
