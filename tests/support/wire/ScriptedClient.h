// A client that sends exactly the bytes that a test gives it, over TCP or TLS on the loopback address.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct ssl_st;

namespace support {

/// One connection. Every wait ends after a deadline. Not thread-safe.
class ScriptedClient {
public:
    static constexpr std::chrono::seconds kPatience{20};

    /// Connects over TCP.
    /// @throws std::runtime_error if the connection is refused
    explicit ScriptedClient(int port);
    /// Connects over TLS and checks the server's certificate against 127.0.0.1.
    /// @param trustedFile  PEM file with the only authority that is trusted
    /// @throws std::runtime_error if the connection is refused or the handshake fails
    ScriptedClient(int port, const std::string& trustedFile);
    ~ScriptedClient();
    ScriptedClient(ScriptedClient&&) noexcept;
    ScriptedClient& operator=(ScriptedClient&&) = delete;

    /// @return the number of bytes that the system took: all, unless the server has closed or does not read in time
    std::size_t send(std::string_view bytes);
    /// Closes this side's half of the connection; of TLS, after a close notification.
    void endSending();
    /// Makes the destructor reset the connection instead of closing it.
    void resetOnClose();

    /// What comes up to and including `end`, or up to the end of the connection or the deadline; wasClosed() tells.
    std::string receiveUntil(std::string_view end);
    /// One HTTP reply: its head and as much of a body as its Content-Length announces.
    std::string receiveReply();
    /// What comes up to the end of the connection or the deadline.
    std::string receiveToEnd();
    /// Whether the server has closed or reset the connection, as far as it has been read.
    bool wasClosed() const { return m_closed; }

    int socket() const { return m_socket; }

private:
    struct TlsDeleter {
        void operator()(ssl_st* tls) const;
    };

    /// @return false at the end of the connection or after the deadline
    bool receiveMore();
    std::string take(std::size_t size);

    int m_socket = -1;
    std::unique_ptr<ssl_st, TlsDeleter> m_tls;
    bool m_closed = false;
    std::string m_unread;
};

}  // namespace support
