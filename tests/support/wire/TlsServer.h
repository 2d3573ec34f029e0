// A TLS server with a certificate made on the spot, for what can be wrong with one.
#pragma once

#include <atomic>
#include <string>
#include <string_view>
#include <thread>

#include <sys/types.h>

struct ssl_st;
struct ssl_ctx_st;

namespace W::host {

struct Certificate {
    std::string address = "127.0.0.1";  ///< that it is made out to
    long validSeconds = 3600;           ///< from now; negative for one that has expired
};

/// A certificate that is its own authority, and the key to it.
class TlsIdentity {
public:
    /// @param certificateFile  gets the certificate as PEM
    TlsIdentity(const Certificate& certificate, const std::string& certificateFile);
    ~TlsIdentity();
    TlsIdentity(const TlsIdentity&) = delete;
    TlsIdentity& operator=(const TlsIdentity&) = delete;

    ssl_ctx_st* context() const { return m_pContext; }

private:
    ssl_ctx_st* m_pContext;
};

/// The server's side of a connection. Whoever makes it has SIGPIPE blocked on its thread from then on, and on no other:
/// what the executor does about broken connections is to be seen.
class TlsConnection {
public:
    /// @param socket  accepted; stays the caller's
    TlsConnection(const TlsIdentity& identity, int socket);
    /// Tells the client that nothing more comes.
    ~TlsConnection();
    TlsConnection(const TlsConnection&) = delete;
    TlsConnection& operator=(const TlsConnection&) = delete;

    /// @return 0 when both are content, else the client's alert, or -1 where it sent none
    int shakeHands();
    /// Like recv().
    ssize_t read(char* to, std::size_t room);
    void write(std::string_view bytes);

private:
    ssl_st* m_pTls;
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
    void acceptAll();

    TlsIdentity m_identity;
    int m_iListener = -1;
    int m_iPort = 0;
    std::atomic<bool> m_bStopping{false};
    std::atomic<bool> m_bOfferedHttp2{false};
    std::thread m_acceptor;
};

}  // namespace W::host
