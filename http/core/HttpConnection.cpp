// Reading and sending. HttpConnectionHandling.cpp has the steps between the two.
#include "HttpConnection.h"

#include <algorithm>
#include <utility>

#include <boost/asio/post.hpp>
#include <poll.h>
#include <sys/socket.h>

#include "HttpWork.h"
#include "WebSocketConnection.h"

namespace http {
namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kReadSize = 16384;
constexpr std::chrono::seconds kLingerTime{1};
constexpr std::size_t kLingerBytes = 65536;

}  // namespace

HttpConnection::HttpConnection(HttpCore& core, asio::ip::tcp::socket socket, std::unique_ptr<Transport> transport,
                               bool encrypted, std::string remote)
    : m_core(core),
      m_socket(std::move(socket)),
      m_transport(std::move(transport)),
      m_remote(std::move(remote)),
      m_state(encrypted ? State::Handshake : State::Idle),
      m_reader(core.limits())
{}

HttpConnection::~HttpConnection() = default;

void HttpConnection::start()
{
    enter(m_state, m_state == State::Handshake ? m_core.limits().handshakeTime : m_core.limits().idleTime);
    waitReadable();
}

void HttpConnection::enter(State state, std::chrono::milliseconds time)
{
    m_state = state;
    m_deadline = Clock::now() + time;
    m_core.move(*this, state == State::Idle                                  ? ConnectionList::Idle
                       : state == State::Sending || state == State::Delivery ? ConnectionList::Sending
                                                                             : ConnectionList::Busy);
}

void HttpConnection::waitReadable()
{
    if (!m_reading) {
        m_reading = true;
        m_socket.async_wait(asio::ip::tcp::socket::wait_read,
                            [self = shared_from_this()](const boost::system::error_code& failed) {
                                self->m_reading = false;
                                if (!failed) {
                                    self->onReady();
                                }
                            });
    }
}

void HttpConnection::waitWritable()
{
    if (!m_writing) {
        m_writing = true;
        m_socket.async_wait(asio::ip::tcp::socket::wait_write,
                            [self = shared_from_this()](const boost::system::error_code& failed) {
                                self->m_writing = false;
                                if (!failed) {
                                    self->onReady();
                                }
                            });
    }
}

void HttpConnection::waitFor(IoState wanted)
{
    if (wanted == IoState::WantsRead) {
        waitReadable();
    } else {
        waitWritable();
    }
}

void HttpConnection::onReady()
{
    switch (m_state) {
        case State::Handshake:
            return handshake();
        case State::Idle:
        case State::Head:
        case State::Body:
        case State::Lingering:
            return read();
        case State::Sending:
            return send();
        case State::Delivery:
        case State::Handling:
        case State::Upgraded:
        case State::Closed:
            return;
    }
}

// --- the handshake ---------------------------------------------------------------------------------------------------

// A signature takes about a millisecond; a thousand handshakes at the same time must not block the I/O thread.
void HttpConnection::handshake()
{
    m_lent = true;
    const bool added = m_core.handshakes().add(addressKey(m_remote), [self = shared_from_this()] {
        const IoState result = self->m_transport->handshake().state;
        asio::post(self->m_core.context(), [self, result] { self->onHandshake(result); });
    });
    if (!added) {
        m_lent = false;
        close();
    }
}

void HttpConnection::onHandshake(IoState result)
{
    m_lent = false;
    if (m_state == State::Closed) {
        return release();
    }
    switch (result) {
        case IoState::Done:
            enter(State::Idle, m_core.limits().idleTime);
            return read();
        case IoState::WantsRead:
        case IoState::WantsWrite:
            return waitFor(result);
        case IoState::End:
        case IoState::Failed:
            return close();
    }
}

// --- reading ---------------------------------------------------------------------------------------------------------

bool HttpConnection::isReading() const
{
    return m_state == State::Idle || m_state == State::Head || m_state == State::Body || m_state == State::Lingering;
}

// Reads one piece, then gives other connections a turn.
void HttpConnection::read()
{
    char bytes[kReadSize];
    const IoResult result = m_transport->read(bytes, sizeof bytes);
    switch (result.state) {
        case IoState::Done:
            onRead({bytes, result.count});
            break;
        case IoState::WantsRead:
        case IoState::WantsWrite:
            return waitFor(result.state);
        case IoState::End:
            if (m_state == State::Head || m_state == State::Body) {
                return refuse(400, "the request ends too early");
            }
            return close();
        case IoState::Failed:
            return close();
    }
    if (!isReading() || m_reading) {
        return;
    }
    if (result.count < sizeof bytes && !m_transport->hasPending()) {
        return waitReadable();
    }
    asio::post(m_core.context(), [self = shared_from_this()] {
        if (self->isReading() && !self->m_reading) {
            self->read();
        }
    });
}

void HttpConnection::onRead(std::string_view bytes)
{
    if (m_state == State::Lingering) {
        m_lingered += bytes.size();
        if (m_lingered > kLingerBytes) {
            close();
        }
        return;
    }
    if (m_state == State::Idle) {
        beginRequest();
    }
    m_input.append(bytes);
    proceed();
}

void HttpConnection::beginRequest()
{
    m_begun = Clock::now();
    enter(State::Head, m_core.limits().headerTime);
}

// Parses the bytes received so far.
void HttpConnection::proceed()
{
    switch (m_reader.read(m_input)) {
        case RequestReader::ReadProgress::NeedsMore:
            if (m_reader.isInBody()) {
                onPartOfBody();
            }
            return;
        case RequestReader::ReadProgress::Complete:
            return dispatch();
        case RequestReader::ReadProgress::Refused:
            return refuse(m_reader.refusal().status, m_reader.refusal().message);
    }
}

