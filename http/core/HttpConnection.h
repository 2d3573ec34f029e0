// One connection: the handshake, then one request after another. It is in one state at a time; each state has a
// deadline, which tick() enforces. While a handler works on a request, the handler's thread alone uses the transport,
// so that it can send the reply without waking the I/O thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "ExchangeHook.h"
#include "HttpCore.h"
#include "ReplyFinish.h"
#include "RequestReader.h"
#include "Transport.h"

namespace http {

class WebSocketConnection;
struct HttpWork;

/// Used on the I/O thread, except where it is marked otherwise.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// @param socket     non-blocking
    /// @param encrypted  whether the transport needs a handshake
    HttpConnection(HttpCore& core, boost::asio::ip::tcp::socket socket, std::unique_ptr<Transport> transport,
                   bool encrypted, std::string remote);

    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;
    ~HttpConnection();

    void start();

    /// Closes the connection if its deadline has passed, and checks whether a client that waits for a reply has left.
    void tick(TimePoint now);

    /// Closes the connection as soon as it is idle.
    void finish();

    /// Closes the connection now; a handler that works for it learns that its reply is not needed.
    void close();

    const std::string& remote() const { return m_remote; }
    /// For idle connections only.
    TimePoint idleSince() const { return m_deadline - m_core.limits().idleTime; }

    // The place of the connection in the core's lists.
    HttpCore::Connections::iterator position;
    ConnectionList list = ConnectionList::Busy;

private:
    enum class State : std::uint8_t {
        Handshake,
        Idle,  // no byte of the next request has been received
        Head,
        Body,
        Handling,   // a handler has the request and the transport
        Sending,    // the client has to read before the rest of the reply can be sent
        Delivery,   // an ExchangeHook decides when the bytes are sent
        Lingering,  // the last reply is sent: reads on for a moment, since closing a socket with unread bytes
                    // resets the connection and can discard the reply
        Upgraded,
        Closed,
    };

    void enter(State state, std::chrono::milliseconds time);
    void waitReadable();
    void waitWritable();
    void waitFor(IoState wanted);
    void onReady();
    void handshake();
    void onHandshake(IoState result);

    bool isReading() const;
    void read();
    void onRead(std::string_view bytes);
    void beginRequest();
    void proceed();
    void onPartOfBody();
    void readNext();

    void dispatch();
    void giveUp(int status, const std::string& message);
    void handle(const std::shared_ptr<HttpWork>& work);
    Reply openWebSocket(HttpWork& work);
    void onHandled(HttpWork& work);
    void upgrade(HttpWork& work);

    void refuse(int status, const std::string& message);
    void beginSending();
    void send();
    void onSent();
    void linger();
    void deliver(const ReplyDelivery& delivery);
    void deliverAfter(std::chrono::milliseconds time);
    void deliverPart();

    void release();
    void uncountBody();
    void uncountUnsent();
    void checkClient(TimePoint now);

    HttpCore& m_core;
    boost::asio::ip::tcp::socket m_socket;
    std::unique_ptr<Transport> m_transport;
    const std::string m_remote;
    State m_state = State::Handshake;
    bool m_reading = false;  // a wait is pending
    bool m_writing = false;
    bool m_lent = false;  // another thread uses the transport
    bool m_keepAlive = true;
    bool m_ending = false;   // the server stops
    bool m_leaving = false;  // the client has ended its side
    TimePoint m_deadline;
    TimePoint m_begun{};  // of the request's first byte, or of its reply
    std::size_t m_requests = 0;
    std::size_t m_lingered = 0;  // bytes
    std::size_t m_countedBody = 0;
    std::size_t m_countedUnsent = 0;
    std::string m_input;  // received and not parsed yet
    RequestReader m_reader;
    OutgoingReply m_out;
    std::size_t m_sent = 0;        // bytes of m_out
    std::size_t m_sentBefore = 0;  // at the last progress
    std::shared_ptr<HttpWork> m_work;
    ReplyDelivery m_delivery;
    std::unique_ptr<boost::asio::steady_timer> m_timer;  // of a delivery
    std::shared_ptr<WebSocketConnection> m_webSocket;
};

}  // namespace http
