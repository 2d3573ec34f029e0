// OpenSSL on blocking sockets, one connection at a time.
#include "TlsServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string_view>

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

struct TlsServer::Tls {
    std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>> context{SSL_CTX_new(TLS_server_method())};
};

TlsServer::TlsServer(const Certificate& wanted, const std::string& certificateFile)
    : m_pTls(std::make_unique<Tls>()), m_iListener(::socket(AF_INET, SOCK_STREAM, 0))
{
    const Key key(EVP_EC_gen("P-256"));
    const X509Certificate certificate = makeCertificate(wanted, key.get());
    std::FILE* const file = std::fopen(certificateFile.c_str(), "w");
    PEM_write_X509(file, certificate.get());
    std::fclose(file);
    SSL_CTX* const context = m_pTls->context.get();
    SSL_CTX_use_certificate(context, certificate.get());
    SSL_CTX_use_PrivateKey(context, key.get());
    SSL_CTX_set_alpn_select_cb(
        context,
        [](SSL*, const unsigned char**, unsigned char*, const unsigned char* offered, unsigned length, void* self) {
            const std::string_view protocols(reinterpret_cast<const char*>(offered), length);
            if (protocols.find("\x02h2") != std::string_view::npos)
                static_cast<TlsServer*>(self)->m_bOfferedHttp2 = true;
            return SSL_TLSEXT_ERR_NOACK;
        },
        this);

    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (::bind(m_iListener, any, length) != 0 || ::listen(m_iListener, 16) != 0 ||
        ::getsockname(m_iListener, any, &length) != 0)
        throw std::runtime_error("no port on the loopback address");
    m_iPort = ntohs(address.sin_port);
    m_acceptor = std::thread([this] { acceptAll(); });
}

TlsServer::~TlsServer()
{
    m_bStopping = true;
    ::shutdown(m_iListener, SHUT_RDWR);
    m_acceptor.join();
    ::close(m_iListener);
}

void TlsServer::acceptAll()
{
    // This thread only: what the executor does about broken connections is to be seen.
    sigset_t broken;
    sigemptyset(&broken);
    sigaddset(&broken, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &broken, nullptr);
    constexpr std::string_view kReply = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\nConnection: close\r\n\r\nsecret";
    while (!m_bStopping) {
        const int socket = ::accept(m_iListener, nullptr, nullptr);
        if (socket < 0)
            continue;
        const std::unique_ptr<SSL, Release<SSL_free>> tls(SSL_new(m_pTls->context.get()));
        SSL_set_fd(tls.get(), socket);
        char request[4096];
        if (SSL_accept(tls.get()) == 1 && SSL_read(tls.get(), request, sizeof request) > 0)
            SSL_write(tls.get(), kReply.data(), static_cast<int>(kReply.size()));
        SSL_shutdown(tls.get());
        ::close(socket);
    }
}

}  // namespace W::host
