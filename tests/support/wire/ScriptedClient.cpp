// Blocking sockets with time-outs; OpenSSL on top if the server speaks TLS.
#include "ScriptedClient.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

namespace {

int connectTo(int port)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const timeval patience{ScriptedClient::kPatience.count(), 0};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        const int error = errno;
        ::close(socket);
        throw std::runtime_error("cannot connect to port " + std::to_string(port) + ": " + std::strerror(error));
    }
    return socket;
}

std::size_t announcedLength(const std::string& head)
{
    constexpr std::string_view kName = "\r\ncontent-length:";
    std::string lower = head;
    for (char& c : lower) {
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    }
    const std::size_t at = lower.find(kName);
    return at == std::string::npos ? 0 : std::strtoul(lower.c_str() + at + kName.size(), nullptr, 10);
}

}  // namespace

void ScriptedClient::TlsDeleter::operator()(ssl_st* tls) const
{
    SSL_free(tls);
}

ScriptedClient::ScriptedClient(int port) : m_socket(connectTo(port)) {}

ScriptedClient::ScriptedClient(int port, const std::string& trustedFile) : m_socket(connectTo(port))
{
    // OpenSSL writes with write(), which raises SIGPIPE when the server has gone.
    ::signal(SIGPIPE, SIG_IGN);
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    SSL_CTX_load_verify_locations(context, trustedFile.c_str(), nullptr);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
    m_tls.reset(SSL_new(context));
    SSL_CTX_free(context);
    X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(m_tls.get()), "127.0.0.1");
    SSL_set_fd(m_tls.get(), m_socket);
    if (SSL_connect(m_tls.get()) != 1) {
        const long verdict = SSL_get_verify_result(m_tls.get());
        ::close(m_socket);
        throw std::runtime_error(std::string("TLS handshake failed: ") + X509_verify_cert_error_string(verdict));
    }
}

ScriptedClient::~ScriptedClient()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

ScriptedClient::ScriptedClient(ScriptedClient&& other) noexcept
    : m_socket(std::exchange(other.m_socket, -1)),
      m_tls(std::move(other.m_tls)),
      m_closed(other.m_closed),
      m_unread(std::move(other.m_unread))
{}

std::size_t ScriptedClient::send(std::string_view bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::string_view rest = bytes.substr(done);
        const ssize_t sent = m_tls ? SSL_write(m_tls.get(), rest.data(), static_cast<int>(rest.size()))
                                   : ::send(m_socket, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            break;
        }
        done += static_cast<std::size_t>(sent);
    }
    return done;
}

void ScriptedClient::endSending()
{
    if (m_tls) {
        SSL_shutdown(m_tls.get());
    }
    ::shutdown(m_socket, SHUT_WR);
}

void ScriptedClient::resetOnClose()
{
    const linger hard{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
}

bool ScriptedClient::receiveMore()
{
    std::array<char, 65536> buffer{};
    errno = 0;
    const ssize_t got = m_tls ? SSL_read(m_tls.get(), buffer.data(), static_cast<int>(buffer.size()))
                              : ::recv(m_socket, buffer.data(), buffer.size(), 0);
    if (got > 0) {
        m_unread.append(buffer.data(), static_cast<std::size_t>(got));
        return true;
    }
    m_closed = got == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
    return false;
}

std::string ScriptedClient::take(std::size_t size)
{
    std::string taken = m_unread.substr(0, size);
    m_unread.erase(0, size);
    return taken;
}

std::string ScriptedClient::receiveUntil(std::string_view end)
{
    while (true) {
        const std::size_t at = m_unread.find(end);
        if (at != std::string::npos) {
            return take(at + end.size());
        }
        if (!receiveMore()) {
            return take(m_unread.size());
        }
    }
}

std::string ScriptedClient::receiveReply()
{
    std::string reply = receiveUntil("\r\n\r\n");
    const std::size_t length = announcedLength(reply);
    while (m_unread.size() < length && receiveMore()) {
    }
    return reply + take(length);
}

std::string ScriptedClient::receiveToEnd()
{
    while (receiveMore()) {
    }
    return take(m_unread.size());
}

}  // namespace support
