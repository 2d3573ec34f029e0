#include "Session.h"

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

}  // namespace

ViewerSession openSession(sqlite::Connection& connection, std::string_view device, Instant now, std::int64_t lifetime)
{
    ViewerSession session{randomHex(kKeyBytes), userOf(device), randomHex(kKeyBytes), now + lifetime};
    sqlite::Transaction transaction(connection, sqlite::Transaction::Kind::Write);
    sqlite::Query(connection, "DELETE FROM session WHERE expires <= ?").bind(now).run();
    sqlite::Query(connection, "INSERT INTO session VALUES (?, ?, ?, ?)")
        .bind(session.id, session.user, session.seedkey, session.expires)
        .run();
    transaction.commit();
    return session;
}

std::string sessionToken(const ViewerSession& session, std::string_view secret)
{
    const Sha1 digest = sha1(std::string(session.seedkey).append("+").append(secret));
    return session.id + "+" + session.user + "+" + hex(digest.data(), digest.size());
}

TokenCheck checkToken(sqlite::Connection& connection, std::string_view token, std::string_view secret, Instant now,
                      std::string& user)
{
    const std::size_t first = token.find('+');
    const std::size_t second = first == std::string_view::npos ? first : token.find('+', first + 1);
    if (second == std::string_view::npos || token.size() - second - 1 != 2 * sizeof(Sha1)) {
        return TokenCheck::Malformed;
    }
    sqlite::Query row(connection, "SELECT id, user_id, seedkey FROM session WHERE id = ? AND expires > ?");
    if (!row.bind(token.substr(0, first), now).next()) {
        return TokenCheck::Unknown;
    }
    const ViewerSession session{std::string(row.text("id")), std::string(row.text("user_id")),
                                std::string(row.text("seedkey")), 0};
    if (!sameSecret(token, sessionToken(session, secret))) {
        return TokenCheck::Wrong;
    }
    user = session.user;
    return TokenCheck::Good;
}

bool sameSecret(std::string_view left, std::string_view right)
{
    // Arguments live until this returns, including temporaries. cppcheck-suppress danglingTemporaryLifetime
    return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace corvaned
