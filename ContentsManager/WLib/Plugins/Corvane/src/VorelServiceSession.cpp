// The session with the service and the token that proves it.

#include "ProviderOptions.h"
#include "VorelService.h"

#include <openssl/sha.h>
#include <array>

namespace W {

using namespace vorel;

namespace {

using Lock = std::lock_guard<std::mutex>;

std::string hexOfSha1(const std::string& text)
{
    std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
    if (SHA1(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest.data()) == nullptr)
        throw std::bad_alloc();
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
    m_sToken.clear();
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
    if (m_sToken.empty() || secret != m_sTokenSecret) {
        m_sToken = m_session.getSessionID() + "+" + m_session.getUserID() + "+" +
                   hexOfSha1(m_session.getSeedKey() + "+" + secret);
        m_sTokenSecret = std::move(secret);
    }
    return m_sToken;
}

}  // namespace W
