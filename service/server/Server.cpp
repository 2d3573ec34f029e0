// cpp-httplib reads the requests and writes the replies, over connections that Connections.h keeps. Its own compression
// knows no weights and its own routing matches regular expressions; both stay unused.
#include "Server.h"

#include <fmt/format.h>
#include <httplib.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "Connections.h"
#include "ContentCoding.h"
#include "Meddler.h"
#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr int kMostWorkers = 64;                         // most of them only ever stand in for others that are held up
constexpr std::chrono::seconds kIdle{30};                // a connection that says nothing
constexpr std::size_t kRequestsPerConnection = 1000000;  // told to clients
constexpr std::size_t kLargestBody = 1 << 20;
constexpr std::size_t kWorthPacking = 512;  // bytes; below, gzip's own header eats the gain
constexpr int kBacklog = 1024;

// Not "application/json" alone, which the library would compress by its own rule.
constexpr const char* kContentType = "application/json; charset=utf-8";

// The library's server with the connections kept by Connections instead of a thread each.
template <typename Base>
class Listening : public Base {
public:
    template <typename... Arguments>
    explicit Listening(const Arguments&... arguments) : Base(arguments...)
    {
        Base::new_task_queue = [this] {
            const int usual = std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 2, kMostWorkers);
            auto connections =
                std::make_unique<Connections>(usual, kMostWorkers, kIdle, [this](Connection& connection) {
                    const auto process = [this](httplib::Stream& stream) {
                        bool closed = false;
                        return Base::process_request(stream, false, closed, nullptr) && !closed;
                    };
                    return m_meddler == nullptr ? process(connection) : m_meddler->pass(connection, process);
                });
            m_connections = connections.get();
            return connections.release();
        };
    }

    void letMeddle(Meddler* meddler) { m_meddler = meddler; }

    // The library asks the kernel for five waiting connections; a burst of clients needs more.
    void widenBacklog() { ::listen(this->svr_sock_, kBacklog); }

private:
    bool process_and_close_socket(socket_t socket) override
    {
        Connection::Tls tls(nullptr, &SSL_free);
        if constexpr (std::is_same_v<Base, httplib::SSLServer>) {
            tls.reset(SSL_new(Base::ssl_context()));
            if (!tls) {
                ::close(socket);  // out of memory, and never to be answered in the clear
                return false;
            }
        }
        m_connections->add(std::make_unique<Connection>(socket, std::move(tls)));
        return true;
    }

    Meddler* m_meddler = nullptr;
    Connections* m_connections = nullptr;  // owned by the library, which asks for one when it begins to listen
};

std::string loggable(std::string_view text)
{
    std::string result = "\"";
    for (const unsigned char c : text.substr(0, 200)) {
        if (c < 0x20 || c >= 0x7f || c == '"' || c == '\\') {
            result += fmt::format("\\x{:02x}", c);
        } else {
            result += static_cast<char>(c);
        }
    }
    return result + "\"";
}

// The query is left out: it tells what a viewer watches.
std::string logLine(const httplib::Request& request, const httplib::Response& response, std::string_view code,
                    std::chrono::steady_clock::duration took)
{
    return fmt::format("time={} remote={} method={} path={} status={} code={} bytes={} ms={:.2f}",
                       formatUtc(systemNow()), request.remote_addr, request.method.empty() ? "-" : request.method,
                       loggable(request.path), response.status, code, response.body.size(),
                       std::chrono::duration<double, std::milli>(took).count());
}

// Links in replies lead back the way that the client came, which may be another name of this machine.
std::string originOf(const httplib::Request& http, const std::string& url)
{
    const std::string host = http.get_header_value("Host");
    return host.empty() ? url : url.substr(0, url.find("://") + 3) + host;
}

void answer(Service& service, const Meddler* meddler, const std::string& url, const httplib::Request& http,
            httplib::Response& response, const std::function<void(const std::string&)>& log)
{
    const auto begin = std::chrono::steady_clock::now();
    const Request request{http.method, http.path,
                          http.params, [&http](const char* name) { return http.get_header_value(name); },
                          http.body,   originOf(http, url)};
    Reply reply = service.answer(request);
    bool packed = false;
    if (meddler != nullptr) {
        meddler->alter(http.path, reply, packed);
    }
    response.status = reply.status;
    response.set_header("Vary", "Accept-Encoding");
    if (!packed && reply.body.size() >= kWorthPacking && acceptsGzip(http.get_header_value("Accept-Encoding"))) {
        reply.body = gzipped(reply.body);
        packed = true;
    }
    if (packed) {
        response.set_header("Content-Encoding", "gzip");
    }
    response.body = std::move(reply.body);
    response.set_header("Content-Type", kContentType);
    log(logLine(http, response, codeText(reply.code), std::chrono::steady_clock::now() - begin));
}

