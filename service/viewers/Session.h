// Sessions: auth/seedkey opens one. The token of every later request proves that its sender knows the session's seed
// key and the shared secret. Sessions are in the database, so they survive a restart.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Clock.h"
#include "Sqlite.h"

namespace corvaned {

struct ViewerSession {
    std::string id;
    std::string user;  // always the same for one device
    std::string seedkey;
    Instant expires = 0;
};

/// The result of a token's check.
enum class TokenCheck {
    Good,
    Malformed,  // not "session+user+40 hexadecimal digits"
    Unknown,    // no such session, or it has expired
    Wrong,      // the session exists, but the user or the digest is wrong
};

/// Opens a session for a device and deletes those that have expired.
/// @param lifetime  seconds until it expires
ViewerSession openSession(sqlite::Connection& connection, std::string_view device, Instant now, std::int64_t lifetime);

/// The token of a session: session, user and the SHA-1 of seed key, plus sign and secret, joined by plus signs.
std::string sessionToken(const ViewerSession& session, std::string_view secret);

/// Checks a token in constant time: the time does not reveal how much of it is right.
/// @param user  receives the session's user if the token is good, else unchanged
TokenCheck checkToken(sqlite::Connection& connection, std::string_view token, std::string_view secret, Instant now,
                      std::string& user);

/// Compares in constant time.
bool sameSecret(std::string_view left, std::string_view right);

}  // namespace corvaned
