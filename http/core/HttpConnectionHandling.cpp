// From a complete request to its reply: the work of the handler's thread, and deliveries that an ExchangeHook changes.
#include "HttpConnection.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include <boost/asio/post.hpp>
#include <sys/socket.h>

#include "ContentCoding.h"
#include "HttpWork.h"
#include "WebSocket.h"
#include "WebSocketConnection.h"

namespace http {
namespace {

namespace asio = boost::asio;
using Clock = std::chrono::steady_clock;

bool isUpgrade(const Request& request)
{
    return request.method == "GET" && equalIgnoringCase(request.header("Upgrade"), "websocket");
}

int statusOf(std::string_view head)
{
    constexpr std::size_t kStatusAt = 9;  // after "HTTP/1.1 "
    int status = 0;
    if (head.size() > kStatusAt) {
        std::from_chars(head.data() + kStatusAt, head.data() + head.size(), status);
    }
    return status;
}

// Decompresses the body; returns a reply if that is refused.
std::optional<Reply> decodeBody(const HttpApplication& application, const ServerLimits& limits, Request& request)
{
    const std::string& coding = request.header("Content-Encoding");
    if (request.body.empty() || coding.empty() || equalIgnoringCase(coding, "identity")) {
        return std::nullopt;
    }
    if (!equalIgnoringCase(coding, "gzip") && !equalIgnoringCase(coding, "x-gzip")) {
        return application.refuse(415, "the body's Content-Encoding is not gzip");
    }
    GunzipError error{};
    std::optional<std::string> body = gunzipped(request.body, limits.bodyBytes, error);
    if (body) {
        request.body = std::move(*body);
        return std::nullopt;
    }
    return error == GunzipError::TooLarge ? application.refuse(413, "the decompressed body has more than " +
                                                                        std::to_string(limits.bodyBytes) + " bytes")
                                          : application.refuse(400, "the body is not gzip");
}

Reply answer(const HttpApplication& application, const ServerLimits& limits, Request& request)
{
    try {
        if (request.isOver()) {
            Reply busy = application.refuse(503, "the server is too busy; try again later");
            busy.headers.set("Retry-After", "1");
            return busy;
        }
        if (auto refusal = decodeBody(application, limits, request)) {
            return std::move(*refusal);
        }
        if (application.admit) {
            if (auto refusal = application.admit(request)) {
                return std::move(*refusal);
            }
        }
        return application.answer(request);
    } catch (const std::exception& error) {
        Reply failed = application.refuse(500, "the server cannot answer now; its log says why");
        failed.note = error.what();
        return failed;
    }
}

}  // namespace

void HttpConnection::dispatch()
{
    const ServerLimits& limits = m_core.limits();
    ++m_requests;
    auto work = std::make_shared<HttpWork>();
    work->begun = m_begun;
    work->request = m_reader.take();
    work->request.remote = m_remote;
    work->request.origin = m_core.originOf(work->request);
    work->request.deadline = Clock::now() + limits.handlerTime;
    work->request.abandoned = work->abandoned;
    work->keepAlive = m_reader.facts().keepAlive && !m_ending && m_requests < limits.requestsPerConnection;
    m_keepAlive = work->keepAlive;
    m_leaving = false;
    m_work = work;
    // The margin lets a handler that stops at the deadline answer itself.
    constexpr std::chrono::milliseconds kMargin{500};
    enter(State::Handling, limits.handlerTime + kMargin);
    const bool added =
        m_core.handlers().add(addressKey(m_remote), [self = shared_from_this(), work] { self->handle(work); });
    if (!added) {
        giveUp(503, "the server is too busy; try again later");
    }
}

// [I/O thread] Answers instead of the handler, unless the handler is already answering.
void HttpConnection::giveUp(int status, const std::string& message)
{
    m_work->abandon();
    if (!m_work->claimed.exchange(true)) {
        m_work.reset();
        refuse(status, message);
    }
}

// [handler thread]
void HttpConnection::handle(const std::shared_ptr<HttpWork>& work)
{
    const HttpApplication& application = m_core.application();
    Request& request = work->request;
    Reply reply;
    std::optional<std::string> bytes;
    if (application.openWebSocket && isUpgrade(request)) {
        reply = openWebSocket(*work);
    } else {
        for (ExchangeHook* const hook : application.hooks) {
            if (!bytes) {
                bytes = hook->answerInstead(request);
            }
        }
        if (!bytes) {
            reply = answer(application, m_core.limits(), request);
            for (ExchangeHook* const hook : application.hooks) {
                hook->alter(request, reply);
            }
        }
    }
    const std::string code = reply.code;
    const std::string note = reply.note;
    if (!work->webSocket) {
        if (bytes) {
            work->out.head = std::move(*bytes);
        } else {
            work->out = finishReply(request, std::move(reply), work->keepAlive);
        }
    }
    const std::size_t size = work->out.content().size();
    const int status = statusOf(work->out.head);
    if (!application.hooks.empty() && !work->webSocket) {
        work->out.head.append(work->out.content());
        work->out.body.clear();
        work->out.shared.reset();
        for (ExchangeHook* const hook : application.hooks) {
            hook->observe(request, work->out.head);
        }
        for (ExchangeHook* const hook : application.hooks) {
            hook->deliver(request, work->out.head, work->delivery);
        }
    }
    if (work->claimed.exchange(true)) {
        return;  // the I/O thread has answered
    }
    if (!work->webSocket && work->delivery.isPlain()) {
        work->sendState = sendReply(*m_transport, work->out, work->sent);
    }
    if (work->sendState == IoState::Done) {
        work->out = {};  // here, so that a flood's replies do not pile up before the I/O thread
    }
    const bool waits = !work->webSocket && work->sendState != IoState::Done;
    if (waits) {
        work->out.body.shrink_to_fit();  // its capacity may be twice its size, and thousands of replies may wait
        work->countedUnsent = work->out.ownSize();
        m_core.unsent().add(work->countedUnsent);
    }
    // From here on the I/O thread owns the connection; it only moves `out` away.
    asio::post(m_core.context(), [self = shared_from_this(), work] { self->onHandled(*work); });
    if (application.log && !work->webSocket) {
        application.log({m_remote, request.method, request.path, status, size, code, note, Clock::now() - work->begun});
    }
    if (waits) {
        m_core.unsent().waitForRoom();
    }
}

// [handler thread] Has the application open a WebSocket. @return the reply if it does not
Reply HttpConnection::openWebSocket(HttpWork& work)
{
    const HttpApplication& application = m_core.application();
    try {
        if (application.admit) {
            if (auto refusal = application.admit(work.request)) {
                return std::move(*refusal);
            }
        }
        work.webSocket = application.openWebSocket(work.request);
        return work.webSocket ? Reply() : application.refuse(404, "there is no WebSocket at this path");
    } catch (const std::exception& error) {
        Reply failed = application.refuse(500, "the server cannot answer now; its log says why");
        failed.note = error.what();
        return failed;
    }
}

void HttpConnection::onHandled(HttpWork& work)
{
    m_countedUnsent = work.countedUnsent;
    if (m_state == State::Closed) {
        uncountUnsent();
        return release();
    }
    const std::shared_ptr<HttpWork> kept = std::move(m_work);
    if (work.webSocket) {
        return upgrade(work);
    }
    m_out = std::move(work.out);
    m_sent = work.sent;
    if (!work.delivery.isPlain()) {
        uncountBody();
        return deliver(work.delivery);
    }
    if (work.sendState == IoState::Done) {
        uncountBody();
        return onSent();
    }
    beginSending();
}

void HttpConnection::upgrade(HttpWork& work)
{
    uncountBody();
    enter(State::Upgraded, std::chrono::hours(0));
    m_webSocket = std::make_shared<WebSocketConnection>(m_core, std::move(m_socket), std::move(m_transport),
                                                        std::move(m_input), work.webSocket, m_remote);
    m_webSocket->start(work.request, [self = shared_from_this()] { self->close(); });
}

// --- deliveries ------------------------------------------------------------------------------------------------------

void HttpConnection::deliver(const ReplyDelivery& delivery)
{
    m_begun = Clock::now();
    enter(State::Delivery, std::chrono::hours(0));  // tick() checks whether the client has left
    m_core.makeRoomForUnsent();
    if (m_state != State::Delivery) {
        return;
    }
    m_delivery = delivery;
    m_out.head.resize(std::min(m_out.head.size(), delivery.most));
    m_timer = std::make_unique<asio::steady_timer>(m_core.context());
    deliverAfter(delivery.delay);
}

void HttpConnection::deliverAfter(std::chrono::milliseconds time)
{
    m_timer->expires_after(time);
    m_timer->async_wait([self = shared_from_this()](const boost::system::error_code& failed) {
        if (!failed && self->m_state == State::Delivery) {
            self->deliverPart();
        }
    });
}

void HttpConnection::deliverPart()
{
    constexpr std::chrono::milliseconds kRetry{10};  // for a client that reads slowly while a fault is tested
    const std::size_t size = m_out.head.size();
    if (m_sent < size) {
        const std::size_t count = m_delivery.drip.count() > 0 ? 1 : size - m_sent;
        const IoResult result = m_transport->write(std::string_view(m_out.head).substr(m_sent, count), {});
        if (result.state == IoState::Failed || result.state == IoState::End) {
            return close();
        }
        m_sent += result.count;
        if (m_sent < size) {
            return deliverAfter(m_delivery.drip.count() > 0 ? m_delivery.drip
                                : result.count > 0          ? std::chrono::milliseconds(0)
                                                            : kRetry);
        }
    }
    switch (m_delivery.end) {
        case ReplyDelivery::End::KeepAlive:
            return onSent();
        case ReplyDelivery::End::Close:
            m_keepAlive = false;
            return onSent();
        case ReplyDelivery::End::Stall:
            return;
        case ReplyDelivery::End::Reset: {
            const ::linger resets{1, 0};
            ::setsockopt(m_socket.native_handle(), SOL_SOCKET, SO_LINGER, &resets, sizeof resets);
            return close();
        }
    }
}

}  // namespace http
