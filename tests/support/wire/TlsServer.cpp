// OpenSSL on the blocking sockets of RawServer.
#include "TlsServer.h"

#include <csignal>
#include <cstdio>
#include <memory>
#include <string_view>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace W::host {

namespace {

template <auto Free>
struct Release {
    template <class Object>
    void operator()(Object* object) const
    {
        Free(object);
    }
};
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using X509Certificate = std::unique_ptr<X509, Release<X509_free>>;

X509Certificate makeCertificate(const Certificate& wanted, EVP_PKEY* key)
{
    constexpr long kDay = 86400;
    X509Certificate certificate(X509_new());
    X509_set_version(certificate.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), wanted.validSeconds);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    const std::string alternative = "IP:" + wanted.address;
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, alternative.c_str());
    X509_add_ext(certificate.get(), extension, -1);
    X509_EXTENSION_free(extension);
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

}  // namespace

TlsIdentity::TlsIdentity(const Certificate& wanted, const std::string& certificateFile)
    : m_context(SSL_CTX_new(TLS_server_method()))
{
    const Key key(EVP_EC_gen("P-256"));
    const X509Certificate certificate = makeCertificate(wanted, key.get());
    std::FILE* const file = std::fopen(certificateFile.c_str(), "w");
    PEM_write_X509(file, certificate.get());
    std::fclose(file);
    SSL_CTX_use_certificate(m_context, certificate.get());
    SSL_CTX_use_PrivateKey(m_context, key.get());
}

TlsIdentity::~TlsIdentity()
{
    SSL_CTX_free(m_context);
}

TlsConnection::TlsConnection(const TlsIdentity& identity, int socket) : m_tls(SSL_new(identity.context()))
{
    sigset_t broken;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken, nullptr);
    SSL_set_fd(m_tls, socket);
}

TlsConnection::~TlsConnection()
{
    SSL_shutdown(m_tls);
    SSL_free(m_tls);
}

int TlsConnection::shakeHands()
{
    ERR_clear_error();
    if (SSL_accept(m_tls) == 1) {
        return 0;
    }
    const int reason = ERR_GET_REASON(ERR_get_error());
    return reason > SSL_AD_REASON_OFFSET ? reason - SSL_AD_REASON_OFFSET : -1;
}

ssize_t TlsConnection::read(char* to, std::size_t room)
{
    return SSL_read(m_tls, to, static_cast<int>(room));
}

void TlsConnection::write(std::string_view bytes)
{
    SSL_write(m_tls, bytes.data(), static_cast<int>(bytes.size()));
}

TlsServer::TlsServer(const Certificate& certificate, const std::string& certificateFile)
    : m_identity(certificate, certificateFile),
      m_server([this](RawServer::RawConnection& connection) { serve(connection); })
{
    SSL_CTX_set_alpn_select_cb(
        m_identity.context(),
        [](SSL*, const unsigned char**, unsigned char*, const unsigned char* offered, unsigned length, void* self) {
            const std::string_view protocols(reinterpret_cast<const char*>(offered), length);
            if (protocols.find("\x02h2") != std::string_view::npos) {
                static_cast<TlsServer*>(self)->m_offeredHttp2 = true;
            }
            return SSL_TLSEXT_ERR_NOACK;
        },
        this);
}

void TlsServer::serve(RawServer::RawConnection& connection) const
{
    constexpr std::string_view kReply = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\nConnection: close\r\n\r\nsecret";
    TlsConnection tls(m_identity, connection.socket());
    char request[4096];
    if (tls.shakeHands() == 0 && tls.read(request, sizeof request) > 0) {
        tls.write(kReply);
    }
}

}  // namespace W::host
