// SHA-1 and random strings. The session token is made with SHA-1; elsewhere SHA-1 only distinguishes strings. Every
// function throws std::runtime_error with OpenSSL's reason if OpenSSL refuses.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <openssl/evp.h>

namespace corvaned {

/// SHA-1 of the strings added, in order.
class Digest {
public:
    Digest();

    /// Adds a string together with its length, so that "ab","c" differs from "a","bc".
    void add(std::string_view string);
    void add(std::int64_t number);

    /// 40 lower-case hexadecimal digits; ends the digest.
    std::string hex();

private:
    void addBytes(const void* bytes, std::size_t count);

    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context;
};

using Sha1 = std::array<unsigned char, 20>;

/// SHA-1 of the bytes alone, without their length.
Sha1 sha1(std::string_view content);

/// Lower-case hexadecimal digits.
std::string hex(const unsigned char* bytes, std::size_t count);

/// Random hexadecimal digits, two per byte, from OpenSSL's generator for secrets.
std::string randomHex(std::size_t bytes);

}  // namespace corvaned
