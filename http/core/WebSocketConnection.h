// A connection after its upgrade: messages from the client go to the application's WebSocketHandler one by one,
// messages to the client through a bounded queue. A silent client is pinged, then disconnected.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include <boost/asio/ip/tcp.hpp>

#include "HttpMessages.h"
#include "Transport.h"
#include "WebSocket.h"

namespace http {

class HttpCore;

/// Used on the I/O thread, except for what it passes to the application.
class WebSocketConnection {
public:
    /// @param input  bytes that have been read after the request
    WebSocketConnection(HttpCore& core, boost::asio::ip::tcp::socket socket, std::unique_ptr<Transport> transport,
                        std::string input, std::shared_ptr<WebSocketHandler> handler, const std::string& remote);
    WebSocketConnection(const WebSocketConnection&) = delete;
    WebSocketConnection& operator=(const WebSocketConnection&) = delete;
    ~WebSocketConnection();

    /// Answers the upgrade.
    /// @param ended  called once, when the connection has ended
    void start(const Request& request, std::function<void()> ended);

    /// Closes with 1001, "going away", after the messages queued so far.
    void end();

    /// Closes the connection at once.
    void cut();

private:
    class Peer;
    std::shared_ptr<Peer> m_peer;
};

}  // namespace http
