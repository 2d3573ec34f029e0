// SHA-1 and random texts. SHA-1 is what the session token is made of; elsewhere it only tells texts apart.
#pragma once

#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace corvaned {

/// SHA-1 of the texts added, in order.
class Digest {
public:
    Digest();

    /// Adds a text together with its length, so that "ab","c" differs from "a","bc".
    void add(std::string_view text);
    void add(std::int64_t number);

    /// 40 lower-case hexadecimal digits; ends the digest.
    std::string hex();

private:
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context;
};

using Sha1 = std::array<unsigned char, 20>;

/// SHA-1 of the bytes of text alone.
Sha1 sha1(std::string_view text);

/// Lower-case hexadecimal digits.
std::string hex(const unsigned char* bytes, std::size_t count);

/// Twice `bytes` hexadecimal digits that nobody can guess.
std::string randomHex(std::size_t bytes);

}  // namespace corvaned
