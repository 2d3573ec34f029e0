#include "RawClient.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace http::test {
namespace {

sockaddr_in addressOf(const char* host, int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, host, &address.sin_addr);
    return address;
}

}  // namespace

RawClient::RawClient(int port, const char* from) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_in own = addressOf(from, 0);
    const sockaddr_in server = addressOf("127.0.0.1", port);
    const int yes = 1;
    // Many connections from one address need the port to be chosen at connect().
    ::setsockopt(m_socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &yes, sizeof yes);
    if (::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        ::connect(m_socket, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
        const int error = errno;
        ::close(m_socket);
        throw std::runtime_error(std::string("cannot connect: ") + std::strerror(error));
    }
}

RawClient::RawClient(RawClient&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}

RawClient::~RawClient()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

bool RawClient::send(std::string_view bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

void RawClient::endSending() const
{
    ::shutdown(m_socket, SHUT_WR);
}

void RawClient::reset()
{
    const linger resets{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &resets, sizeof resets);
    ::close(std::exchange(m_socket, -1));
}

void RawClient::receiveLittle() const
{
    const int size = 4096;
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
}

std::string RawClient::receive(int count, std::string_view end, std::chrono::milliseconds patience) const
{
    timeval time{};
    time.tv_sec = patience.count() / 1000;
    time.tv_usec = patience.count() % 1000 * 1000;
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
    std::string text;
    for (int seen = 0; seen < count;) {
        char piece[65536];
        const ssize_t size = ::recv(m_socket, piece, sizeof piece, 0);
        if (size <= 0) {
            return text + (size == 0 ? "(closed)" : errno == ECONNRESET ? "(reset)" : "(nothing)");
        }
        text.append(piece, static_cast<std::size_t>(size));
        seen = 0;
        for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, at + end.size())) {
            ++seen;
        }
    }
    return text;
}

std::string RawClient::receiveAll(std::chrono::milliseconds patience) const
{
    return receive(INT_MAX, std::string(40, '\x01'), patience);
}

}  // namespace http::test
