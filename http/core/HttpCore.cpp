#include "HttpCore.h"

#include <algorithm>
#include <array>
#include <future>

#include <boost/asio/post.hpp>
#include <fmt/format.h>
#include <malloc.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpConnection.h"
#include "HttpListener.h"

namespace http {
namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kTick{250};

}  // namespace

std::string addressKey(const std::string& remote)
{
    constexpr int kNetworkGroups = 4;  // of 16 bits
    if (remote.find(':') == std::string::npos || remote.compare(0, 7, "::ffff:") == 0) {
        return remote;
    }
    std::size_t end = 0;
    for (int group = 0; group < kNetworkGroups && end != std::string::npos; ++group) {
        end = remote.find(':', end + 1);
    }
    return remote.substr(0, end);
}

HttpCore::HttpCore(const std::optional<TlsFiles>& tls, const ServerLimits& limits, HttpApplication application)
    : m_limits(limits),
      m_application(std::move(application)),
      m_unsent(limits.unsentBytesInAll),
      m_handshakes(1, limits.connections, HandlerPool::Priority::Low),
      m_handlers(limits.handlers, limits.waitingRequests, HandlerPool::Priority::Normal)
{
    if (tls) {
        m_tls.emplace(*tls);
    }
}

HttpCore::~HttpCore()
{
    try {
        stop();
    } catch (const std::exception&) {
        // Memory ran out. The thread must end before the objects that it uses.
        m_context.stop();
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
}

int HttpCore::listen(const ListenAddress& address)
{
    m_listener = std::make_unique<HttpListener>(*this, address);
    return m_listener->port();
}

void HttpCore::start(std::string url)
{
    m_origin = std::move(url);
    m_listener->start();
    m_thread = std::thread([this] { run(); });
}

void HttpCore::run()
{
    const auto guard = asio::make_work_guard(m_context);
    while (!m_context.stopped()) {
        try {
            m_context.run();
        } catch (const std::exception& error) {
            // Running out of memory for one connection must not end the others.
            report(fmt::format("an event of a connection was lost: {}", error.what()));
        }
    }
}

void HttpCore::report(const std::string& line) const
{
    if (m_application.report) {
        m_application.report(line);
    }
}

void HttpCore::reloadTls()
{
    if (m_tls) {
        m_tls->reload();
    }
}

bool HttpCore::isResponsive(std::chrono::milliseconds patience)
{
    const auto turn = std::make_shared<std::promise<void>>();
    asio::post(m_context, [turn] { turn->set_value(); });
    return turn->get_future().wait_for(patience) == std::future_status::ready;
}

std::string HttpCore::originOf(const Request& request) const
{
    const std::string& host = request.header("Host");
    return host.empty() ? m_origin : m_origin.substr(0, m_origin.find("://") + 3) + host;
}

// --- connections -----------------------------------------------------------------------------------------------------

void HttpCore::add(int socket, bool isV6, const std::string& remote)
{
    const std::string key = addressKey(remote);
    const auto known = m_perAddress.find(key);
    const bool addressIsFull = known != m_perAddress.end() && known->second >= m_limits.connectionsPerAddress;
    if (addressIsFull || (m_count >= m_limits.connections && !closeLongestIdle({}))) {
        return refuseConnection(socket);
    }
    const int yes = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    // Otherwise the kernel buffers megabytes for a client that does not read, and handlers make replies for it as long
    // as it does.
    constexpr int kUnsentInKernel = 32768;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kUnsentInKernel, sizeof kUnsentInKernel);
    asio::ip::tcp::socket owned(m_context);
    boost::system::error_code failed;
    owned.assign(isV6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4(), socket, failed);
    if (failed) {
        ::close(socket);
        return report(fmt::format("cannot serve a connection: {}", failed.message()));
    }
    auto transport = m_tls ? makeTlsTransport(socket, m_tls->newSession()) : makePlainTransport(socket);
    const auto connection =
        std::make_shared<HttpConnection>(*this, std::move(owned), std::move(transport), m_tls.has_value(), remote);
    Connections& list = listOf(connection->list);
    connection->position = list.insert(list.end(), connection);
    ++m_count;
    ++m_perAddress[key];
    connection->start();
    startTicking();
}

