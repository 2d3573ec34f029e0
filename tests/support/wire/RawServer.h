// A server for tests that records the bytes it receives and sends exactly the bytes of a script.
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

/// A socket on a free port of the loopback address that does not listen yet, so connections are refused.
/// @return the descriptor; the caller closes it
/// @throws std::runtime_error
int bindLoopback();

/// The port that a socket is bound to.
int portOf(int socket);

/// Returns one request, reading as much as needed: a header block and the body that it announces.
/// @param unread  bytes that were read before; afterwards the bytes that follow the request
/// @param read    like recv(): bytes read, 0 or less at the end
/// @return nothing if the client has closed
std::optional<std::string> takeRequest(std::string& unread, const std::function<ssize_t(char* to, std::size_t)>& read);

/// The bytes of a reply `200 OK` with a Content-Length.
std::string okReply(std::string_view body, std::string_view moreHeaders = "");

/// Listens on a free port of the loopback address. Each connection runs the script on its own thread; when the script
/// returns, the connection is closed.
class RawServer {
public:
    class RawConnection {
    public:
        RawConnection(RawServer& server, int socket) : m_server(server), m_socket(socket) {}

        /// Reads a header block and the body that it announces, and records the bytes.
        /// @return nothing if the client has closed
        std::optional<std::string> readRequest();
        /// Reads up to the end of a header block, byte by byte, so that the body is not read. Records nothing.
        void readHead() const;
        /// Reads `size` bytes, or fewer at the end of the connection.
        std::string readBody(std::size_t size) const;
        /// @return the number of bytes that the system accepted: all, unless the client has closed
        std::size_t send(std::string_view bytes) const;
        /// Sends okReply().
        void answer(std::string_view body, std::string_view moreHeaders = "") const;
        /// Makes the connection end with a reset.
        void reset() const;
        /// Waits until the client closes or the server stops.
        void waitForEnd() const;
        /// Number of this connection, counted from 0.
        int number() const { return m_number; }
        /// For other protocols; the connection closes it.
        int socket() const { return m_socket; }

    private:
        friend class RawServer;
        RawServer& m_server;
        int m_socket;
        int m_number = 0;
        std::string m_unread;
    };
    using Script = std::function<void(RawConnection&)>;

    explicit RawServer(Script script);
    /// Listens on a bound socket and takes ownership of it.
    RawServer(Script script, int boundSocket);
    ~RawServer();
    RawServer(const RawServer&) = delete;
    RawServer& operator=(const RawServer&) = delete;

    int port() const { return m_port; }
    std::string url(const std::string& path = "/") const;
    /// The bytes of every request so far.
    std::vector<std::string> requests() const;
    /// Waits until `count` requests have been received. @return false after 20 seconds
    bool waitForRequests(std::size_t count) const;
    int connections() const { return m_connections; }

private:
    void acceptAll();
    void keep(const std::string& request);

    Script m_script;
    int m_listener = -1;
    int m_port = 0;
    std::atomic<int> m_connections{0};
    std::atomic<bool> m_stopping{false};
    mutable std::mutex m_lock;
    mutable std::condition_variable m_arrived;
    std::vector<std::string> m_requests;
    std::list<RawConnection> m_open;
    std::vector<std::thread> m_threads;
    std::thread m_acceptor;
};

/// A script that answers every request with `200 OK` and a body.
RawServer::Script answering(std::string body);

}  // namespace W::host
