// Sessions: auth/seedkey opens one. The token of every later request proves that its sender knows the session's seed
// key and the shared secret. Sessions are in the viewers' store, so they survive a restart.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "Clock.h"
#include "ViewerStore.h"

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

struct SessionLimits {
    std::int64_t lifetime = 86400;   // seconds until a session expires
    std::int64_t perDevice = 32;     // sessions; a new one ends the one that expires first
    std::int64_t newDevices = 1000;  // of one address, or of one IPv6 network of 64 bits, in an hour; 0: any number
};

/// Too many new devices have come from one client address within the hour.
class TooManyDevices : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Opens a session for a device.
/// @param address    of the client; the limit of new devices does not apply to this machine's own
/// @param removable  sessions that expired up to this moment are deleted
/// @throws TooManyDevices
ViewerSession openSession(ViewerStore& viewers, std::string_view device, std::string_view address, Instant now,
                          const SessionLimits& limits, Instant removable);

/// The token of a session: session, user and the SHA-1 of seed key, plus sign and secret, joined by plus signs.
std::string sessionToken(const ViewerSession& session, std::string_view secret);

/// Checks a token in constant time: the time does not reveal how much of it is right.
/// @param user  receives the session's user if the token is good, else unchanged
TokenCheck checkToken(ViewerStore& viewers, std::string_view token, std::string_view secret, Instant now,
                      std::string& user);

/// Checks tokens like checkToken(), and remembers the sessions that it has seen: it asks the store about a session at
/// most once a minute, and while the store is unavailable they stay good until they expire.  [any thread]
class SessionCheck {
public:
    explicit SessionCheck(ViewerStore& viewers) : m_viewers(viewers) {}

    /// @throws StoreUnavailable if the store is unavailable and the session was not seen before
    TokenCheck check(std::string_view token, std::string_view secret, Instant now, std::string& user);

private:
    struct Seen {
        ViewerSession session;
        std::chrono::steady_clock::time_point asked;
    };
    using Sessions = std::map<std::string, Seen, std::less<>>;

    std::optional<Seen> seen(std::string_view id);
    void keep(const ViewerSession& session);
    void forget(std::string_view id);

    ViewerStore& m_viewers;
    std::mutex m_lock;  // guards all below
    Sessions m_recent;
    Sessions m_earlier;  // the sessions of m_recent when it was full
};

/// Compares in constant time.
bool sameSecret(std::string_view left, std::string_view right);

}  // namespace corvaned