// Best effort: nothing is kept for this client.
void HttpCore::refuseConnection(int socket)
{
    if (!m_tls) {
        const Reply reply = m_application.refuse(503, "the server has too many connections; try again later");
        const std::string bytes =
            fmt::format("HTTP/1.1 503 {}\r\nContent-Length: {}\r\nRetry-After: 1\r\nConnection: close\r\n\r\n{}",
                        reasonPhrase(503), reply.content().size(), reply.content());
        (void)::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        ::shutdown(socket, SHUT_WR);
    }
    ::close(socket);
}

bool HttpCore::closeLongestIdle(std::chrono::milliseconds least)
{
    Connections& idle = listOf(ConnectionList::Idle);
    if (idle.empty() || idle.front()->idleSince() > Clock::now() - least) {
        return false;
    }
    const std::shared_ptr<HttpConnection> first = idle.front();
    first->close();
    return true;
}

void HttpCore::move(HttpConnection& connection, ConnectionList to)
{
    Connections& list = listOf(to);
    list.splice(list.end(), listOf(connection.list), connection.position);
    connection.list = to;
}

void HttpCore::remove(HttpConnection& connection)
{
    const std::shared_ptr<HttpConnection> kept = *connection.position;
    listOf(connection.list).erase(connection.position);
    const auto found = m_perAddress.find(addressKey(connection.remote()));
    if (--found->second == 0) {
        m_perAddress.erase(found);
    }
    --m_count;
    reportIfEmpty();
}

// To stop(), once.
void HttpCore::reportIfEmpty()
{
    if (m_count == 0 && m_stopping && !m_reportedEmpty) {
        m_reportedEmpty = true;
        m_empty.set_value();
    }
}

bool HttpCore::countBody(std::ptrdiff_t change)
{
    m_bodyBytes += static_cast<std::size_t>(change);
    return change <= 0 || m_bodyBytes <= m_limits.bodyBytesInAll;
}

void HttpCore::makeRoomForUnsent()
{
    Connections& sending = listOf(ConnectionList::Sending);
    while (m_unsent.isOverLimit() && !sending.empty()) {
        const std::shared_ptr<HttpConnection> first = sending.front();
        first->close();
    }
}

template <typename Action>
void HttpCore::forEach(const Action& action)
{
    for (Connections& list : m_lists) {
        // An action may move or remove its connection, and no other.
        for (auto each = list.begin(); each != list.end();) {
            const std::shared_ptr<HttpConnection> connection = *each++;
            action(*connection);
        }
    }
}

void HttpCore::startTicking()
{
    if (m_ticking) {
        return;
    }
    m_ticking = true;
    m_ticker.expires_after(kTick);
    m_ticker.async_wait([this](const boost::system::error_code& cancelled) {
        m_ticking = false;
        if (!cancelled) {
            tick();
        }
    });
}

void HttpCore::tick()
{
    const TimePoint now = Clock::now();
    forEach([now](HttpConnection& connection) { connection.tick(now); });
    // Returns the memory of thousands of connections to the system when most of them have closed.
    constexpr std::size_t kMany = 1000;
    constexpr std::size_t kMost = 8;
    m_peak = std::max(m_peak, m_count);
    if (m_peak >= kMany && m_count < m_peak / kMost) {
        m_peak = m_count;
        ::malloc_trim(0);
    }
    if (m_count > 0) {
        startTicking();
    }
}

// --- the end ---------------------------------------------------------------------------------------------------------

bool HttpCore::stop()
{
    if (!m_thread.joinable()) {
        return m_stopped;
    }
    const TimePoint end = Clock::now() + m_limits.stopTime;
    const TimePoint forced = end - m_limits.stopTime / 4;
    std::future<void> empty = m_empty.get_future();
    asio::post(m_context, [this] {
        m_stopping = true;
        m_listener->close();
        forEach([](HttpConnection& connection) { connection.finish(); });
        reportIfEmpty();
    });
    if (empty.wait_until(forced) != std::future_status::ready) {
        asio::post(m_context, [this] { forEach([](HttpConnection& connection) { connection.close(); }); });
        empty.wait_until(end);
    }
    m_stopped = m_handlers.drain(end);
    m_context.stop();
    m_thread.join();
    m_unsent.stopWaiting();
    return m_stopped;
}

}  // namespace http
