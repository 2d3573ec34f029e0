#include "TlsContext.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/evp.h>

namespace http {
namespace {

constexpr int kLeastRsaBits = 2048;
// TLS 1.3 has AEAD suites only; OpenSSL's own list of them is used.
constexpr const char* kSuites12 =
    "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-RSA-AES128-GCM-SHA256:ECDHE-ECDSA-CHACHA20-POLY1305:"
    "ECDHE-RSA-CHACHA20-POLY1305:ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384";

void requireReadable(const std::string& path, const char* what)
{
    errno = 0;
    if (std::error_code failed; std::filesystem::is_directory(path, failed) || !std::ifstream(path)) {
        throw HttpSetupError(
            fmt::format("cannot read {} {}: {}", what, path, std::strerror(errno != 0 ? errno : EISDIR)));
    }
}

// Selects HTTP/1.1 if the client offers it (ALPN, RFC 7301).
int chooseProtocol(SSL* /*session*/, const unsigned char** chosen, unsigned char* chosenSize,
                   const unsigned char* offered, unsigned int offeredSize, void* /*unused*/)
{
    constexpr std::string_view kHttp("\x08http/1.1", 9);
    unsigned char* found = nullptr;
    if (SSL_select_next_proto(&found, chosenSize, reinterpret_cast<const unsigned char*>(kHttp.data()), kHttp.size(),
                              offered, offeredSize) != OPENSSL_NPN_NEGOTIATED) {
        return SSL_TLSEXT_ERR_NOACK;
    }
    *chosen = found;
    return SSL_TLSEXT_ERR_OK;
}

}  // namespace

TlsContext::TlsContext(TlsFiles files) : m_files(std::move(files)), m_context(read(m_files)) {}

TlsContext::Context TlsContext::read(const TlsFiles& files)
{
    requireReadable(files.certificate, "certificate");
    requireReadable(files.key, "key");
    Context context(SSL_CTX_new(TLS_server_method()), &SSL_CTX_free);
    if (!context) {
        throw HttpSetupError("cannot use TLS: " + tlsFailure());
    }
    SSL_CTX* const raw = context.get();
    SSL_CTX_set_min_proto_version(raw, TLS1_2_VERSION);
    SSL_CTX_set_cipher_list(raw, kSuites12);
    SSL_CTX_set_options(raw, SSL_OP_CIPHER_SERVER_PREFERENCE | SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION |
                                 SSL_OP_IGNORE_UNEXPECTED_EOF);
    // Releasing its buffers reduces the memory of an idle connection to a third.
    SSL_CTX_set_mode(raw,
                     SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_session_cache_mode(raw, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(raw, 1);
    SSL_CTX_set_alpn_select_cb(raw, &chooseProtocol, nullptr);
    // The size of the key is checked below, with its own message.
    SSL_CTX_set_security_level(raw, 1);
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(raw, files.certificate.c_str()) != 1 ||
        SSL_CTX_use_PrivateKey_file(raw, files.key.c_str(), SSL_FILETYPE_PEM) != 1 ||
        SSL_CTX_check_private_key(raw) != 1) {
        throw HttpSetupError(
            fmt::format("cannot use certificate {} with key {}: {}; both must be PEM and belong together",
                        files.certificate, files.key, tlsFailure()));
    }
    EVP_PKEY* const key = SSL_CTX_get0_privatekey(raw);
    if (EVP_PKEY_is_a(key, "RSA") == 1 && EVP_PKEY_get_bits(key) < kLeastRsaBits) {
        throw HttpSetupError(fmt::format("the RSA key {} has {} bits, which is too weak; make one of at least {} bits",
                                         files.key, EVP_PKEY_get_bits(key), kLeastRsaBits));
    }
    SSL_CTX_set_security_level(raw, 2);
    return context;
}

void TlsContext::reload()
{
    Context fresh = read(m_files);
    const std::lock_guard<std::mutex> lock(m_lock);
    m_context = std::move(fresh);
}

TlsSession TlsContext::newSession()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    ERR_clear_error();
    TlsSession session(SSL_new(m_context.get()), &SSL_free);
    if (!session) {
        throw std::runtime_error("cannot use TLS: " + tlsFailure());
    }
    return session;
}

}  // namespace http
