// Hostile clients and one honest client against one server: opens the given number of harmful connections, requests one
// page every 50 ms meanwhile, and prints how long the replies took. bench/hostile runs it.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr std::chrono::milliseconds kPeriod{50};
constexpr std::chrono::seconds kPatience{5};  // for a reply; a later one counts as missing
constexpr std::chrono::milliseconds kDrop{4000};

using Context = std::unique_ptr<SSL_CTX, void (*)(SSL_CTX*)>;
using Session = std::unique_ptr<SSL, void (*)(SSL*)>;

/// A connection to the server, perhaps with TLS.
class BenchClient {
public:
    /// @param shakes  whether the TLS handshake is made
    BenchClient(int port, const char* from, SSL_CTX* context, bool shakes) : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        const int yes = 1;
        ::setsockopt(m_socket, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &yes, sizeof yes);
        const timeval patience{kPatience.count(), 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
        const sockaddr_in own = addressOf(from, 0);
        const sockaddr_in server = addressOf("127.0.0.1", port);
        m_good = ::bind(m_socket, reinterpret_cast<const sockaddr*>(&own), sizeof own) == 0 &&
                 ::connect(m_socket, reinterpret_cast<const sockaddr*>(&server), sizeof server) == 0;
        if (m_good && context != nullptr && shakes) {
            m_session.reset(SSL_new(context));
            SSL_set_fd(m_session.get(), m_socket);
            m_good = SSL_connect(m_session.get()) == 1;
        }
    }
    BenchClient(BenchClient&& other) noexcept
        : m_socket(std::exchange(other.m_socket, -1)), m_session(std::move(other.m_session)), m_good(other.m_good)
    {}
    BenchClient& operator=(BenchClient&&) = delete;
    ~BenchClient()
    {
        if (m_socket >= 0) {
            ::close(m_socket);
        }
    }

    bool isGood() const { return m_good; }

    void send(std::string_view bytes)
    {
        if (m_good && !bytes.empty()) {
            const auto count =
                m_session
                    ? static_cast<ssize_t>(SSL_write(m_session.get(), bytes.data(), static_cast<int>(bytes.size())))
                    : ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            m_good = count == static_cast<ssize_t>(bytes.size());
        }
    }

    /// Reads one reply with a Content-Length. @return its status, or 0
    int receive()
    {
        std::string text;
        std::size_t wanted = std::string::npos;
        while (m_good && text.size() < wanted) {
            char piece[65536];
            const auto count = m_session ? static_cast<ssize_t>(SSL_read(m_session.get(), piece, sizeof piece))
                                         : ::recv(m_socket, piece, sizeof piece, 0);
            m_good = count > 0;
            text.append(piece, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
            const std::size_t end = text.find("\r\n\r\n");
            if (wanted == std::string::npos && end != std::string::npos) {
                const std::size_t length = text.find("Content-Length: ");
                wanted = end + 4 + (length < end ? std::strtoul(text.c_str() + length + 16, nullptr, 10) : 0);
            }
        }
        return m_good && text.size() > 12 ? std::atoi(text.c_str() + 9) : 0;
    }

    /// Keeps the receive buffer small, so that replies remain in the server.
    void receiveLittle() const
    {
        const int size = 4096;
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
    }

private:
    static sockaddr_in addressOf(const char* host, int port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        ::inet_pton(AF_INET, host, &address.sin_addr);
        return address;
    }

    int m_socket;
    Session m_session{nullptr, &SSL_free};
    bool m_good = false;
};

struct Attack {
    const char* name;
    bool shakes;        // makes the TLS handshake
    const char* begin;  // sent first; if "", requests a page twenty times
    char drop;          // sent every four seconds; 0: nothing
};

constexpr Attack kAttacks[] = {
    {"silence", true, "\n", 0},
    {"handshake", false, "\x16\x03", '\x01'},
    {"line", true, "G", 'E'},
    {"header", true, "GET / HTTP/1.1\r\nHost: here\r\nX: ", 'x'},
    {"body", true, "PUT / HTTP/1.1\r\nHost: here\r\nContent-Length: 100000\r\n\r\n", 'x'},
    {"unread", true, "", 0},
};

struct Options {
    int port = 0;
    bool tls = false;
    const Attack* attack = nullptr;  // null: none
    int connections = 0;
    int seconds = 3;
    std::string request;
};

class Honest {
public:
    Honest(const Options& options, SSL_CTX* context) : m_options(options), m_context(context) {}

