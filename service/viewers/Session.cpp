#include "Session.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/crypto.h>

#include "Digest.h"

namespace corvaned {
namespace {

constexpr std::size_t kKeyBytes = 16;

// Each device is one user. The user id does not reveal the device's name.
std::string userOf(std::string_view device)
{
    const Sha1 digest = sha1(std::string("device ").append(device));
    return hex(digest.data(), kKeyBytes);
}

// The key under which the limit of new devices counts an address; empty for this machine's own addresses.
std::string countedAddress(std::string_view address)
{
    in6_addr six{};
    in_addr four{};
    const std::string text(address);
    if (::inet_pton(AF_INET, text.c_str(), &four) == 1) {
        constexpr std::uint32_t kLoopback = 127;
        return ntohl(four.s_addr) >> 24 == kLoopback ? "" : text;
    }
    if (::inet_pton(AF_INET6, text.c_str(), &six) != 1 || IN6_IS_ADDR_LOOPBACK(&six)) {
        return "";
    }
    constexpr std::size_t kNetwork = 8;
    return hex(six.s6_addr, kNetwork);
}

// Counts a device that has no session yet.
void countArrival(SqlConnection& connection, const std::string& user, const std::string& address, Instant now,
                  std::int64_t most)
{
    constexpr Instant kHour = 3600;
    if (SqlQuery(connection, "SELECT 1 AS one FROM session WHERE user_id = ? LIMIT 1").bind(user).next()) {
        return;
    }
    SqlQuery(connection, "DELETE FROM arrival WHERE hour < ?").bind(now / kHour).run();
    SqlQuery(connection,
             "INSERT INTO arrival (address, hour, devices) VALUES (?, ?, 1) "
             "ON CONFLICT (address, hour) DO UPDATE SET devices = arrival.devices + 1")
        .bind(address, now / kHour)
        .run();
    SqlQuery count(connection, "SELECT devices FROM arrival WHERE address = ? AND hour = ?");
    if (count.bind(address, now / kHour).next() && count.number("devices") > most) {
        throw TooManyDevices("this address has brought too many new devices; try again in an hour");
    }
}

std::string_view sessionIdOf(std::string_view token)
{
    return token.substr(0, token.find('+'));
}

std::optional<ViewerSession> findSession(ViewerStore& viewers, std::string_view id)
{
    std::optional<ViewerSession> session;
    viewers.read([&](SqlConnection& connection) {
        session.reset();
        SqlQuery row(connection, "SELECT id, user_id, seedkey, expires FROM session WHERE id = ?");
        if (row.bind(id).next()) {
            session = {std::string(row.text("id")), std::string(row.text("user_id")), std::string(row.text("seedkey")),
                       row.number("expires")};
        }
    });
    return session;
}

bool isTokenForm(std::string_view token)
{
    const std::size_t first = token.find('+');
    const std::size_t second = first == std::string_view::npos ? first : token.find('+', first + 1);
    return second != std::string_view::npos && token.size() - second - 1 == 2 * sizeof(Sha1);
}

TokenCheck compare(const std::optional<ViewerSession>& session, std::string_view token, std::string_view secret,
                   Instant now, std::string& user)
{
    if (!session || session->expires <= now) {
        return TokenCheck::Unknown;
    }
    if (!sameSecret(token, sessionToken(*session, secret))) {
        return TokenCheck::Wrong;
    }
    user = session->user;
    return TokenCheck::Good;
}

}  // namespace

ViewerSession openSession(ViewerStore& viewers, std::string_view device, std::string_view address, Instant now,
                          const SessionLimits& limits, Instant removable)
{
    const ViewerSession session{randomHex(kKeyBytes), userOf(device), randomHex(kKeyBytes), now + limits.lifetime};
    const std::string counted = limits.newDevices > 0 ? countedAddress(address) : "";
    viewers.write([&](SqlConnection& connection) {
        connection.lockUser(session.user);
        if (!counted.empty()) {
            countArrival(connection, session.user, counted, now, limits.newDevices);
        }
        SqlQuery(connection, "DELETE FROM session WHERE expires <= ?").bind(removable).run();
        SqlQuery(connection, R"sql(
            DELETE FROM session WHERE user_id = ?1 AND id NOT IN (
                SELECT id FROM session WHERE user_id = ?1 ORDER BY expires DESC, id LIMIT ?2)
        )sql")
            .bind(session.user, limits.perDevice - 1)
            .run();
        SqlQuery(connection, "INSERT INTO session (id, user_id, seedkey, expires) VALUES (?, ?, ?, ?)")
            .bind(session.id, session.user, session.seedkey, session.expires)
            .run();
    });
    return session;
}

std::string sessionToken(const ViewerSession& session, std::string_view secret)
{
    const Sha1 digest = sha1(std::string(session.seedkey).append("+").append(secret));
    return session.id + "+" + session.user + "+" + hex(digest.data(), digest.size());
}

TokenCheck checkToken(ViewerStore& viewers, std::string_view token, std::string_view secret, Instant now,
                      std::string& user)
{
    return isTokenForm(token) ? compare(findSession(viewers, sessionIdOf(token)), token, secret, now, user)
                              : TokenCheck::Malformed;
}

TokenCheck SessionCheck::check(std::string_view token, std::string_view secret, Instant now, std::string& user)
{
    constexpr std::chrono::seconds kTrusted{60};
    if (!isTokenForm(token)) {
        return TokenCheck::Malformed;
    }
    const std::string_view id = sessionIdOf(token);
    const std::optional<Seen> known = seen(id);
    if (known && std::chrono::steady_clock::now() - known->asked < kTrusted) {
        return compare(known->session, token, secret, now, user);
    }
    std::optional<ViewerSession> session;
    try {
        session = findSession(m_viewers, id);
    } catch (const StoreUnavailable&) {
        if (!known) {
            throw;
        }
        return compare(known->session, token, secret, now, user);
    }
    const TokenCheck result = compare(session, token, secret, now, user);
    // Keeps only sessions with a correct token, so that guesses take no memory.
    if (result == TokenCheck::Good) {
        keep(*session);
    } else if (known) {
        forget(id);
    }
    return result;
}

std::optional<SessionCheck::Seen> SessionCheck::seen(std::string_view id)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const Sessions* const sessions : {&m_recent, &m_earlier}) {
        if (const auto found = sessions->find(id); found != sessions->end()) {
            return found->second;
        }
    }
    return std::nullopt;
}

void SessionCheck::keep(const ViewerSession& session)
{
    constexpr std::size_t kMost = 20'000;  // in each of the two; some 10 MiB in all
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_recent.size() >= kMost) {
        m_earlier = std::move(m_recent);
        m_recent.clear();
    }
    m_recent[session.id] = {session, std::chrono::steady_clock::now()};
}

void SessionCheck::forget(std::string_view id)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_recent.erase(std::string(id));
    m_earlier.erase(std::string(id));
}

bool sameSecret(std::string_view left, std::string_view right)
{
    // Arguments live until this returns, including temporaries. cppcheck-suppress danglingTemporaryLifetime
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace corvaned
