// TLS: versions, suites, certificates, and slow or silent handshakes.
#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>

#include <dlfcn.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "TestServer.h"
#include "WebClient.h"

namespace {

std::atomic<bool> failSessions{false};

}  // namespace

// Replaces OpenSSL's function in this program.
extern "C" SSL* SSL_new(SSL_CTX* context)
{
    if (failSessions) {
        ERR_raise(ERR_LIB_SSL, SSL_R_LIBRARY_HAS_NO_CIPHERS);
        return nullptr;
    }
    static const auto s_original = reinterpret_cast<SSL* (*)(SSL_CTX*)>(dlsym(RTLD_NEXT, "SSL_new"));
    return s_original(context);
}

namespace http {
namespace {

using std::chrono::seconds;
using test::RawClient;
using test::TestServer;
using test::WebClient;
using ::testing::AllOf;
using ::testing::HasSubstr;

// A folder with certificates, removed at the end.
class Certificates {
public:
    Certificates()
    {
        char name[] = "/tmp/certificates_XXXXXX";
        m_folder = mkdtemp(name);
    }
    Certificates(const Certificates&) = delete;
    Certificates& operator=(const Certificates&) = delete;
    ~Certificates() { std::filesystem::remove_all(m_folder); }

    std::string file(const std::string& name) const { return m_folder + "/" + name; }

    /// Writes a self-signed certificate and its key.
    TlsFiles make(const std::string& name, EVP_PKEY* key, long serial = 1) const
    {
        TlsFiles files{file("cert.pem"), file("key.pem")};
        X509* const certificate = X509_new();
        X509_set_version(certificate, 2);
        ASN1_INTEGER_set(X509_get_serialNumber(certificate), serial);
        X509_gmtime_adj(X509_getm_notBefore(certificate), 0);
        X509_gmtime_adj(X509_getm_notAfter(certificate), 3600);
        X509_set_pubkey(certificate, key);
        X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
        X509_set_issuer_name(certificate, X509_get_subject_name(certificate));
        X509_sign(certificate, key, EVP_sha256());
        std::FILE* stream = std::fopen(files.certificate.c_str(), "w");
        PEM_write_X509(stream, certificate);
        std::fclose(stream);
        stream = std::fopen(files.key.c_str(), "w");
        PEM_write_PrivateKey(stream, key, nullptr, nullptr, 0, nullptr, nullptr);
        std::fclose(stream);
        X509_free(certificate);
        EVP_PKEY_free(key);
        return files;
    }

    TlsFiles rsa(unsigned int bits = 2048, long serial = 1) const
    {
        return make("localhost", EVP_RSA_gen(bits), serial);
    }

private:
    std::string m_folder;
};

struct Handshake {
    bool done = false;
    std::string version;
    std::string suite;
    long serial = 0;
};

// Makes a handshake with limited versions and suites.
Handshake shake(int port, int least, int most, const char* suites = "ALL:@SECLEVEL=0")
{
    const std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)> context(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    SSL_CTX_set_min_proto_version(context.get(), least);
    SSL_CTX_set_max_proto_version(context.get(), most);
    SSL_CTX_set_cipher_list(context.get(), suites);
    const std::unique_ptr<SSL, void (*)(SSL*)> session(SSL_new(context.get()), &SSL_free);
    const RawClient client(port);
    SSL_set_fd(session.get(), client.descriptor());
    Handshake result;
    if (SSL_connect(session.get()) == 1) {
        X509* const certificate = SSL_get1_peer_certificate(session.get());
        result = {true, SSL_get_version(session.get()), SSL_get_cipher_name(session.get()),
                  ASN1_INTEGER_get(X509_get_serialNumber(certificate))};
        X509_free(certificate);
    }
    return result;
}

TEST(Tls, AnswersOverTls)
{
    const Certificates certificates;
    TestServer server({}, certificates.rsa());
    EXPECT_EQ(server.server().url(), fmt::format("https://127.0.0.1:{}", server.port()));
    WebClient client(server.server().url());
    for (int i = 0; i < 3; ++i) {
        const auto reply = client.put("/a", {}, std::string(100'000, 'x'));
        ASSERT_TRUE(reply.has_value());
        EXPECT_EQ(reply->body, "PUT /a " + std::string(100'000, 'x'));
    }
    const auto large = client.get("/big?5000000");
    ASSERT_TRUE(large.has_value());
    EXPECT_EQ(large->body.size(), 5'000'000U);
}

TEST(Tls, OffersModernVersionsAndSuitesOnly)
{
    const Certificates certificates;
    const TestServer server({}, certificates.rsa());
    EXPECT_FALSE(shake(server.port(), TLS1_VERSION, TLS1_1_VERSION).done);
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_2_VERSION).version, "TLSv1.2");
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_3_VERSION).version, "TLSv1.3");
    for (const char* suite : {"ECDHE-RSA-AES128-SHA256", "ECDHE-RSA-AES256-SHA", "AES128-GCM-SHA256", "AES256-SHA"}) {
        EXPECT_FALSE(shake(server.port(), TLS1_2_VERSION, TLS1_2_VERSION, suite).done) << suite;
    }
    // The server's order of preference decides.
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_2_VERSION,
                    "ECDHE-RSA-AES256-GCM-SHA384:ECDHE-RSA-CHACHA20-POLY1305:ECDHE-RSA-AES128-GCM-SHA256")
                  .suite,
              "ECDHE-RSA-AES128-GCM-SHA256");
}

