#include "WebSocketConnection.h"

#include <deque>
#include <mutex>

#include <boost/asio/post.hpp>
#include <boost/beast/core/buffers_to_string.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/websocket/stream.hpp>

#include "HttpCore.h"
#include "TransportStream.h"

namespace http {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;

constexpr std::uint16_t kGoingAway = 1001;

}  // namespace

/// The connection itself; lives as long as the application or an operation holds it.
class WebSocketConnection::Peer final : public WebSocket, public std::enable_shared_from_this<Peer> {
public:
    Peer(HttpCore& core, asio::ip::tcp::socket socket, std::unique_ptr<Transport> transport, std::string input,
         std::shared_ptr<WebSocketHandler> handler, const std::string& remote)
        : m_core(&core),
          m_context(core.context()),
          m_handlers(core.handlers()),
          m_mostMessages(core.limits().unsentMessages),
          m_mostBytes(core.limits().unsentMessageBytes),
          m_stream(std::make_unique<Stream>(std::move(socket), std::move(transport), std::move(input))),
          m_handler(std::move(handler)),
          m_lane(addressKey(remote))
    {
        m_stream->read_message_max(core.limits().messageBytes);
        m_stream->auto_fragment(false);
        // JSON shrinks to a tenth. The limit of a message counts after decompression.
        websocket::permessage_deflate deflate;
        deflate.server_enable = true;
        deflate.compLevel = 3;
        deflate.memLevel = 5;
        m_stream->set_option(deflate);
        m_stream->set_option(
            websocket::stream_base::timeout{core.limits().headerTime, core.limits().webSocketIdleTime, true});
    }

    void start(const Request& request, std::function<void()> ended)
    {
        m_ended = std::move(ended);
        m_request.method(beast::http::verb::get);
        m_request.target(request.target);
        m_request.version(11);
        for (const auto& [name, value] : request.headers) {
            m_request.insert(name, value);
        }
        m_stream->async_accept(m_request, [self = shared_from_this()](const beast::error_code& failed) {
            self->m_request = {};
            if (failed) {
                return self->finish();
            }
            self->m_open = true;
            self->writeNext();
            self->call([self] { self->m_handler->opened(self); });
        });
    }

    // [any thread]
    bool send(std::string message) override
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (m_isOver) {
            return false;
        }
        if (m_unsent >= m_mostMessages || m_unsentBytes + message.size() > m_mostBytes) {
            m_isOver = true;
            post([](Peer& peer) { peer.finish(); });  // a close frame would wait for the messages before it
            return false;
        }
        ++m_unsent;
        m_unsentBytes += message.size();
        post([message = std::move(message)](Peer& peer) mutable { peer.queue(std::move(message)); });
        return true;
    }

    // [any thread] Does nothing after the end of the server.
    void close(std::uint16_t code) override
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        if (!m_isOver) {
            m_isOver = true;
            post([code](Peer& peer) { peer.closeAfterMessages(code); });
        }
    }

    void closeAfterMessages(std::uint16_t code)
    {
        m_closeCode = code;
        if (!m_writing && m_open) {
            writeNext();
        }
    }

    // Called once, for any cause of the end.
    void finish()
    {
        if (!m_ended) {
            return;
        }
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_isOver = true;
            m_core = nullptr;
        }
        const auto ended = std::exchange(m_ended, nullptr);
        m_stream.reset();  // now: the application may hold this object longer than the server lives
        if (!m_calling) {
            callClosed();
        }
        ended();
    }

