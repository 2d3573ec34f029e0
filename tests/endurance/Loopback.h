// Replaces getaddrinfo() and connect() in a test program: the test decides how names are looked up, attempts to connect
// are counted, and nothing leaves the loopback address. The program must export its symbols, so that libcurl calls
// these functions.
#pragma once

#include <cstddef>
#include <string>

namespace W::test {

enum class LookUp {
    NotFound,  ///< there is no such name
    Hangs,     ///< no answer until setLookUp() is called again
    Loopback,  ///< 127.0.0.1
};

/// Sets the answer to look-ups of a name. Look-ups that hang get the new answer.  [any thread]
void setLookUp(const std::string& name, LookUp answer);

/// Number of look-ups of a name that failed, hang or have hung.  [any thread]
std::size_t failedLookUps(const std::string& name);

/// Number of attempts of the process to connect to a port of the loopback address.  [any thread]
std::size_t attemptsToConnect(int port);

/// Number of connections to a port of the loopback address that wait for the first answer of the other side, according
/// to the system.  [any thread]
std::size_t unansweredAttempts(int port);

/// Number of look-ups of names without an answer and of attempts to connect to other machines. Both fail.  [any thread]
std::size_t attemptsToLeave();

}  // namespace W::test
