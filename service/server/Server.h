// HTTP in front of a Service: connections, compression, one log line per request.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Service.h"

namespace httplib {
class Server;
}

namespace corvaned {

class Meddler;

struct ListenAddress {
    std::string host;
    int port = 0;  // 0: any free one

    /// Reads "127.0.0.1:8900" or "[::1]:8900".
    /// @throws OperatorError
    static ListenAddress parse(const std::string& text);
};

struct TlsFiles {
    std::string certificate;  // PEM, the chain included
    std::string key;
};

/// Serves from construction to stop() or destruction, on threads of its own.
class Server {
public:
    /// @param service  must outlive the server
    /// @param log      receives one line per request, without its end; from several threads at once
    /// @param meddler  what is done to replies on their way; null: nothing. Must outlive the server
    /// @throws OperatorError where the address cannot be had or the TLS files cannot be used
    Server(Service& service, const ListenAddress& address, const std::optional<TlsFiles>& tls,
           const std::function<void(const std::string& line)>& log, Meddler* meddler = nullptr);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    /// "http://127.0.0.1:8900", with the port that was bound.
    const std::string& url() const { return m_url; }
    int port() const { return m_port; }

    /// Takes no further request, finishes those that run and returns.
    void stop();

private:
    std::unique_ptr<httplib::Server> m_http;
    std::string m_url;
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace corvaned
