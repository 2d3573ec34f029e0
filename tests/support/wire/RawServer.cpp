// Blocking sockets, one thread per connection.
#include "RawServer.h"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace W::host {

namespace {

std::size_t announcedLength(const std::string& head)
{
    const std::size_t at = head.find("\r\nContent-Length: ");
    return at == std::string::npos ? 0 : std::strtoul(head.c_str() + at + 18, nullptr, 10);
}

}  // namespace

int bindLoopback()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        throw std::runtime_error("cannot bind a port on the loopback address");
    }
    return socket;
}

int portOf(int socket)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot read the port of a socket");
    }
    return ntohs(address.sin_port);
}

std::optional<std::string> takeRequest(std::string& unread, const std::function<ssize_t(char* to, std::size_t)>& read)
{
    std::size_t wanted = std::string::npos;
    while (true) {
        const std::size_t end = unread.find("\r\n\r\n");
        if (end != std::string::npos) {
            wanted = end + 4 + announcedLength(unread.substr(0, end + 2));
        }
        if (unread.size() >= wanted) {
            break;
        }
        char buffer[65536];
        const ssize_t got = read(buffer, sizeof buffer);
        if (got <= 0) {
            return std::nullopt;
        }
        unread.append(buffer, static_cast<std::size_t>(got));
    }
    std::string request = unread.substr(0, wanted);
    unread.erase(0, wanted);
    return request;
}

std::string okReply(std::string_view body, std::string_view moreHeaders)
{
    std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    reply += moreHeaders;
    reply += "\r\n";
    reply += body;
    return reply;
}

RawServer::RawServer(Script script) : RawServer(std::move(script), bindLoopback()) {}

RawServer::RawServer(Script script, int boundSocket)
    : m_script(std::move(script)), m_listener(boundSocket), m_port(portOf(boundSocket))
{
    if (::listen(m_listener, 512) != 0) {
        throw std::runtime_error("cannot listen on the loopback address");
    }
    m_acceptor = std::thread([this] { acceptAll(); });
}

RawServer::~RawServer()
{
    m_stopping = true;
    ::shutdown(m_listener, SHUT_RDWR);
    m_acceptor.join();
    ::close(m_listener);
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        for (const RawConnection& connection : m_open) {
            ::shutdown(connection.m_socket, SHUT_RDWR);
        }
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

std::string RawServer::url(const std::string& path) const
{
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

void RawServer::acceptAll()
{
    while (true) {
        const int socket = ::accept(m_listener, nullptr, nullptr);
        if (socket < 0 && m_stopping) {
            return;
        }
        if (socket < 0) {
            continue;
        }
        const std::lock_guard<std::mutex> lock(m_lock);
        const auto connection = m_open.emplace(m_open.end(), *this, socket);
        connection->m_number = m_connections++;
        m_threads.emplace_back([this, connection] {
            m_script(*connection);
            const std::lock_guard<std::mutex> ending(m_lock);
            ::close(connection->m_socket);
            m_open.erase(connection);
        });
    }
}

void RawServer::keep(const std::string& request)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_requests.push_back(request);
    m_arrived.notify_all();
}

std::vector<std::string> RawServer::requests() const
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_requests;
}

bool RawServer::waitForRequests(std::size_t count) const
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_arrived.wait_for(lock, std::chrono::seconds(20), [&] { return m_requests.size() >= count; });
}

std::optional<std::string> RawServer::RawConnection::readRequest()
{
    auto request = takeRequest(m_unread, [this](char* to, std::size_t room) { return ::recv(m_socket, to, room, 0); });
    if (request) {
        m_server.keep(*request);
    }
    return request;
}

void RawServer::RawConnection::readHead() const
{
    std::string head;
    char byte = 0;
    while (head.find("\r\n\r\n") == std::string::npos && ::recv(m_socket, &byte, 1, 0) == 1) {
        head += byte;
    }
}

std::string RawServer::RawConnection::readBody(std::size_t size) const
{
    std::string body(size, '\0');
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = ::recv(m_socket, &body[done], size - done, 0);
        if (got <= 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    body.resize(done);
    return body;
}

std::size_t RawServer::RawConnection::send(std::string_view bytes) const
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t sent = ::send(m_socket, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (sent <= 0) {
            break;
        }
        done += static_cast<std::size_t>(sent);
    }
    return done;
}

void RawServer::RawConnection::answer(std::string_view body, std::string_view moreHeaders) const
{
    send(okReply(body, moreHeaders));
}

void RawServer::RawConnection::reset() const
{
    const linger hard{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
}

void RawServer::RawConnection::waitForEnd() const
{
    char buffer[4096];
    while (::recv(m_socket, buffer, sizeof buffer, 0) > 0) {
    }
}

RawServer::Script answering(std::string body)
{
    return [body = std::move(body)](RawServer::RawConnection& connection) {
        while (connection.readRequest()) {
            connection.answer(body);
        }
    };
}

}  // namespace W::host
