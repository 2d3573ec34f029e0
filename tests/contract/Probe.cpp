// The server and the watched requests.
#include "Probe.h"

#include <memory>
#include <new>
#include <stdexcept>

#include <netinet/in.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace contract {
namespace {

constexpr std::size_t kRequestBytes = 4096;
thread_local int s_inCall = 0;  // inside add() or cancel()
std::atomic<int> s_deleted{0};

void answer(int connection)
{
    std::string request;
    char piece[4096];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t got = recv(connection, piece, sizeof piece, 0);
        if (got <= 0) {
            close(connection);
            return;
        }
        request.append(piece, static_cast<std::size_t>(got));
    }
    if (request.find(" /never") != std::string::npos) {
        // Reads until the client gives up.
        while (recv(connection, piece, sizeof piece, 0) > 0) {
        }
    } else {
        if (request.find(" /slow") != std::string::npos) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
        }
        const std::string reply = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\nok";
        static_cast<void>(send(connection, reply.data(), reply.size(), MSG_NOSIGNAL));
    }
    close(connection);
}

}  // namespace

std::string startServer()
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    constexpr int kWaiting = 1024;
    if (listener < 0 || bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        listen(listener, kWaiting) != 0 || getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        throw std::runtime_error("cannot listen on a loopback port");
    }
    std::thread([listener] {
        for (;;) {
            const int connection = accept(listener, nullptr, nullptr);
            if (connection >= 0) {
                std::thread(answer, connection).detach();
            }
        }
    }).detach();
    return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

class Probe::Request final : public W::HttpRequest {
public:
    using HttpRequest::HttpRequest;
    ~Request() override { ++s_deleted; }
    // Deletions are counted. The memory does not belong to the heap.
    static void operator delete(void* /*memory*/) {}
    static void* operator new(std::size_t /*size*/, void* memory) { return memory; }
};

Probe::Probe(const std::string& url, W::UINT64 id, std::function<void(Probe&)> onCompletion,
             const W::HttpHeader& header)
    : m_onCompletion(std::move(onCompletion))
{
    void* const memory = mmap(nullptr, kRequestBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    static_assert(sizeof(Request) <= kRequestBytes);
    m_request = new (memory) Request(W::HTTP_GET, url, header, std::string(), &Probe::complete, this);
    m_request->setID(id);
}

int Probe::add()
{
    ++s_inCall;
    const int returned = g_executor->addRequest(m_request);
    --s_inCall;
    return returned;
}

void Probe::cancel()
{
    ++s_inCall;
    m_request->setCancel();
    --s_inCall;
}

void Probe::forbid()
{
    mprotect(m_request, kRequestBytes, PROT_NONE);
}

int Probe::deleted()
{
    return s_deleted;
}

void Probe::complete(W::SESSION_STATUS status, W::HttpRequest* request, void* userData)
{
    auto& probe = *static_cast<Probe*>(userData);
    if (s_inCall > 0) {
        probe.m_onCallersStack = true;
    }
    if (++probe.m_completions == 1) {
        probe.m_status = status;
        probe.m_code = request->response().getHttpResponseCode();
        probe.m_payload = request->response().getPayload();
        // Calls that the callback makes are not the check's own.
        const int outer = std::exchange(s_inCall, 0);
        if (probe.m_onCompletion) {
            probe.m_onCompletion(probe);
        }
        s_inCall = outer;
    }
    probe.m_completed.set();
}

bool returns(std::function<void()> action, std::chrono::milliseconds patience)
{
    // Shared, because the thread may be abandoned.
    const auto done = std::make_shared<Event>();
    std::thread([action = std::move(action), done] {
        action();
        done->set();
    }).detach();
    return done->wait(patience);
}

}  // namespace contract
