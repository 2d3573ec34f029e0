// A TLS server with a certificate made for the test, so that any property of it can be wrong.
#pragma once

#include <atomic>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "RawServer.h"

struct ssl_st;
struct ssl_ctx_st;

namespace W::host {

struct Certificate {
    std::string address = "127.0.0.1";  ///< the address it is issued for
    long validSeconds = 3600;           ///< from now; negative if it has expired
};

/// A self-signed certificate and its key.
class TlsIdentity {
public:
    /// @param certificateFile  gets the certificate as PEM
    TlsIdentity(const Certificate& certificate, const std::string& certificateFile);
    ~TlsIdentity();
    TlsIdentity(const TlsIdentity&) = delete;
    TlsIdentity& operator=(const TlsIdentity&) = delete;

    ssl_ctx_st* context() const { return m_context; }

private:
    ssl_ctx_st* m_context;
};

/// The server's side of a connection. The constructor blocks SIGPIPE on the calling thread only, because tests check
/// how the executor handles broken connections.
class TlsConnection {
public:
    /// @param socket  an accepted connection; owned by the caller
    TlsConnection(const TlsIdentity& identity, int socket);
    /// Sends a close notification.
    ~TlsConnection();
    TlsConnection(const TlsConnection&) = delete;
    TlsConnection& operator=(const TlsConnection&) = delete;

    /// @return 0 if the handshake succeeded, else the client's alert, or -1 without an alert
    int shakeHands();
    /// Like recv().
    ssize_t read(char* to, std::size_t room);
    void write(std::string_view bytes);

private:
    ssl_st* m_tls;
};

/// Answers one request per connection with `200 OK` and the body "secret".
class TlsServer {
public:
    /// @param certificateFile  gets the certificate as PEM
    TlsServer(const Certificate& certificate, const std::string& certificateFile);

    std::string url() const { return "https://127.0.0.1:" + std::to_string(m_server.port()) + "/"; }
    /// True when a client offered HTTP/2.
    bool wasOfferedHttp2() const { return m_offeredHttp2; }

private:
    void serve(RawServer::RawConnection& connection) const;

    TlsIdentity m_identity;
    std::atomic<bool> m_offeredHttp2{false};
    RawServer m_server;
};

}  // namespace W::host
