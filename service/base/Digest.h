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

using Sha1 = std::array<unsigned char, 20>;

/// SHA-1 of what is added, in order.
class Digest {
public:
    Digest();

    /// Adds a string together with its length, so that "ab","c" differs from "a","bc".
    void add(std::string_view string);
    void add(std::int64_t number);

    /// Adds the bytes alone, without their length.
    void addBytes(std::string_view bytes);

    /// Ends the digest and begins the next one.
    Sha1 finish();

    /// The same as 40 lower-case hexadecimal digits.
    std::string hex();

private:
    void flush();

    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> m_context;
    std::array<char, 256> m_pending{};  // OpenSSL takes longer for a call than for the few bytes of one value
    std::size_t m_pendingSize = 0;
};

/// SHA-1 of the bytes alone, without their length.
Sha1 sha1(std::string_view content);

/// Lower-case hexadecimal digits.
std::string hex(const unsigned char* bytes, std::size_t count);

/// Random hexadecimal digits, two per byte, from OpenSSL's generator for secrets.
std::string randomHex(std::size_t bytes);

}  // namespace corvaned
