// The implementation of HttpServer: the I/O thread, and the state that all connections share. An HttpListener
// accepts, an HttpConnection reads requests and sends replies, a WebSocketConnection takes over from one after an
// upgrade. Everything here happens on the I/O thread unless it is marked otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <future>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "HandlerPool.h"
#include "HttpServer.h"
#include "TlsContext.h"
#include "UnsentBytes.h"

namespace http {

class HttpConnection;
class HttpListener;

/// The list of the core that holds a connection. Each list is ordered by the time of entry, the oldest first.
enum class ConnectionList : std::uint8_t {
    Busy,
    Idle,     // between two requests: closed first if there are too many connections
    Sending,  // has bytes that the client does not read: closed first if there are too many of them
};

class HttpCore {
public:
    using Connections = std::list<std::shared_ptr<HttpConnection>>;
    using TimePoint = std::chrono::steady_clock::time_point;

    HttpCore(const std::optional<TlsFiles>& tls, const ServerLimits& limits, HttpApplication application);
    HttpCore(const HttpCore&) = delete;
    HttpCore& operator=(const HttpCore&) = delete;
    ~HttpCore();

    // --- of HttpServer  [any thread] ---

    /// Binds.
    /// @return the port
    /// @throws HttpSetupError
    int listen(const ListenAddress& address);
    /// Begins to accept.
    void start(std::string url);
    bool stop();
    void reloadTls();
    bool isResponsive(std::chrono::milliseconds patience);

    // --- of HttpListener ---

    /// Takes over an accepted socket.
    void add(int socket, bool isV6, const std::string& remote);
    /// Closes the connection that has been idle for longest.
    /// @param least  how long it must have been idle
    /// @return false if there is none
    bool closeLongestIdle(std::chrono::milliseconds least);
    void report(const std::string& line) const;
    boost::asio::io_context& context() { return m_context; }

    // --- of HttpConnection ---

    const ServerLimits& limits() const { return m_limits; }
    const HttpApplication& application() const { return m_application; }  // [any thread]
    HandlerPool& handlers() { return m_handlers; }                        // [any thread]
    HandlerPool& handshakes() { return m_handshakes; }                    // [any thread]
    UnsentBytes& unsent() { return m_unsent; }                            // [any thread]

    /// The origin for links in replies: the name by which the client reached the server.  [any thread]
    std::string originOf(const Request& request) const;

    void move(HttpConnection& connection, ConnectionList to);
    void remove(HttpConnection& connection);

    /// Counts bytes of bodies that are kept.
    /// @return false if there are too many now
    bool countBody(std::ptrdiff_t change);
    /// Closes connections that wait for their clients to read until the limit of unsent bytes is kept, the one without
    /// progress for longest first.
    void makeRoomForUnsent();

private:
    void run();
    void tick();
    void startTicking();
    void refuseConnection(int socket);
    void reportIfEmpty();
    template <typename Action>
    void forEach(const Action& action);
    Connections& listOf(ConnectionList list) { return m_lists[static_cast<std::size_t>(list)]; }

    const ServerLimits m_limits;
    const HttpApplication m_application;
    std::optional<TlsContext> m_tls;
    std::string m_origin;
    boost::asio::io_context m_context{1};
    boost::asio::steady_timer m_ticker{m_context};
    bool m_ticking = false;
    std::unique_ptr<HttpListener> m_listener;
    Connections m_lists[3];
    std::unordered_map<std::string, std::size_t> m_perAddress;
    std::size_t m_count = 0;
    std::size_t m_peak = 0;  // highest m_count since memory was last returned to the system
    std::size_t m_bodyBytes = 0;
    bool m_stopping = false;
    bool m_reportedEmpty = false;
    std::promise<void> m_empty;  // set when the last connection ends while the server stops
    bool m_stopped = true;       // the result of stop()
    UnsentBytes m_unsent;
    HandlerPool m_handshakes;
    HandlerPool m_handlers;
    std::thread m_thread;
};

/// The address that per-client limits count: for IPv6 the network, since one client has 2^64 addresses.
std::string addressKey(const std::string& remote);

}  // namespace http
