// Serves a Service over HTTP: the server of http/ with the service's reply envelope and one log line per request.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "HttpServer.h"
#include "LogWriter.h"
#include "Service.h"

namespace corvaned {

class Monitoring;
class XmltvFeed;

struct ServerSettings {
    http::ListenAddress address;
    std::optional<http::TlsFiles> tls;
    http::ServerLimits limits;
    std::size_t logLinesPerSecond = 200;     // for each client's address; further lines are only counted
    std::vector<http::ExchangeHook*> hooks;  // not owned
    XmltvFeed* feed = nullptr;               // not owned; null: its paths are unknown
    Monitoring* monitoring = nullptr;        // likewise
};

/// Serves from construction to stop() or destruction, on its own threads.  [any thread]
class Server {
public:
    /// @param service  must outlive the server, like the feed and the hooks of the settings
    /// @param log      receives lines without their end, from several threads at once; must not block
    /// @throws http::HttpSetupError if the address or the TLS files cannot be used
    Server(Service& service, const ServerSettings& settings, std::function<void(const std::string& line)> log);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// "http://127.0.0.1:8900", with the port that was bound.
    const std::string& url() const { return m_http.url(); }
    int port() const { return m_http.port(); }

    /// Reads the certificate and its key again. On failure the old ones stay in use, and the reason is logged.
    void reloadTls();

    /// As http::HttpServer::isResponsive().
    bool isResponsive(std::chrono::milliseconds patience) { return m_http.isResponsive(patience); }

    /// As http::HttpServer::stop().
    bool stop() { return m_http.stop(); }

private:
    http::HttpApplication application(Service& service, const ServerSettings& settings);
    void logRequest(const http::AccessRecord& record);

    const std::function<void(const std::string&)> m_log;
    http::FloodGate m_flood;
    Monitoring* const m_monitoring;
    http::HttpServer m_http;
};

}  // namespace corvaned
