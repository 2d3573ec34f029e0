#include "Connections.h"

#include <netdb.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <system_error>

namespace corvaned {
namespace {

constexpr int kHeldUpMs = 5;              // requests that nobody takes for so long
constexpr std::chrono::seconds kLook{1};  // between two looks for connections that have been idle for too long

int checked(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

bool isReady(int descriptor, short events, int patienceMs = 0)
{
    pollfd look{descriptor, events, 0};
    return ::poll(&look, 1, patienceMs) > 0;
}

}  // namespace

Connection::Connection(socket_t socket, Tls tls)
    : m_socket(socket),
      m_tls(std::move(tls)),
      m_opened(!m_tls),
      m_remote(addressOf(&::getpeername, socket)),
      m_local(addressOf(&::getsockname, socket))
{
    if (m_tls) {
        SSL_set_fd(m_tls.get(), m_socket);
    }
}

Connection::~Connection()
{
    if (m_tls && m_opened) {
        SSL_shutdown(m_tls.get());
    }
    ::shutdown(m_socket, SHUT_RDWR);
    ::close(m_socket);
}

Connection::Address Connection::addressOf(int (*name)(int, sockaddr*, socklen_t*), socket_t socket)
{
    sockaddr_storage storage{};
    auto* const address = reinterpret_cast<sockaddr*>(&storage);
    socklen_t size = sizeof storage;
    char host[NI_MAXHOST];
    char service[NI_MAXSERV];
    if (name(socket, address, &size) != 0 || ::getnameinfo(address, size, host, sizeof host, service, sizeof service,
                                                           NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return {};
    }
    return {host, static_cast<int>(std::strtol(service, nullptr, 10))};
}

bool Connection::fill()
{
    if (!m_opened) {
        m_opened = SSL_accept(m_tls.get()) == 1;
        return m_opened;
    }
    return m_inBegin < m_inEnd || refill() > 0;
}

// As receive(), into the empty buffer.
ssize_t Connection::refill()
{
    const ssize_t count = receive(m_in.data(), m_in.size());
    m_inBegin = 0;
    m_inEnd = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    return count;
}

bool Connection::hasInput() const
{
    return m_inBegin < m_inEnd || (m_tls && SSL_pending(m_tls.get()) > 0);
}

bool Connection::is_readable() const
{
    return hasInput() || isReady(m_socket, POLLIN);
}

bool Connection::is_writable() const
{
    return isReady(m_socket, POLLOUT);
}

ssize_t Connection::receive(char* data, std::size_t size)
{
    if (m_tls) {
        const auto most = static_cast<int>(std::min<std::size_t>(size, std::numeric_limits<int>::max()));
        return SSL_read(m_tls.get(), data, most);
    }
    ssize_t count = 0;
    do {
        count = ::recv(m_socket, data, size, 0);
    } while (count < 0 && errno == EINTR);
    return count;
}

ssize_t Connection::read(char* data, std::size_t size)
{
    if (m_inBegin == m_inEnd) {
        if (!flush()) {
            return -1;
        }
        if (size >= m_in.size()) {
            return receive(data, size);
        }
        if (const ssize_t count = refill(); count <= 0) {
            return count;
        }
    }
    const std::size_t count = std::min(size, m_inEnd - m_inBegin);
    std::memcpy(data, m_in.data() + m_inBegin, count);
    m_inBegin += count;
    return static_cast<ssize_t>(count);
}

// The library writes a reply's head line by line and then its body: small pieces are gathered, so that a reply leaves
// in one call.
ssize_t Connection::write(const char* data, std::size_t size)
{
    constexpr std::size_t kGathered = 16384;
    if (m_out.size() + size <= kGathered) {
        m_out.append(data, size);
        return static_cast<ssize_t>(size);
    }
    return send(data, size) ? static_cast<ssize_t>(size) : -1;
}

bool Connection::flush()
{
    return m_out.empty() || send(nullptr, 0);
}

// Sends what was gathered and the data behind it.
bool Connection::send(const char* data, std::size_t size)
{
    bool good = true;
    if (m_tls) {
        for (const auto& [text, count] :
             {std::pair<const char*, std::size_t>(m_out.data(), m_out.size()), {data, size}}) {
            std::size_t written = 0;
            good = good && (count == 0 || SSL_write_ex(m_tls.get(), text, count, &written) == 1);
        }
    } else {
        iovec parts[] = {{m_out.data(), m_out.size()}, {const_cast<char*>(data), size}};
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        while (good && message.msg_iovlen > 0) {
            ssize_t count = ::sendmsg(m_socket, &message, MSG_NOSIGNAL);
            good = count >= 0 || errno == EINTR;
            // Steps over what has gone out.
            for (; count >= 0 && message.msg_iovlen > 0; ++message.msg_iov, --message.msg_iovlen) {
                const auto gone = std::min(static_cast<std::size_t>(count), message.msg_iov->iov_len);
                message.msg_iov->iov_base = static_cast<char*>(message.msg_iov->iov_base) + gone;
                message.msg_iov->iov_len -= gone;
                count -= static_cast<ssize_t>(gone);
                if (message.msg_iov->iov_len > 0) {
                    break;
                }
            }
        }
    }
    m_out.clear();
    return good;
}

void Connection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ip = m_remote.ip;
    port = m_remote.port;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const
{
    ip = m_local.ip;
    port = m_local.port;
}

Connections::Connections(int usual, int most, std::chrono::seconds idle, Serve serve)
    : m_usual(usual),
      m_idle(idle),
      m_serve(std::move(serve)),
      m_epoll(checked(::epoll_create1(EPOLL_CLOEXEC), "epoll")),
      m_stopped(checked(::eventfd(0, EFD_CLOEXEC), "eventfd")),
      m_calls(usual)
{
    epoll_event event{};
    event.events = EPOLLIN;
    checked(::epoll_ctl(m_epoll, EPOLL_CTL_ADD, m_stopped, &event), "epoll");
    for (int i = 0; i < most; ++i) {
        m_threads.emplace_back([this] { work(); });
    }
    m_threads.emplace_back([this] { watch(); });
}

Connections::~Connections()
{
    ::close(m_epoll);
    ::close(m_stopped);
}

void Connections::add(std::unique_ptr<Connection> connection)
{
    Connection& added = *connection;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_all.emplace(&added, std::move(connection));
    }
    await(added, EPOLL_CTL_ADD);
}

// From here on another worker may have taken the connection, and dropped it.
void Connections::await(Connection& connection, int operation)
{
    epoll_event event{};
    event.events = EPOLLIN | EPOLLRDHUP | EPOLLONESHOT;
    event.data.ptr = &connection;
    bool told = false;
    connection.handOver(
        [&, socket = connection.socket()] { told = ::epoll_ctl(m_epoll, operation, socket, &event) == 0; });
    if (!told) {
        drop(connection);
    }
}

void Connections::drop(Connection& connection)
{
    std::unique_ptr<Connection> last;  // ends when the lock is free again: a TLS farewell may take its time
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto found = m_all.find(&connection);
    last = std::move(found->second);
    m_all.erase(found);
}

void Connections::work()
{
    goOnDuty();
    while (true) {
        epoll_event event{};
        const int count = ::epoll_wait(m_epoll, &event, 1, -1);
        if (count > 0 && event.data.ptr == nullptr) {
            return;
        }
        if (count > 0) {
            ++m_taken;
            serve(*static_cast<Connection*>(event.data.ptr));
            leaveIfTooMany();
        }
    }
}

void Connections::goOnDuty()
{
    std::unique_lock<std::mutex> lock(m_dutyLock);
    m_called.wait(lock, [this] { return m_calls > 0 || m_ending; });
    --m_calls;
    ++m_onDuty;
}

void Connections::leaveIfTooMany()
{
    if (m_onDuty <= m_usual) {
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_dutyLock);
        // Another thread may have left meanwhile.
        // cppcheck-suppress identicalConditionAfterEarlyExit
        if (m_onDuty <= m_usual) {
            return;
        }
        --m_onDuty;
    }
    goOnDuty();
}

void Connections::callAnother()
{
    const std::lock_guard<std::mutex> lock(m_dutyLock);
    m_calls = std::max(m_calls, 1);  // one at a time; where all are on duty, the call waits for the next who leaves
    m_called.notify_one();
}

void Connections::watch()
{
    constexpr int kLookMs = std::chrono::milliseconds(kLook).count();
    auto nextLook = Connection::Clock::now() + kLook;
    while (true) {
        const bool asked = isReady(m_epoll, POLLIN, kLookMs);
        const std::uint64_t taken = m_taken;
        if (isReady(m_stopped, POLLIN, kHeldUpMs)) {
            return;
        }
        if (asked && m_taken == taken && isReady(m_epoll, POLLIN)) {
            callAnother();
        }
        if (const auto now = Connection::Clock::now(); now >= nextLook) {
            hangUpIdle();
            nextLook = now + kLook;
        }
    }
}

void Connections::serve(Connection& connection)
{
    connection.take();
    do {
        bool more = connection.fill();
        if (more && connection.hasInput()) {
            more = m_serve(connection);
            more = connection.flush() && more;
        }
        if (!more) {
            drop(connection);
            return;
        }
    } while (connection.hasInput());
    await(connection, EPOLL_CTL_MOD);
}

// A connection is never dropped here, since a worker may be about to take it: hung up, it comes to one by itself.
void Connections::hangUpIdle()
{
    const auto latest = Connection::Clock::now() - m_idle;
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const auto& [connection, owned] : m_all) {
        if (owned->idleSince() < latest) {
            owned->hangUp();
        }
    }
}

void Connections::shutdown()
{
    const std::uint64_t one = 1;
    checked(static_cast<int>(::write(m_stopped, &one, sizeof one)), "eventfd");
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        for (const auto& [connection, owned] : m_all) {
            owned->hangUp();
        }
    }
    {
        const std::lock_guard<std::mutex> lock(m_dutyLock);
        m_ending = true;
        m_called.notify_all();
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
    m_all.clear();
}

}  // namespace corvaned
