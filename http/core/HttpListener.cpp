#include "HttpListener.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpCore.h"

namespace http {
namespace {

namespace asio = boost::asio;

constexpr int kBacklog = 4096;
constexpr int kAcceptsInTurn = 64;
constexpr std::chrono::milliseconds kPause{50};  // after a failure

std::string hostOf(const sockaddr* address, socklen_t size)
{
    std::array<char, NI_MAXHOST> host{};
    if (::getnameinfo(address, size, host.data(), host.size(), nullptr, 0, NI_NUMERICHOST) != 0) {
        return "unknown";
    }
    return host.data();
}

[[noreturn]] void fail(const ListenAddress& address, const char* reason)
{
    throw HttpSetupError(
        fmt::format("cannot listen on {}:{}: {}; choose another with --listen", address.host, address.port, reason));
}

// A listening socket; -1 with errno on failure.
int listening(const addrinfo& info)
{
    const int socket = ::socket(info.ai_family, info.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, info.ai_protocol);
    if (socket < 0) {
        return -1;
    }
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (::bind(socket, info.ai_addr, info.ai_addrlen) != 0 || ::listen(socket, kBacklog) != 0) {
        const int error = errno;
        ::close(socket);
        errno = error;
        return -1;
    }
    return socket;
}

// A new socket at the address.
int opened(const ListenAddress& address)
{
    addrinfo wanted{};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int failed = ::getaddrinfo(address.host.c_str(), std::to_string(address.port).c_str(), &wanted, &found);
    if (failed != 0) {
        fail(address, ::gai_strerror(failed));
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owned(found, &::freeaddrinfo);
    int socket = -1;
    for (const addrinfo* each = found; each != nullptr && socket < 0; each = each->ai_next) {
        socket = listening(*each);
    }
    if (socket < 0) {
        fail(address, std::strerror(errno));
    }
    return socket;
}

// accept4() must not block, and child processes must not inherit the socket.
int inherited(const ListenAddress& address)
{
    if (::fcntl(address.socket, F_SETFL, O_NONBLOCK) != 0 || ::fcntl(address.socket, F_SETFD, FD_CLOEXEC) != 0) {
        fail(address, std::strerror(errno));
    }
    return address.socket;
}

}  // namespace

HttpListener::HttpListener(HttpCore& core, const ListenAddress& address)
    : m_core(core), m_acceptor(core.context()), m_pause(core.context())
{
    const int socket = address.socket < 0 ? opened(address) : inherited(address);
    sockaddr_storage bound{};
    socklen_t size = sizeof bound;
    ::getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &size);
    const bool isV6 = bound.ss_family == AF_INET6;
    m_port = ntohs(isV6 ? reinterpret_cast<const sockaddr_in6&>(bound).sin6_port
                        : reinterpret_cast<const sockaddr_in&>(bound).sin_port);
    m_acceptor.assign(isV6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4(), socket);
}

void HttpListener::start()
{
    wait();
}

void HttpListener::close()
{
    boost::system::error_code ignored;
    m_acceptor.close(ignored);
    m_pause.cancel();
}

void HttpListener::wait()
{
    m_acceptor.async_wait(asio::ip::tcp::acceptor::wait_read, [this](const boost::system::error_code& failed) {
        if (!failed) {
            accept();
        }
    });
}

void HttpListener::accept()
{
    for (int i = 0; i < kAcceptsInTurn; ++i) {
        sockaddr_storage peer{};
        socklen_t size = sizeof peer;
        auto* const address = reinterpret_cast<sockaddr*>(&peer);
        const int socket = ::accept4(m_acceptor.native_handle(), address, &size, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (socket >= 0) {
            add(socket, peer.ss_family == AF_INET6, hostOf(address, size));
            continue;
        }
        const int error = errno;
        if (error == EAGAIN || error == EWOULDBLOCK) {
            break;
        }
        if (error == EINTR) {
            continue;
        }
        report(std::strerror(error));
        if (error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM) {
            // Spares connections that may be about to send a request.
            m_core.closeLongestIdle(std::chrono::seconds(1));
        }
        m_pause.expires_after(kPause);
        m_pause.async_wait([this](const boost::system::error_code& cancelled) {
            if (!cancelled) {
                accept();
            }
        });
        return;
    }
    wait();
}

// A failure of one connection must not end listening.
void HttpListener::add(int socket, bool isV6, const std::string& remote)
{
    try {
        m_core.add(socket, isV6, remote);
    } catch (const std::exception& error) {
        report(error.what());
    }
}

void HttpListener::report(const char* reason)
{
    ++m_failures;
    const auto now = std::chrono::steady_clock::now();
    if (now - m_reported < std::chrono::seconds(1)) {
        return;
    }
    m_core.report(fmt::format("cannot accept a connection: {} ({} failures); trying again", reason,
                              std::exchange(m_failures, 0)));
    m_reported = now;
}

}  // namespace http
