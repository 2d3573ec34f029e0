#include "Transport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <sys/socket.h>
#include <sys/uio.h>

namespace http {
namespace {

class PlainTransport final : public Transport {
public:
    explicit PlainTransport(int socket) : m_socket(socket) {}

    IoResult handshake() override { return {IoState::Done, 0}; }

    IoResult read(char* data, std::size_t size) override
    {
        const ssize_t count = ::recv(m_socket, data, size, 0);
        if (count == 0) {
            return {IoState::End};
        }
        return count > 0 ? IoResult{IoState::Done, static_cast<std::size_t>(count)} : failed(IoState::WantsRead);
    }

    IoResult write(std::string_view first, std::string_view second) override
    {
        iovec parts[] = {{const_cast<char*>(first.data()), first.size()},
                         {const_cast<char*>(second.data()), second.size()}};
        msghdr message{};
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        const ssize_t count = ::sendmsg(m_socket, &message, MSG_NOSIGNAL);
        return count >= 0 ? IoResult{IoState::Done, static_cast<std::size_t>(count)} : failed(IoState::WantsWrite);
    }

    bool hasPending() const override { return false; }
    void endSending() override { ::shutdown(m_socket, SHUT_WR); }

private:
    static IoResult failed(IoState wanted)
    {
        return {errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR ? wanted : IoState::Failed};
    }

    const int m_socket;
};

// OpenSSL's own socket BIO writes without MSG_NOSIGNAL, so a client that leaves would end the process.
int socketOf(BIO* bio)
{
    return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio)));
}

template <typename Move>
int moved(BIO* bio, int retryFlag, const Move& move)
{
    BIO_clear_retry_flags(bio);
    const ssize_t count = move(socketOf(bio));
    if (count < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        BIO_set_flags(bio, retryFlag | BIO_FLAGS_SHOULD_RETRY);
    }
    return static_cast<int>(count);
}

int bioRead(BIO* bio, char* data, int size)
{
    return moved(bio, BIO_FLAGS_READ,
                 [=](int socket) { return ::recv(socket, data, static_cast<std::size_t>(size), 0); });
}

int bioWrite(BIO* bio, const char* data, int size)
{
    return moved(bio, BIO_FLAGS_WRITE,
                 [=](int socket) { return ::send(socket, data, static_cast<std::size_t>(size), MSG_NOSIGNAL); });
}

long bioControl(BIO* /*bio*/, int command, long /*number*/, void* /*pointer*/)
{
    return command == BIO_CTRL_FLUSH ? 1 : 0;
}

BIO_METHOD* socketMethod()
{
    static BIO_METHOD* const s_method = [] {
        BIO_METHOD* const method = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
        if (method == nullptr) {
            throw std::runtime_error("cannot use TLS: " + tlsFailure());
        }
        BIO_meth_set_read(method, &bioRead);
        BIO_meth_set_write(method, &bioWrite);
        BIO_meth_set_ctrl(method, &bioControl);
        return method;
    }();
    return s_method;
}

class TlsTransport final : public Transport {
public:
    TlsTransport(int socket, TlsSession session) : m_socket(socket), m_session(std::move(session))
    {
        BIO* const bio = BIO_new(socketMethod());
        if (bio == nullptr) {
            throw std::runtime_error("cannot use TLS: " + tlsFailure());
        }
        BIO_set_data(bio, reinterpret_cast<void*>(static_cast<std::intptr_t>(socket)));
        BIO_set_init(bio, 1);
        SSL_set_bio(m_session.get(), bio, bio);
        SSL_set_accept_state(m_session.get());
    }

    IoResult handshake() override { return result(SSL_do_handshake(begun()), 0); }

    IoResult read(char* data, std::size_t size) override
    {
        std::size_t count = 0;
        const int done = SSL_read_ex(begun(), data, size, &count);
        return result(done, count);
    }

    // Gathers head and body of a small reply into one record.
    IoResult write(std::string_view first, std::string_view second) override
    {
        constexpr std::size_t kRecord = 16384;
        char record[kRecord];
        std::string_view bytes = first.empty() ? second : first;
        if (!first.empty() && first.size() < kRecord) {
            const std::size_t rest = std::min(kRecord - first.size(), second.size());
            std::memcpy(record, first.data(), first.size());
            std::memcpy(record + first.size(), second.data(), rest);
            bytes = {record, first.size() + rest};
        }
        std::size_t count = 0;
        const int done = SSL_write_ex(begun(), bytes.data(), std::min(bytes.size(), kRecord), &count);
        return result(done, count);
    }

    bool hasPending() const override { return SSL_pending(m_session.get()) > 0; }

    void endSending() override
    {
        if (SSL_is_init_finished(m_session.get()) == 1) {
            SSL_shutdown(begun());
        }
        ERR_clear_error();
        ::shutdown(m_socket, SHUT_WR);
    }

private:
    // OpenSSL's error queue belongs to the thread; an error of another connection would be mistaken for one of this
    // one.
    SSL* begun()
    {
        ERR_clear_error();
        return m_session.get();
    }

    IoResult result(int done, std::size_t count)
    {
        if (done == 1) {
            return {IoState::Done, count};
        }
        switch (SSL_get_error(m_session.get(), done)) {
            case SSL_ERROR_WANT_READ:
                return {IoState::WantsRead};
            case SSL_ERROR_WANT_WRITE:
                return {IoState::WantsWrite};
            case SSL_ERROR_ZERO_RETURN:
                return {IoState::End};
            default:
                ERR_clear_error();
                return {IoState::Failed};
        }
    }

    const int m_socket;
    const TlsSession m_session;
};

}  // namespace

std::string tlsFailure()
{
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    if (ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
        throw std::bad_alloc();
    }
    const char* const reason = ERR_reason_error_string(error);
    return reason != nullptr ? reason : "unknown error";
}

std::unique_ptr<Transport> makePlainTransport(int socket)
{
    return std::make_unique<PlainTransport>(socket);
}

std::unique_ptr<Transport> makeTlsTransport(int socket, TlsSession session)
{
    return std::make_unique<TlsTransport>(socket, std::move(session));
}

}  // namespace http
