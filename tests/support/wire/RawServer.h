// A server that shows the bytes it got and answers what a test tells it to, byte for byte: sockets and nothing between.
#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace W::host {

/// A socket on a free port of the loopback address that does not listen yet: whoever connects is refused.
/// @return the descriptor, which is the caller's
/// @throws std::runtime_error
int bindLoopback();

/// The port that a socket is bound to.
int portOf(int socket);

/// Takes one request from what was read, and reads on until it is there: a header block and as much of a body as it
/// announces.
/// @param unread  what was read and not taken; keeps what follows the request
/// @param read    like recv(): bytes read, 0 or less at the end
/// @return nothing when the client is gone
std::optional<std::string> takeRequest(std::string& unread, const std::function<ssize_t(char* to, std::size_t)>& read);

/// The bytes of `200 OK` with a length.
std::string okReply(std::string_view body, std::string_view moreHeaders = "");

/// Listens on a free port of the loopback address. Each connection runs the script on a thread of its own; when the
/// script returns, the connection is closed.
class RawServer {
public:
    class Connection {
    public:
        Connection(RawServer& server, int socket) : m_server(server), m_iSocket(socket) {}

        /// Reads up to the end of a header block and as much of a body as it announces, and keeps the bytes.
        /// @return nothing when the client is gone
        std::optional<std::string> readRequest();
        /// Reads up to the end of a header block, byte by byte, so that the body stays where it is. Keeps nothing.
        void readHead() const;
        /// Reads as many bytes, or up to the end of the connection.
        std::string readBody(std::size_t size) const;
        /// @return how many bytes the system took: all, unless the client has gone
        std::size_t send(std::string_view bytes) const;
        /// Sends okReply().
        void answer(std::string_view body, std::string_view moreHeaders = "") const;
        /// Makes the close a reset.
        void reset() const;
        /// Returns when the client has gone or the server stops.
        void waitForEnd() const;
        /// Position of this connection among all of them, from 0.
        int number() const { return m_iNumber; }
        /// For what speaks another protocol; stays the connection's.
        int socket() const { return m_iSocket; }

    private:
        friend class RawServer;
        RawServer& m_server;
        int m_iSocket;
        int m_iNumber = 0;
        std::string m_unread;
    };
    using Script = std::function<void(Connection&)>;

    explicit RawServer(Script script);
    /// Listens on a socket that is bound, and takes it over.
    RawServer(Script script, int boundSocket);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    int port() const { return m_iPort; }
    std::string url(const std::string& path = "/") const;
    /// Every request so far, as it came.
    std::vector<std::string> requests() const;
    /// Returns when that many requests have come; false after 20 seconds without.
    bool waitForRequests(std::size_t count) const;
    int connections() const { return m_iConnections; }

private:
    void acceptAll();
    void keep(const std::string& request);

    Script m_script;
    int m_iListener = -1;
    int m_iPort = 0;
    std::atomic<int> m_iConnections{0};
    std::atomic<bool> m_bStopping{false};
    mutable std::mutex m_lock;
    mutable std::condition_variable m_arrived;
    std::vector<std::string> m_requests;
    std::list<Connection> m_open;
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

/// A script that answers every request with `200 OK` and a body.
RawServer::Script answering(std::string body);

}  // namespace W::host
