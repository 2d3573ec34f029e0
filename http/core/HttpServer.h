// An HTTP/1.1 server (RFC 9110, 9112) with WebSockets (RFC 6455), over TCP or TLS, for programs under attack:
// every read, write and handshake has a deadline, and everything that a client can make the server keep has a limit
// (ServerLimits.h). One I/O thread moves bytes and never waits; handlers run on a bounded pool.
// ExchangeHook.h lets a program interfere with replies; WebSocket.h is the application's side of a WebSocket;
// StaticContent.h serves files. The implementation begins in HttpCore.h.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "HttpMessages.h"
#include "ServerLimits.h"

namespace http {

class ExchangeHook;
class HttpCore;
class WebSocketHandler;

/// A failure that the operator can correct: an address in use, an unreadable certificate. what() is one complete line.
class HttpSetupError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct ListenAddress {
    std::string host;
    int port = 0;     // 0: any free one
    int socket = -1;  // listens there already; -1: none, the server opens one

    /// Reads "127.0.0.1:8900" or "[::1]:8900"; ":8900" is every IPv4 address of the machine.
    /// @throws HttpSetupError
    static ListenAddress parse(const std::string& string);

    /// The address of a TCP socket that was inherited from the process that started this one. The server owns the
    /// socket from its construction on.
    /// @throws HttpSetupError if the descriptor is not a listening TCP socket
    static ListenAddress ofSocket(int socket);

    /// Whether only programs on this machine can reach it.
    bool isLoopback() const;
};

struct TlsFiles {
    std::string certificate;  // PEM, with the chain
    std::string key;          // PEM
};

/// One answered request, for an access log.
struct AccessRecord {
    std::string_view remote;
    std::string_view method;  // empty if the request could not be read
    std::string_view path;    // decoded, any bytes
    int status = 0;
    std::size_t bytes = 0;  // of the body, as sent
    std::string_view code;  // Reply::code
    std::string_view note;  // Reply::note
    std::chrono::steady_clock::duration took{};
};

/// The application that the server calls. Members may be empty unless they are marked as required.
struct HttpApplication {
    /// Answers a request. Required.  [handler threads]
    std::function<Reply(const Request& request)> answer;

    /// Makes the reply for a request that the server refuses itself. Required; must not block.  [any thread]
    std::function<Reply(int status, const std::string& message)> refuse;

    /// Checks each request and upgrade first, for example its Host and Origin; returns a reply to refuse it.
    /// [handler threads]
    std::function<std::optional<Reply>(const Request& request)> admit;

    /// Opens a WebSocket; null refuses it with 404. Without this function, upgrades are answered as plain requests.
    /// [handler threads]
    std::function<std::shared_ptr<WebSocketHandler>(const Request& request)> openWebSocket;

    /// Logs an answered request; must not block.  [any thread]
    std::function<void(const AccessRecord& record)> log;

    /// Logs a message of the server itself, one line; must not block.  [any thread]
    std::function<void(const std::string& line)> report;

    /// Not owned; asked in this order.
    std::vector<ExchangeHook*> hooks;
};

/// Serves from construction to stop() or destruction, on its own threads.  [any thread]
class HttpServer {
public:
    /// @throws HttpSetupError if the address or the TLS files cannot be used
    HttpServer(const ListenAddress& address, const std::optional<TlsFiles>& tls, const ServerLimits& limits,
               HttpApplication application);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Stops, and waits for all handlers, however long they take.
    ~HttpServer();

    /// "http://127.0.0.1:8900", with the port that was bound.
    const std::string& url() const { return m_url; }
    int port() const { return m_port; }

    /// Reads certificate and key again; connections made from now on use them. The old ones stay in use on failure.
    /// @throws HttpSetupError
    void reloadTls();

    /// Whether the I/O thread handles an event in time; false if it is stuck.
    /// @param patience  how long to wait for it
    bool isResponsive(std::chrono::milliseconds patience);

    /// Accepts no connection, finishes the requests that are being answered, and closes all connections after
    /// ServerLimits::stopTime at the latest.
    /// @return false if a handler is still running then; the process should end without waiting for it
    bool stop();

private:
    std::unique_ptr<HttpCore> m_core;
    std::string m_url;
    int m_port = 0;
};

}  // namespace http
