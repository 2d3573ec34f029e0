// Accepts connections. After a failed accept it reports the failure, at most once a second, and tries again.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "HttpServer.h"

namespace http {

class HttpCore;

/// Used on the I/O thread.
class HttpListener {
public:
    /// Binds and listens.
    /// @throws HttpSetupError
    HttpListener(HttpCore& core, const ListenAddress& address);

    int port() const { return m_port; }
    void start();
    void close();

private:
    void wait();
    void accept();
    void add(int socket, bool isV6, const std::string& remote);
    void report(const char* reason);

    HttpCore& m_core;
    boost::asio::ip::tcp::acceptor m_acceptor;
    boost::asio::steady_timer m_pause;
    int m_port = 0;
    std::chrono::steady_clock::time_point m_reported{};
    std::uint64_t m_failures = 0;  // since the last report
};

}  // namespace http