void configure(httplib::Server& http, Service& service, const Meddler* meddler, const std::string& url,
               const std::function<void(const std::string&)>& log)
{
    http.set_keep_alive_max_count(kRequestsPerConnection);
    http.set_keep_alive_timeout(kIdle.count());
    http.set_payload_max_length(kLargestBody);
    http.set_tcp_nodelay(true);
    http.set_socket_options([](socket_t socket) {
        // Without SO_REUSEPORT, which the library would set: a second service on the port has to fail.
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });

    const httplib::Server::Handler handle = [&service, meddler, &url, log](const httplib::Request& request,
                                                                           httplib::Response& response) {
        answer(service, meddler, url, request, response, log);
    };
    http.set_pre_routing_handler([handle](const httplib::Request& request, httplib::Response& response) {
        if (request.method != "GET" && request.method != "HEAD") {
            return httplib::Server::HandlerResponse::Unhandled;  // the library reads the body first
        }
        handle(request, response);
        return httplib::Server::HandlerResponse::Handled;
    });
    constexpr const char* kAnyPath = "[^]*";
    http.Post(kAnyPath, handle).Put(kAnyPath, handle).Patch(kAnyPath, handle).Delete(kAnyPath, handle);
    http.Options(kAnyPath, handle);

    // What the library itself refuses gets the envelope too.
    http.set_error_handler(
        httplib::Server::Handler([log](const httplib::Request& request, httplib::Response& response) {
            if (!response.body.empty()) {
                return;  // one of the service's own replies
            }
            const Reply reply = failure(ServiceCode::BadRequest, "the request is malformed or too large");
            response.set_content(reply.body, kContentType);
            log(logLine(request, response, codeText(reply.code), {}));
        }));
}

void requireReadable(const std::string& path, const char* what)
{
    errno = 0;
    if (std::error_code failed; std::filesystem::is_directory(path, failed) || !std::ifstream(path)) {
        throw OperatorError(
            fmt::format("cannot read {} {}: {}", what, path, std::strerror(errno != 0 ? errno : EISDIR)));
    }
}

}  // namespace

ListenAddress ListenAddress::parse(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    ListenAddress address;
    bool good = colon != std::string::npos && colon > 0;
    if (good) {
        address.host = text.substr(0, colon);
        if (address.host.front() == '[' && address.host.back() == ']') {
            address.host = address.host.substr(1, address.host.size() - 2);
        }
        const char* const first = text.data() + colon + 1;
        const char* const last = text.data() + text.size();
        const std::from_chars_result read = std::from_chars(first, last, address.port);
        good = first != last && read.ec == std::errc() && read.ptr == last && address.port >= 0 && address.port < 65536;
    }
    if (!good) {
        throw OperatorError(fmt::format("'{}' is no address to listen on; give one such as 127.0.0.1:8900", text));
    }
    return address;
}

Server::Server(Service& service, const ListenAddress& address, const std::optional<TlsFiles>& tls,
               const std::function<void(const std::string& line)>& log, Meddler* meddler)
{
    std::function<void()> widenBacklog;
    if (tls) {
        requireReadable(tls->certificate, "certificate");
        requireReadable(tls->key, "key");
        auto http = std::make_unique<Listening<httplib::SSLServer>>(tls->certificate.c_str(), tls->key.c_str());
        if (!http->is_valid()) {
            throw OperatorError(
                fmt::format("cannot use certificate {} with key {}; both must be PEM and belong together",
                            tls->certificate, tls->key));
        }
        http->letMeddle(meddler);
        widenBacklog = [raw = http.get()] { raw->widenBacklog(); };
        m_http = std::move(http);
    } else {
        auto http = std::make_unique<Listening<httplib::Server>>();
        http->letMeddle(meddler);
        widenBacklog = [raw = http.get()] { raw->widenBacklog(); };
        m_http = std::move(http);
    }
    configure(*m_http, service, meddler, m_url, log);  // the URL is known before the first request comes

    errno = 0;
    if (address.port == 0) {
        m_port = m_http->bind_to_any_port(address.host);
    } else if (m_http->bind_to_port(address.host, address.port)) {
        m_port = address.port;
    } else {
        m_port = -1;
    }
    if (m_port <= 0) {
        throw OperatorError(fmt::format("cannot listen on {}:{}: {}; choose another with --listen", address.host,
                                        address.port, errno != 0 ? std::strerror(errno) : "no such address"));
    }
    widenBacklog();
    const bool bare = address.host.find(':') != std::string::npos;
    m_url =
        fmt::format("{}://{}{}{}:{}", tls ? "https" : "http", bare ? "[" : "", address.host, bare ? "]" : "", m_port);
    m_thread = std::thread([this] { m_http->listen_after_bind(); });
    while (!m_http->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Server::~Server()
{
    stop();
}

void Server::stop()
{
    if (m_thread.joinable()) {
        m_http->stop();
        m_thread.join();
    }
}

}  // namespace corvaned