private:
    using Stream = websocket::stream<TransportStream, true>;

    // REQUIRES: m_lock held. The core may be destroyed once the connection has ended.
    template <typename Action>
    void post(Action action)
    {
        if (m_core != nullptr) {
            asio::post(m_context, [self = shared_from_this(), action = std::move(action)]() mutable { action(*self); });
        }
    }

    // Makes one call to the application on a handler thread, then reads the next message.
    template <typename Call>
    void call(const Call& made)
    {
        m_calling = true;
        HttpCore* const core = m_core;
        const bool added = m_handlers.add(m_lane, [self = shared_from_this(), core, made] {
            bool good = true;
            try {
                made();
            } catch (const std::exception& error) {
                core->report(std::string("a WebSocket's handler failed: ") + error.what());
                good = false;
            }
            asio::post(core->context(), [self, good] { self->onCalled(good); });
        });
        if (!added) {
            m_calling = false;
            finish();
        }
    }

    void onCalled(bool good)
    {
        m_calling = false;
        if (!m_ended) {
            return callClosed();
        }
        if (!good) {
            return finish();
        }
        m_stream->async_read(m_buffer, [self = shared_from_this()](const beast::error_code& failed, std::size_t) {
            if (failed || !self->m_ended) {
                return self->finish();
            }
            std::string message = beast::buffers_to_string(self->m_buffer.data());
            self->m_buffer = {};  // an idle connection keeps no memory
            self->call([self, kept = std::move(message)] { self->m_handler->received(kept); });
        });
    }

    // The last call. It is made even if the handler pool is full or the server stops.
    void callClosed()
    {
        if (const auto handler = std::exchange(m_handler, nullptr)) {
            if (!m_handlers.add(m_lane, [handler] { closeHandler(*handler); })) {
                closeHandler(*handler);
            }
        }
    }

    static void closeHandler(WebSocketHandler& handler)
    {
        try {
            handler.closed();
        } catch (const std::exception&) {
            // The connection has already ended.
        }
    }

    void queue(std::string message)
    {
        m_queue.push_back(std::move(message));
        if (!m_writing && m_open) {
            writeNext();
        }
    }

    void writeNext()
    {
        if (!m_ended) {
            return;
        }
        if (m_queue.empty()) {
            if (m_closeCode != 0) {
                m_writing = true;
                m_stream->async_close(websocket::close_reason(m_closeCode),
                                      [self = shared_from_this()](const beast::error_code&) { self->finish(); });
            }
            return;
        }
        m_writing = true;
        m_stream->text(true);
        m_stream->async_write(
            asio::buffer(m_queue.front()),
            [self = shared_from_this()](const beast::error_code& failed, std::size_t) { self->onWritten(!failed); });
    }

    void onWritten(bool good)
    {
        m_writing = false;
        if (!good || !m_ended) {
            return finish();
        }
        {
            const std::lock_guard<std::mutex> lock(m_lock);
            --m_unsent;
            m_unsentBytes -= m_queue.front().size();
        }
        m_queue.pop_front();
        writeNext();
    }

    HttpCore* m_core;
    asio::io_context& m_context;
    HandlerPool& m_handlers;
    const std::size_t m_mostMessages;
    const std::size_t m_mostBytes;
    std::unique_ptr<Stream> m_stream;
    std::shared_ptr<WebSocketHandler> m_handler;
    const std::string m_lane;
    beast::http::request<beast::http::empty_body> m_request;
    std::function<void()> m_ended;  // empty: the connection has ended
    beast::flat_buffer m_buffer;
    std::deque<std::string> m_queue;
    std::uint16_t m_closeCode = 0;
    bool m_open = false;
    bool m_writing = false;
    bool m_calling = false;
    std::mutex m_lock;
    bool m_isOver = false;  // nothing more is sent; this and all below is guarded by m_lock
    std::size_t m_unsent = 0;
    std::size_t m_unsentBytes = 0;
};

WebSocketConnection::WebSocketConnection(HttpCore& core, asio::ip::tcp::socket socket,
                                         std::unique_ptr<Transport> transport, std::string input,
                                         std::shared_ptr<WebSocketHandler> handler, const std::string& remote)
    : m_peer(std::make_shared<Peer>(core, std::move(socket), std::move(transport), std::move(input), std::move(handler),
                                    remote))
{}

WebSocketConnection::~WebSocketConnection() = default;

void WebSocketConnection::start(const Request& request, std::function<void()> ended)
{
    m_peer->start(request, std::move(ended));
}

void WebSocketConnection::end()
{
    m_peer->close(kGoingAway);
}

void WebSocketConnection::cut()
{
    m_peer->finish();
}

}  // namespace http
