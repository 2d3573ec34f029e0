// The server's side of TLS: versions, cipher suites, certificate and key.
#pragma once

#include <memory>
#include <mutex>

#include "HttpServer.h"
#include "Transport.h"

namespace http {

/// TLS 1.2 and 1.3 with AEAD suites only (RFC 9325), in the server's order.  [any thread]
class TlsContext {
public:
    /// @throws HttpSetupError if the files cannot be read, do not belong together or hold an RSA key below 2048 bits
    explicit TlsContext(TlsFiles files);

    /// Reads the files again; sessions made from now on use them. On failure the old ones stay.
    /// @throws HttpSetupError
    void reload();

    /// A session for one connection.
    /// @throws std::runtime_error with OpenSSL's reason, std::bad_alloc
    TlsSession newSession();

private:
    using Context = std::shared_ptr<SSL_CTX>;

    static Context read(const TlsFiles& files);

    const TlsFiles m_files;
    std::mutex m_lock;
    Context m_context;  // guarded by m_lock
};

}  // namespace http