void HttpConnection::onPartOfBody()
{
    if (m_state == State::Head) {
        enter(State::Body, m_core.limits().bodyTime);
    }
    const auto change = static_cast<std::ptrdiff_t>(m_reader.bodySize() - m_countedBody);
    m_countedBody += static_cast<std::size_t>(change);
    if (!m_core.countBody(change)) {
        return refuse(503, "the server has too many requests to keep; try again later");
    }
    if (m_reader.takeContinue()) {
        constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";
        if (m_transport->write(kContinue, {}).count != kContinue.size()) {
            close();  // the socket's buffer is empty unless something is wrong
        }
    }
}

// After a reply: the next request may have been received already.
void HttpConnection::readNext()
{
    if (m_input.empty()) {
        std::string().swap(m_input);  // an idle connection keeps no memory
        enter(State::Idle, m_core.limits().idleTime);
    } else {
        beginRequest();
        proceed();
    }
    if (isReading()) {
        if (m_transport->hasPending()) {
            read();
        } else {
            waitReadable();
        }
    }
}

// --- sending ---------------------------------------------------------------------------------------------------------

// A request that the server answers itself; the last one of the connection.
void HttpConnection::refuse(int status, const std::string& message)
{
    const HttpApplication& application = m_core.application();
    Reply reply = application.refuse(status, message);
    if (status == 503) {
        reply.headers.set("Retry-After", "1");
    }
    const AccessRecord record{
        m_remote, {}, {}, reply.status, reply.content().size(), reply.code, message, Clock::now() - m_begun};
    if (application.log) {
        application.log(record);
    }
    m_keepAlive = false;
    m_reader.drop();
    m_out = finishReply({}, std::move(reply), false);
    m_sent = 0;
    m_countedUnsent = m_out.ownSize();
    m_core.unsent().add(m_countedUnsent);
    beginSending();
}

void HttpConnection::beginSending()
{
    uncountBody();
    m_begun = Clock::now();
    enter(State::Sending, m_core.limits().sendPauseTime);
    m_core.makeRoomForUnsent();  // may close this connection
    if (m_state == State::Sending) {
        send();
    }
}

void HttpConnection::send()
{
    const IoState state = sendReply(*m_transport, m_out, m_sent);
    if (state == IoState::Done) {
        return onSent();
    }
    if (state == IoState::End || state == IoState::Failed) {
        return close();
    }
    if (m_sent > m_sentBefore) {
        m_sentBefore = m_sent;
        enter(State::Sending, m_core.limits().sendPauseTime);
        m_deadline = std::min(m_deadline, m_begun + m_core.limits().sendTime);
    }
    waitFor(state);
}

void HttpConnection::onSent()
{
    uncountUnsent();
    m_out = {};
    m_sent = 0;
    m_sentBefore = 0;
    if (m_keepAlive && !m_ending) {
        readNext();
    } else {
        linger();
    }
}

void HttpConnection::linger()
{
    m_transport->endSending();
    std::string().swap(m_input);
    enter(State::Lingering, kLingerTime);
    read();
}

void HttpConnection::uncountBody()
{
    m_core.countBody(-static_cast<std::ptrdiff_t>(m_countedBody));
    m_countedBody = 0;
}

void HttpConnection::uncountUnsent()
{
    if (m_countedUnsent > 0) {
        m_core.unsent().remove(std::exchange(m_countedUnsent, 0));
    }
}

// --- the end ---------------------------------------------------------------------------------------------------------

void HttpConnection::tick(TimePoint now)
{
    if (m_state == State::Handling || m_state == State::Delivery) {
        checkClient(now);
    }
    if (now < m_deadline) {
        return;
    }
    switch (m_state) {
        case State::Head:
        case State::Body:
            return refuse(408, "the request did not arrive in time");
        case State::Handling:
            return giveUp(503, "the reply takes too long");
        case State::Handshake:
        case State::Idle:
        case State::Sending:
        case State::Lingering:
            return close();
        case State::Delivery:
        case State::Upgraded:
        case State::Closed:
            return;
    }
}

// A client that has ended its side may still wait for the reply, so it is given a moment.
void HttpConnection::checkClient(TimePoint now)
{
    constexpr std::chrono::milliseconds kQuick{200};
    if (now < m_begun + kQuick) {
        return;
    }
    pollfd look{m_socket.native_handle(), POLLRDHUP, 0};
    if (::poll(&look, 1, 0) <= 0) {
        return;
    }
    const bool isGone = (look.revents & (POLLERR | POLLHUP)) != 0 || m_leaving;
    m_leaving = true;
    if (!isGone) {
        return;
    }
    if (m_state == State::Delivery) {
        close();
    } else {
        m_work->abandon();
    }
}

void HttpConnection::finish()
{
    m_ending = true;
    switch (m_state) {
        case State::Handling:
        case State::Sending:
        case State::Lingering:
        case State::Closed:
            return;
        case State::Upgraded:
            return m_webSocket->end();
        case State::Handshake:
        case State::Idle:
        case State::Head:
        case State::Body:
        case State::Delivery:
            return close();
    }
}

void HttpConnection::close()
{
    if (m_state == State::Closed) {
        return;
    }
    if (m_webSocket) {
        m_webSocket->cut();
    }
    if (m_state == State::Handling) {
        m_work->abandon();
        m_lent = m_work->claimed.exchange(true);
    }
    m_state = State::Closed;
    uncountBody();
    uncountUnsent();
    m_timer.reset();
    m_work.reset();
    if (m_lent) {
        // Another thread uses the socket; it hands the connection back soon.
        ::shutdown(m_socket.native_handle(), SHUT_RDWR);
        return;
    }
    release();
}

void HttpConnection::release()
{
    boost::system::error_code ignored;
    m_socket.close(ignored);
    m_core.remove(*this);
}

}  // namespace http
