// A TLS server with a certificate made on the spot, for what can be wrong with one.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

namespace W::host {

struct Certificate {
    std::string address = "127.0.0.1";  ///< that it is made out to
    long validSeconds = 3600;           ///< from now; negative for one that has expired
};

/// Answers one request per connection with `200 OK` and "secret".
class TlsServer {
public:
    /// @param certificateFile  gets the certificate as PEM
    TlsServer(const Certificate& certificate, const std::string& certificateFile);
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    std::string url() const { return "https://127.0.0.1:" + std::to_string(m_iPort) + "/"; }
    /// True when a client offered HTTP/2.
    bool wasOfferedHttp2() const { return m_bOfferedHttp2; }

private:
    struct Tls;
    void acceptAll();

    std::unique_ptr<Tls> m_pTls;
    int m_iListener = -1;
    int m_iPort = 0;
    std::atomic<bool> m_bStopping{false};
    std::atomic<bool> m_bOfferedHttp2{false};
    std::thread m_acceptor;
};

}  // namespace W::host