    void run(const std::atomic<bool>& stop)
    {
        auto client = std::make_unique<BenchClient>(m_options.port, "127.0.0.1", m_context, true);
        for (auto next = Clock::now(); !stop; next += kPeriod) {
            std::this_thread::sleep_until(next);
            const auto begin = Clock::now();
            client->send(m_options.request);
            const int status = client->receive();
            if (status == 200) {
                m_times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
            } else {
                ++m_missing;
                client = std::make_unique<BenchClient>(m_options.port, "127.0.0.1", m_context, true);
            }
            next = std::max(next, Clock::now() - kPeriod);
        }
    }

    // replies, missing replies, and milliseconds: median, 99th percentile, longest
    void print()
    {
        std::sort(m_times.begin(), m_times.end());
        const auto at = [this](double part) {
            return m_times.empty() ? 0.0
                                   : m_times[static_cast<std::size_t>(part * static_cast<double>(m_times.size() - 1))];
        };
        std::printf("%zu %d %.2f %.2f %.2f\n", m_times.size(), m_missing, at(0.5), at(0.99), at(1));
    }

private:
    const Options& m_options;
    SSL_CTX* const m_context;
    std::vector<double> m_times;
    int m_missing = 0;
};

void attack(const Options& options, SSL_CTX* context)
{
    const Attack& attack = *options.attack;
    std::string many;
    for (int i = 0; i < 20; ++i) {
        many += options.request;
    }
    std::vector<BenchClient> clients;
    clients.reserve(static_cast<std::size_t>(options.connections));
    const auto end = Clock::now() + std::chrono::seconds(options.seconds + 10);
    for (int i = 0; i < options.connections && Clock::now() < end; ++i) {
        clients.emplace_back(options.port, "127.0.0.66", options.tls ? context : nullptr, attack.shakes);
        if (std::string_view(attack.begin).empty()) {
            clients.back().receiveLittle();
            clients.back().send(many);
        } else if (std::string_view(attack.begin) != "\n") {
            clients.back().send(attack.begin);
        }
    }
    const auto held = Clock::now() + std::chrono::seconds(options.seconds);
    auto drop = Clock::now() + kDrop;
    while (Clock::now() < held) {
        std::this_thread::sleep_for(kPeriod);
        if (attack.drop != 0 && Clock::now() >= drop) {
            for (BenchClient& client : clients) {
                client.send({&attack.drop, 1});
            }
            drop += kDrop;
        }
    }
}

int usage()
{
    std::fprintf(stderr, "usage: hostile_bench PORT plain|tls ATTACK|none CONNECTIONS SECONDS <REQUEST\n");
    return 2;
}

}  // namespace

int main(int argc, char** argv)
{
    constexpr int kArguments = 6;
    if (argc != kArguments) {
        return usage();
    }
    Options options;
    options.port = std::atoi(argv[1]);
    options.tls = std::strcmp(argv[2], "tls") == 0;
    const auto* const found = std::find_if(std::begin(kAttacks), std::end(kAttacks),
                                           [argv](const Attack& each) { return std::strcmp(each.name, argv[3]) == 0; });
    if (found == std::end(kAttacks) && std::strcmp(argv[3], "none") != 0) {
        return usage();
    }
    options.attack = found == std::end(kAttacks) ? nullptr : found;
    options.connections = std::atoi(argv[4]);
    options.seconds = std::atoi(argv[5]);
    char piece[4096];
    while (const std::size_t count = std::fread(piece, 1, sizeof piece, stdin)) {
        options.request.append(piece, count);
    }

    const Context context(SSL_CTX_new(TLS_client_method()), &SSL_CTX_free);
    std::atomic<bool> stop{false};
    Honest honest(options, options.tls ? context.get() : nullptr);
    std::thread asking([&] { honest.run(stop); });
    if (options.attack != nullptr) {
        attack(options, context.get());
    } else {
        std::this_thread::sleep_for(std::chrono::seconds(options.seconds));
    }
    stop = true;
    asking.join();
    honest.print();
    return 0;
}
