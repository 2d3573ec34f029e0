#include "Digest.h"

#include <openssl/rand.h>

#include <new>
#include <stdexcept>
#include <vector>

namespace corvaned {

Digest::Digest() : m_context(EVP_MD_CTX_new(), &EVP_MD_CTX_free)
{
    if (!m_context || EVP_DigestInit_ex(m_context.get(), EVP_sha1(), nullptr) != 1) {
        throw std::bad_alloc();
    }
}

void Digest::add(std::string_view text)
{
    add(static_cast<std::int64_t>(text.size()));
    EVP_DigestUpdate(m_context.get(), text.data(), text.size());
}

void Digest::add(std::int64_t number)
{
    EVP_DigestUpdate(m_context.get(), &number, sizeof number);
}

std::string Digest::hex()
{
    Sha1 bytes{};
    EVP_DigestFinal_ex(m_context.get(), bytes.data(), nullptr);
    return corvaned::hex(bytes.data(), bytes.size());
}

Sha1 sha1(std::string_view text)
{
    Sha1 bytes{};
    if (EVP_Digest(text.data(), text.size(), bytes.data(), nullptr, EVP_sha1(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    return bytes;
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
        throw std::runtime_error("the system gives no random numbers");
    }
    return hex(random.data(), random.size());
}

}  // namespace corvaned
