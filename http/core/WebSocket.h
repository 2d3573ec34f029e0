// The application's side of a WebSocket (RFC 6455): HttpApplication::openWebSocket returns a WebSocketHandler, which is
// given a WebSocket to send with.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace http {

/// The sending side of one connection. Valid as long as it is held; after the end of the connection its functions do
/// nothing.  [any thread]
class WebSocket {
public:
    WebSocket() = default;
    WebSocket(const WebSocket&) = delete;
    WebSocket& operator=(const WebSocket&) = delete;
    virtual ~WebSocket() = default;

    /// Queues a text message, UTF-8. Never waits for the client.
    /// @return false if the connection has ended, or ends now because the client does not read and the queue is full
    ///         (ServerLimits::unsentMessages, unsentMessageBytes)
    virtual bool send(std::string message) = 0;

    /// Ends the connection after the messages queued so far.
    /// @param code  of RFC 6455, 7.4.1: 1000 normal, 1008 policy, 1011 internal error
    virtual void close(std::uint16_t code) = 0;
};

/// Receives what a client sends. The calls for one connection come one after another, never at the same time.
/// [handler threads]
class WebSocketHandler {
public:
    WebSocketHandler() = default;
    WebSocketHandler(const WebSocketHandler&) = delete;
    WebSocketHandler& operator=(const WebSocketHandler&) = delete;
    virtual ~WebSocketHandler() = default;

    /// The handshake is done.
    virtual void opened(const std::shared_ptr<WebSocket>& socket) = 0;

    /// A message of at most ServerLimits::messageBytes. The next one is read after this returns.
    virtual void received(const std::string& message) = 0;

    /// The connection has ended; the last call, and the only one if the client left during the handshake.
    virtual void closed() = 0;
};

}  // namespace http
