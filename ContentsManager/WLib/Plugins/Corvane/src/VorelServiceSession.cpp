// The session with the service, and the token that requests send.

#include "VorelService.h"

#include <array>
#include <stdexcept>

#include <openssl/sha.h>

#include "ProviderOptions.h"

namespace W {

using namespace vorel;

namespace {

using Lock = std::lock_guard<std::mutex>;

std::string hexOfSha1(const std::string& text)
{
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // These three functions allocate no memory. Their successors do, for every token, and if that fails, they leave
    // entries in the thread's error queue, where the host's TLS code looks for its errors.
    SHA_CTX context;
    if (SHA1_Init(&context) != 1 || SHA1_Update(&context, text.data(), text.size()) != 1 ||
        SHA1_Final(digest.data(), &context) != 1) {
        CCDebug::Print<CWCCDebug>(kErrorLevel, kPlain, "[%s:%d] cannot make the session token: OpenSSL refuses SHA-1",
                                  "getSessionToken", __LINE__);
        throw std::runtime_error("OpenSSL refuses SHA-1");
    }
#pragma GCC diagnostic pop
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * digest.size());
    for (const unsigned char byte : digest) {
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 0xF];
    }
    return hex;
}

}  // namespace

void VorelService::setSessionInfo(const WVLSession& session)
{
    WVLSession replacement = session;
    const Lock hold(m_sessionLock);
    std::swap(m_session, replacement);
    m_token.clear();
}

bool VorelService::IsAvailableSession()
{
    const Lock hold(m_sessionLock);
    return !m_session.getSessionID().empty() && !m_session.getSeedKey().empty();
}

std::string VorelService::getSessionToken(const WContentProvider& provider)
{
    std::string secret = readOption(provider, SecretKey);
    const Lock hold(m_sessionLock);
    if (m_token.empty() || secret != m_tokenSecret) {
        m_token = m_session.getSessionID() + "+" + m_session.getUserID() + "+" +
                  hexOfSha1(m_session.getSeedKey() + "+" + secret);
        m_tokenSecret = std::move(secret);
    }
    return m_token;
}

}  // namespace W