TEST(Tls, ReloadsCertificates)
{
    const Certificates certificates;
    TestServer server({}, certificates.rsa(2048, 1));
    WebClient kept(server.server().url());
    ASSERT_TRUE(kept.get("/a").has_value());
    certificates.rsa(2048, 2);
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_3_VERSION).serial, 1);
    server.server().reloadTls();
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_3_VERSION).serial, 2);
    EXPECT_TRUE(kept.get("/a").has_value());
    std::filesystem::remove(certificates.file("key.pem"));
    EXPECT_THROW(server.server().reloadTls(), HttpSetupError);
    EXPECT_EQ(shake(server.port(), TLS1_2_VERSION, TLS1_3_VERSION).serial, 2);
}

std::string refusalOf(const TlsFiles& files)
{
    try {
        const TestServer server({}, files);
        return "";
    } catch (const HttpSetupError& error) {
        return error.what();
    }
}

TEST(Tls, ReportsFilesThatItCannotUse)
{
    const Certificates certificates;
    const TlsFiles weak = certificates.rsa(1024);
    EXPECT_EQ(refusalOf(weak),
              fmt::format("the RSA key {} has 1024 bits, which is too weak; make one of at least 2048 bits", weak.key));
    const TlsFiles good = certificates.rsa();
    EXPECT_EQ(refusalOf({certificates.file("none"), good.key}),
              "cannot read certificate " + certificates.file("none") + ": No such file or directory");
    EXPECT_EQ(refusalOf({good.certificate, certificates.file("")}),
              "cannot read key " + certificates.file("") + ": Is a directory");
    EXPECT_THAT(refusalOf({good.key, good.key}), HasSubstr("both must be PEM and belong together"));
    EXPECT_EQ(refusalOf(certificates.make("localhost", EVP_EC_gen("P-256"))), "");
}

TEST(Tls, StalledHandshakesDoNotDelayOthers)
{
    const Certificates certificates;
    TestServer server([](ServerLimits& limits) { limits.handshakeTime = seconds(60); }, certificates.rsa());
    std::vector<RawClient> stalled;
    for (int i = 0; i < 100; ++i) {
        stalled.emplace_back(server.port(), "127.0.0.66");
        stalled.back().send(i % 2 == 0 ? std::string_view("\x16")
                                       : std::string_view("\x16\x03\x01\x02\x00\x01\x00", 7));
    }
    const auto begin = std::chrono::steady_clock::now();
    WebClient client(server.server().url());
    EXPECT_TRUE(client.get("/a").has_value());
    EXPECT_LT(std::chrono::steady_clock::now() - begin, test::kUnaffected);
}

TEST(Tls, HandshakesHaveADeadline)
{
    const Certificates certificates;
    const TestServer server([](ServerLimits& limits) { limits.handshakeTime = seconds(1); }, certificates.rsa());
    const RawClient silent(server.port());
    const RawClient stalled(server.port());
    stalled.send("\x16");
    EXPECT_EQ(stalled.receiveAll(), "(closed)");
    EXPECT_EQ(silent.receiveAll(), "(closed)");
}

TEST(Tls, ReportsAConnectionThatCannotBegin)
{
    const Certificates certificates;
    std::mutex lock;
    std::string reported;
    const auto report = [&](const std::string& line) {
        const std::lock_guard<std::mutex> guard(lock);
        reported += line;
    };
    const TestServer server({}, certificates.rsa(), [&](HttpApplication& application) { application.report = report; });
    failSessions = true;
    EXPECT_THAT(RawClient(server.port()).receiveAll(), ::testing::AnyOf("(closed)", "(reset)"));
    failSessions = false;
    EXPECT_TRUE(shake(server.port(), TLS1_2_VERSION, TLS1_3_VERSION).done) << "listening has ended";
    const std::lock_guard<std::mutex> guard(lock);
    EXPECT_EQ(reported,
              "cannot accept a connection: cannot use TLS: library has no ciphers (1 failures); trying again");
}

TEST(Tls, PlainRequestsToATlsPortAreClosed)
{
    const Certificates certificates;
    const TestServer server({}, certificates.rsa());
    const RawClient client(server.port());
    client.send(TestServer::get("/a"));
    EXPECT_THAT(client.receiveAll(), ::testing::Not(HasSubstr("(nothing)")));
    EXPECT_EQ(server.requests(), 0);
}

}  // namespace
}  // namespace http
