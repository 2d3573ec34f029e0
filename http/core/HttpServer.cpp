#include "HttpServer.h"

#include <array>
#include <charconv>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netdb.h>
#include <sys/socket.h>

#include "HttpCore.h"

namespace http {

ListenAddress ListenAddress::parse(const std::string& string)
{
    const std::size_t colon = string.rfind(':');
    ListenAddress address;
    bool good = colon != std::string::npos;
    if (good) {
        address.host = colon == 0 ? "0.0.0.0" : string.substr(0, colon);
        if (address.host.front() == '[' && address.host.back() == ']') {
            address.host = address.host.substr(1, address.host.size() - 2);
        }
        const char* const first = string.data() + colon + 1;
        const char* const last = string.data() + string.size();
        const std::from_chars_result read = std::from_chars(first, last, address.port);
        good = first != last && read.ec == std::errc() && read.ptr == last && address.port >= 0 && address.port < 65536;
    }
    if (!good) {
        throw HttpSetupError(
            fmt::format("'{}' is not an address to listen on; give one such as 127.0.0.1:8900", string));
    }
    return address;
}

ListenAddress ListenAddress::ofSocket(int socket)
{
    int listens = 0;
    socklen_t size = sizeof listens;
    const bool isListening = ::getsockopt(socket, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0;
    sockaddr_storage bound{};
    size = sizeof bound;
    auto* const address = reinterpret_cast<sockaddr*>(&bound);
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    if (!isListening || ::getsockname(socket, address, &size) != 0 ||
        (bound.ss_family != AF_INET && bound.ss_family != AF_INET6) ||
        ::getnameinfo(address, size, host.data(), host.size(), port.data(), port.size(),
                      NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        throw HttpSetupError(
            fmt::format("the inherited descriptor {} is not a listening TCP socket; pass one with an address such as "
                        "127.0.0.1:8900",
                        socket));
    }
    ListenAddress made;
    made.host = host.data();
    std::from_chars(port.data(), port.data() + std::char_traits<char>::length(port.data()), made.port);
    made.socket = socket;
    return made;
}

bool ListenAddress::isLoopback() const
{
    in_addr v4{};
    in6_addr v6{};
    if (::inet_pton(AF_INET, host.c_str(), &v4) == 1) {
        return (ntohl(v4.s_addr) >> 24) == 127;
    }
    if (::inet_pton(AF_INET6, host.c_str(), &v6) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&v6);
    }
    return host == "localhost";
}

HttpServer::HttpServer(const ListenAddress& address, const std::optional<TlsFiles>& tls, const ServerLimits& limits,
                       HttpApplication application)
    : m_core(std::make_unique<HttpCore>(tls, limits, std::move(application))), m_port(m_core->listen(address))
{
    const bool isV6 = address.host.find(':') != std::string::npos;
    m_url =
        fmt::format("{}://{}{}{}:{}", tls ? "https" : "http", isV6 ? "[" : "", address.host, isV6 ? "]" : "", m_port);
    m_core->start(m_url);
}

HttpServer::~HttpServer() = default;

void HttpServer::reloadTls()
{
    m_core->reloadTls();
}

bool HttpServer::isResponsive(std::chrono::milliseconds patience)
{
    return m_core->isResponsive(patience);
}

bool HttpServer::stop()
{
    return m_core->stop();
}

}  // namespace http
