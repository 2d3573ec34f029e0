// A Transport as the stream that Boost.Beast's WebSocket reads from and writes to: an AsyncStream of Boost.Asio.
#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/system/error_code.hpp>

#include "Transport.h"

namespace http {

/// Used on the I/O thread. May be destroyed while operations are pending; they end with operation_aborted.
class TransportStream {
public:
    using Socket = boost::asio::ip::tcp::socket;
    using executor_type = Socket::executor_type;
    using Error = boost::system::error_code;

    /// @param input  bytes that have been read already
    TransportStream(Socket socket, std::unique_ptr<Transport> transport, std::string input)
        : m_link(std::make_shared<StreamState>(std::move(socket), std::move(transport), std::move(input)))
    {}
    TransportStream(const TransportStream&) = delete;
    TransportStream& operator=(const TransportStream&) = delete;
    ~TransportStream() { close(); }

    executor_type get_executor() { return m_link->socket.get_executor(); }

    template <typename Buffers, typename Token>
    auto async_read_some(const Buffers& buffers, Token&& token)
    {
        return boost::asio::async_initiate<Token, void(Error, std::size_t)>(
            [link = m_link](auto handler, boost::asio::mutable_buffer buffer) {
                link->read(link, buffer, std::make_shared<decltype(handler)>(std::move(handler)));
            },
            token, firstOf<boost::asio::mutable_buffer>(buffers));
    }

    template <typename Buffers, typename Token>
    auto async_write_some(const Buffers& buffers, Token&& token)
    {
        return boost::asio::async_initiate<Token, void(Error, std::size_t)>(
            [link = m_link](auto handler, boost::asio::const_buffer buffer) {
                link->write(link, buffer, std::make_shared<decltype(handler)>(std::move(handler)));
            },
            token, firstOf<boost::asio::const_buffer>(buffers));
    }

    void close()
    {
        Error ignored;
        m_link->socket.close(ignored);
    }

    void endSending() { m_link->transport->endSending(); }

private:
    // Shared by the stream and pending operations. Once the socket is closed, they touch no buffer.
    struct StreamState : std::enable_shared_from_this<StreamState> {
        StreamState(Socket moved, std::unique_ptr<Transport> mover, std::string bytes)
            : socket(std::move(moved)), transport(std::move(mover)), input(std::move(bytes))
        {}

        Socket socket;
        std::unique_ptr<Transport> transport;
        std::string input;

        using Self = std::shared_ptr<StreamState>;

        // The stream may be destroyed before the handler runs. The handler then gets an error, because without one an
        // operation of several writes would go on with the stream.
        template <typename Handler>
        void complete(const std::shared_ptr<Handler>& handler, Error error, std::size_t count)
        {
            boost::asio::post(socket.get_executor(), [self = this->shared_from_this(), handler, error, count] {
                std::move (*handler)(self->socket.is_open() ? error : Error(boost::asio::error::operation_aborted),
                                     count);
            });
        }

        // Ends an operation that has nothing to do or no socket. @return whether it did
        template <typename Handler>
        bool endedEarly(std::size_t size, const std::shared_ptr<Handler>& handler)
        {
            if (size > 0 && socket.is_open()) {
                return false;
            }
            complete(handler, socket.is_open() ? Error() : Error(boost::asio::error::operation_aborted), 0);
            return true;
        }

        // Handles a result that is not Done: retries later, or ends.
        template <typename Handler, typename Again>
        void wait(const Self& self, IoState state, const std::shared_ptr<Handler>& handler, const Again& again)
        {
            if (state == IoState::WantsRead || state == IoState::WantsWrite) {
                socket.async_wait(state == IoState::WantsRead ? Socket::wait_read : Socket::wait_write,
                                  [self, handler, again](const Error& failed) {
                                      if (failed) {
                                          self->complete(handler, failed, 0);
                                      } else {
                                          again();
                                      }
                                  });
            } else {
                complete(handler,
                         state == IoState::End ? Error(boost::asio::error::eof)
                                               : Error(boost::asio::error::connection_reset),
                         0);
            }
        }

        template <typename Handler>
        void read(const Self& self, boost::asio::mutable_buffer buffer, const std::shared_ptr<Handler>& handler)
        {
            if (endedEarly(buffer.size(), handler)) {
                return;
            }
            if (!input.empty()) {
                const std::size_t count = std::min(buffer.size(), input.size());
                std::memcpy(buffer.data(), input.data(), count);
                input.erase(0, count);
                return complete(handler, Error(), count);
            }
            const IoResult result = transport->read(static_cast<char*>(buffer.data()), buffer.size());
            if (result.state == IoState::Done) {
                return complete(handler, Error(), result.count);
            }
            wait(self, result.state, handler, [self, buffer, handler] { self->read(self, buffer, handler); });
        }

        template <typename Handler>
        void write(const Self& self, boost::asio::const_buffer buffer, const std::shared_ptr<Handler>& handler)
        {
            if (endedEarly(buffer.size(), handler)) {
                return;
            }
            const IoResult result = transport->write({static_cast<const char*>(buffer.data()), buffer.size()}, {});
            if (result.state == IoState::Done) {
                return complete(handler, Error(), result.count);
            }
            wait(self, result.state, handler, [self, buffer, handler] { self->write(self, buffer, handler); });
        }
    };

    template <typename Buffer, typename Buffers>
    static Buffer firstOf(const Buffers& buffers)
    {
        for (auto each = boost::asio::buffer_sequence_begin(buffers); each != boost::asio::buffer_sequence_end(buffers);
             ++each) {
            const Buffer buffer(*each);
            if (buffer.size() > 0) {
                return buffer;
            }
        }
        return {};
    }

    const std::shared_ptr<StreamState> m_link;
};

// Boost.Beast finds these by argument-dependent look-up.

inline void beast_close_socket(TransportStream& stream)
{
    stream.close();
}

inline void teardown(boost::beast::role_type /*role*/, TransportStream& stream, boost::system::error_code& error)
{
    stream.endSending();
    error = {};
}

template <typename Handler>
void async_teardown(boost::beast::role_type /*role*/, TransportStream& stream, Handler&& handler)
{
    stream.endSending();
    boost::asio::post(stream.get_executor(),
                      [kept = std::make_shared<std::decay_t<Handler>>(std::forward<Handler>(handler))] {
                          std::move (*kept)(boost::system::error_code());
                      });
}

}  // namespace http
