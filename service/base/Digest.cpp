#include "Digest.h"

#include <stdexcept>
#include <vector>

#include <openssl/err.h>
#include <openssl/rand.h>

namespace corvaned {
namespace {

// A configuration of OpenSSL may refuse SHA-1.
[[noreturn]] void fail()
{
    std::array<char, 256> reason{};
    ERR_error_string_n(ERR_get_error(), reason.data(), reason.size());
    throw std::runtime_error(std::string("cannot compute SHA-1: ") + reason.data());
}

}  // namespace

Digest::Digest() : m_context(EVP_MD_CTX_new(), &EVP_MD_CTX_free)
{
    if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha1(), nullptr) != 1) {
        fail();
    }
}

void Digest::add(std::string_view string)
{
    add(static_cast<std::int64_t>(string.size()));
    addBytes(string);
}

void Digest::add(std::int64_t number)
{
    // Lowest byte first on every machine, so that checksums kept in a database stay valid on another one.
    std::array<char, sizeof number> bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<char>(static_cast<std::uint64_t>(number) >> (8 * i));
    }
    addBytes({bytes.data(), bytes.size()});
}

void Digest::addBytes(std::string_view bytes)
{
    if (bytes.size() > m_pending.size() - m_pendingSize) {
        flush();
    }
    if (bytes.size() > m_pending.size()) {
        if (EVP_DigestUpdate(m_context.get(), bytes.data(), bytes.size()) != 1) {
            fail();
        }
        return;
    }
    m_pendingSize += bytes.copy(m_pending.data() + m_pendingSize, bytes.size());
}

void Digest::flush()
{
    if (EVP_DigestUpdate(m_context.get(), m_pending.data(), m_pendingSize) != 1) {
        fail();
    }
    m_pendingSize = 0;
}

Sha1 Digest::finish()
{
    flush();
    Sha1 bytes{};
    if (EVP_DigestFinal_ex(m_context.get(), bytes.data(), nullptr) != 1 ||
        EVP_DigestInit_ex(m_context.get(), nullptr, nullptr) != 1) {
        fail();
    }
    return bytes;
}

std::string Digest::hex()
{
    const Sha1 bytes = finish();
    return corvaned::hex(bytes.data(), bytes.size());
}

Sha1 sha1(std::string_view content)
{
    Digest digest;
    digest.addBytes(content);
    return digest.finish();
}

std::string hex(const unsigned char* bytes, std::size_t count)
{
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 15];
    }
    return text;
}

std::string randomHex(std::size_t bytes)
{
    std::vector<unsigned char> random(bytes);
    if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
        throw std::runtime_error("cannot get random numbers from OpenSSL");
    }
    return hex(random.data(), random.size());
}

}  // namespace corvaned
