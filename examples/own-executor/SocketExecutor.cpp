// An HTTP executor on plain sockets: the smallest one that keeps the contract X1 to X5 of HttpDelegator.h. One thread
// per request, HTTP/1.0, no TLS. `corvane-contract libown_executor.so` checks it.
#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <list>
#include <mutex>
#include <new>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpDelegator.h"

namespace {

using W::HttpRequest;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostRequests = 64;
constexpr std::size_t kMostBytes = 16 << 20;
constexpr std::chrono::milliseconds kTick{10};  // how soon a cancelled exchange ends

std::chrono::milliseconds timeLimit()
{
    const char* const seconds = std::getenv("OWN_EXECUTOR_TIMEOUT");
    return std::chrono::seconds(seconds ? std::atoi(seconds) : 30);
}

/// One exchange on its own connection.
class SocketExchange {
public:
    /// @param isMarked  asked at every tick
    template <class IsMarked>
    SocketExchange(HttpRequest& request, IsMarked isMarked) : m_request(request), m_end(Clock::now() + timeLimit())
    {
        m_status = run(isMarked);
        if (m_socket >= 0) {
            close(m_socket);
        }
        if (isMarked()) {
            m_status = W::session::kCancelled;
        }
    }

    W::SESSION_STATUS status() const { return m_status; }

private:
    template <class IsMarked>
    W::SESSION_STATUS run(IsMarked isMarked)
    {
        std::string host;
        std::string port;
        std::string message;
        if (!compose(host, port, message)) {
            return W::session::kNotSendable;
        }
        if (!connectTo(host, port)) {
            return W::session::kNoConnection;
        }
        std::string reply;
        bool sending = true;
        while (Clock::now() < m_end && !isMarked()) {
            pollfd ready{m_socket, static_cast<short>(sending ? POLLOUT : POLLIN), 0};
            if (poll(&ready, 1, static_cast<int>(kTick.count())) <= 0) {
                continue;
            }
            char piece[16384];
            const ssize_t moved = sending ? send(m_socket, message.data(), message.size(), MSG_NOSIGNAL)
                                          : recv(m_socket, piece, sizeof piece, 0);
            if (moved < 0 && (errno == EAGAIN || errno == EINTR)) {
                continue;
            }
            if (moved < 0) {
                return sending ? W::session::kNoConnection : W::session::kBrokeOff;
            }
            if (sending) {
                message.erase(0, static_cast<std::size_t>(moved));
                sending = !message.empty();
            } else if (moved == 0) {
                return read(reply);
            } else if (reply.append(piece, static_cast<std::size_t>(moved)).size() > kMostBytes) {
                return W::session::kOutOfMemory;
            }
        }
        return W::session::kTimedOut;  // or cancelled
    }

    bool compose(std::string& host, std::string& port, std::string& message)
    {
        static const char* const kMethods[] = {"GET", "POST", "PUT", "DELETE"};
        const std::string scheme = "http://";
        const std::string& url = m_request.url();
        if (url.compare(0, scheme.size(), scheme) != 0) {
            return false;
        }
        const std::size_t path = std::min(url.find('/', scheme.size()), url.size());
        host = url.substr(scheme.size(), path - scheme.size());
        const std::string authority = host;
        const std::size_t colon = host.rfind(':');
        port = colon == std::string::npos ? "80" : host.substr(colon + 1);
        host.resize(std::min(colon, host.size()));

        std::string target = path == url.size() ? "/" : url.substr(path);
        if (m_request.isEncoding()) {
            target = encoded(target);
        }
        if (target.find_first_of(std::string("\r\n \0", 4)) != std::string::npos) {
            return false;
        }
        std::string body = m_request.body();
        if (m_request.isFileUpload()) {
            std::ifstream file(m_request.filePath(), std::ios::binary);
            body.assign(std::istreambuf_iterator<char>(file), {});
        }
        message = std::string(kMethods[m_request.type()]) + ' ' + target + " HTTP/1.0\r\nHost: " + authority + "\r\n";
        for (const auto& [name, value] : m_request.header().lines()) {
            if ((name + value).find_first_of(std::string("\r\n\0", 3)) != std::string::npos) {
                return false;
            }
            // Replies are not decoded here, so compression is not requested.
            if (strcasecmp(name.c_str(), "Accept-Encoding") != 0) {
                message += name + ": " + value + "\r\n";
            }
        }
        if (!body.empty() || m_request.type() != W::HTTP_GET) {
            message += "Content-Length: " + std::to_string(body.size()) + "\r\n";
        }
        message += "\r\n" + body;
        return true;
    }

    static std::string encoded(const std::string& target)
    {
        std::string result;
        for (const char letter : target) {
            const auto byte = static_cast<unsigned char>(letter);
            if (byte > ' ' && byte < 0x7f && std::string("\"<>\\^{|}`").find(letter) == std::string::npos) {
                result += letter;
            } else {
                char code[4];
                std::snprintf(code, sizeof code, "%%%02X", byte);
                result += code;
            }
        }
        return result;
    }

