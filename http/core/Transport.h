// Moves bytes over one connection's socket without ever waiting: TCP alone, or TLS over it. HttpConnection decides when
// to call; TlsContext makes the TLS side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <openssl/ssl.h>

namespace http {

enum class IoState : std::uint8_t {
    Done,
    WantsRead,   // nothing happened: call again when the socket is readable
    WantsWrite,  // nothing happened: call again when the socket is writable
    End,         // the client has ended its side
    Failed,      // the connection is gone
};

struct IoResult {
    IoState state;
    std::size_t count = 0;  // bytes moved; more than 0 if Done
};

/// Used by one thread at a time. Does not own the socket.
class Transport {
public:
    Transport() = default;
    Transport(const Transport&) = delete;
    Transport& operator=(const Transport&) = delete;
    virtual ~Transport() = default;

    /// A step of the handshake, which may compute for a millisecond; Done when it is complete.
    virtual IoResult handshake() = 0;
    virtual IoResult read(char* data, std::size_t size) = 0;

    /// Writes as much as possible of first and second, joined. After WantsRead or WantsWrite, the next call must begin
    /// with the same bytes.
    virtual IoResult write(std::string_view first, std::string_view second) = 0;

    /// Whether read() would return bytes that have left the socket already.
    virtual bool hasPending() const = 0;

    /// Tells the client that no more bytes follow.
    virtual void endSending() = 0;
};

std::unique_ptr<Transport> makePlainTransport(int socket);

using TlsSession = std::unique_ptr<SSL, void (*)(SSL*)>;

/// @param session  a new one of a server's context
/// @throws std::runtime_error with OpenSSL's reason, std::bad_alloc
std::unique_ptr<Transport> makeTlsTransport(int socket, TlsSession session);

/// The reason of OpenSSL's last failure on this thread. Empties its queue of errors.
/// @throws std::bad_alloc if the reason is that memory ran out
std::string tlsFailure();

}  // namespace http