    bool connectTo(const std::string& host, const std::string& port)
    {
        addrinfo hints{};
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* addresses = nullptr;
        if (getaddrinfo(host.c_str(), port.c_str(), &hints, &addresses) != 0) {
            return false;
        }
        // A refused connection is detected when the request is sent.
        m_socket = socket(addresses->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        const int failed = connect(m_socket, addresses->ai_addr, addresses->ai_addrlen);
        const bool started = failed == 0 || errno == EINPROGRESS;
        freeaddrinfo(addresses);
        return m_socket >= 0 && started;
    }

    W::SESSION_STATUS read(const std::string& reply)
    {
        const std::size_t head = reply.find("\r\n\r\n");
        int code = 0;
        if (head == std::string::npos || std::sscanf(reply.c_str(), "HTTP/%*d.%*d %d", &code) != 1) {
            return W::session::kBrokeOff;
        }
        std::string body = reply.substr(head + 4);
        std::istringstream lines(reply.substr(0, head));
        const std::string wanted = "content-length:";
        for (std::string line; std::getline(lines, line);) {
            if (strncasecmp(line.c_str(), wanted.c_str(), wanted.size()) == 0 &&
                std::strtoull(line.c_str() + wanted.size(), nullptr, 10) > body.size()) {
                return W::session::kBrokeOff;
            }
        }
        m_request.response().setHttpResponseCode(code);
        if (m_request.filePath().empty() || m_request.isFileUpload()) {
            m_request.response().setPayload(std::move(body));
        } else if (code / 100 == 2) {
            std::ofstream file(m_request.filePath(), std::ios::binary);
            if (!file.write(body.data(), static_cast<std::streamsize>(body.size())).flush()) {
                return W::session::kFileTrouble;
            }
        }
        return W::session::kCompleted;
    }

    HttpRequest& m_request;
    Clock::time_point m_end;
    int m_socket = -1;
    W::SESSION_STATUS m_status = W::session::kCompleted;
};

class SocketExecutor final : public W::HttpDelegator {
public:
    int addRequest(HttpRequest* request) override
    {
        if (!request) {
            return W::status::kBadArgument;
        }
        // X1: a refused request is not kept. Nothing here throws.
        try {
            const std::lock_guard<std::mutex> lock(m_lock);
            if (m_live.size() >= kMostRequests) {
                return W::status::kNoService;
            }
            m_live.push_back({request->getID(), false});
            const auto live = std::prev(m_live.end());
            try {
                std::thread([this, request, live] { run(request, live); }).detach();
            } catch (...) {
                m_live.erase(live);
                throw;
            }
            return W::status::kOk;
        } catch (const std::exception&) {
            return W::status::kNoService;
        }
    }

    void flushHttpRequests(W::UINT64 id) override
    {
        std::unique_lock<std::mutex> lock(m_lock);
        // X4: from inside a completion, its own request is not waited for. Neither are other completions that flush:
        // they would wait for each other.
        const bool inside = s_own != nullptr && s_own->id == id;
        if (inside) {
            s_own->flushing = true;
            m_ended.notify_all();
        }
        m_flushed.push_back(id);
        m_ended.wait(lock, [&] {
            return std::none_of(m_live.begin(), m_live.end(), [&](const AcceptedRequest& live) {
                return live.id == id && !(inside && live.flushing);
            });
        });
        m_flushed.erase(std::find(m_flushed.begin(), m_flushed.end(), id));
        if (inside) {
            s_own->flushing = false;
        }
    }

    /// X3: each exchange checks its mark every tick.
    void wake() override {}

private:
    /// A request that was accepted and whose completion has not returned.
    struct AcceptedRequest {
        W::UINT64 id;
        bool flushing;  ///< its completion waits in flushHttpRequests()
    };

    void run(HttpRequest* request, std::list<AcceptedRequest>::iterator live)
    {
        const auto isMarked = [this, request, id = live->id] {
            const std::lock_guard<std::mutex> lock(m_lock);
            return request->isCancelled() || std::find(m_flushed.begin(), m_flushed.end(), id) != m_flushed.end();
        };
        W::SESSION_STATUS status = W::session::kOutOfMemory;
        try {
            status = SocketExchange(*request, isMarked).status();
        } catch (const std::bad_alloc&) {
        }
        s_own = &*live;
        // X2: no lock is held, and the completion may delete the request.
        request->complete(status);
        const std::lock_guard<std::mutex> lock(m_lock);
        m_live.erase(live);
        m_ended.notify_all();
    }

    static thread_local AcceptedRequest* s_own;  ///< the request whose completion runs on this thread
    std::mutex m_lock;
    std::condition_variable m_ended;
    std::list<AcceptedRequest> m_live;
    std::list<W::UINT64> m_flushed;  ///< ids whose requests are being ended
};

thread_local SocketExecutor::AcceptedRequest* SocketExecutor::s_own = nullptr;

}  // namespace

W::HttpDelegator* W::HttpDelegator::getInstance()
{
    // Never destroyed: a plug-in may hold the pointer until the process ends.
    static auto* const s_executor = new SocketExecutor;
    return s_executor;
}
