// The connections that a Server holds, any number of them on a few threads: an idle one waits in epoll and costs its
// memory alone; a worker takes it when its next request comes. cpp-httplib reads the requests and writes the replies,
// but its own loop would keep a thread per connection and wake each of them a hundred times a second.
#pragma once

#include <httplib.h>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace corvaned {

/// One client's connection. Used by one worker at a time, but for idleSince() and hangUp().
class Connection : public httplib::Stream {
public:
    using Clock = std::chrono::steady_clock;
    using Tls = std::unique_ptr<SSL, void (*)(SSL*)>;

    /// @param socket  blocking, with its timeouts set; owned from here on
    /// @param tls     of that socket, before its handshake; null: plain
    Connection(socket_t socket, Tls tls);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override;

    /// Receives what is there; of a TLS connection first the handshake, which may be all.
    /// @return false where nothing more is to be had from the client
    bool fill();

    /// Whether bytes have been received that no request has used yet.
    bool hasInput() const;

    /// Sends what was written so far.
    bool flush();

    /// Hands the connection on: whoever takes it next sees all that was done to it.
    /// @param tell  lets the next worker know
    template <typename Tell>
    void handOver(const Tell& tell)
    {
        const std::lock_guard<std::mutex> lock(m_turn);
        m_idleSince = Clock::now();
        tell();
    }
    void take()
    {
        const std::lock_guard<std::mutex> lock(m_turn);
        m_idleSince = Clock::time_point::max();
    }

    /// Since when nobody has it; the end of time while somebody does.  [any thread]
    Clock::time_point idleSince()
    {
        const std::lock_guard<std::mutex> lock(m_turn);
        return m_idleSince;
    }

    /// Receives nothing more: to the worker that has the connection, or takes it next, the client is gone.  [any
    /// thread]
    void hangUp() const { ::shutdown(m_socket, SHUT_RD); }

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* data, std::size_t size) override;
    ssize_t write(const char* data, std::size_t size) override;
    using httplib::Stream::write;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    struct Address {
        std::string ip;
        int port = 0;
    };

    static Address addressOf(int (*name)(int, sockaddr*, socklen_t*), socket_t socket);
    ssize_t refill();
    ssize_t receive(char* data, std::size_t size);
    bool send(const char* data, std::size_t size);

    const socket_t m_socket;
    Tls m_tls;
    bool m_opened;
    std::array<char, 4096> m_in{};
    std::size_t m_inBegin = 0;
    std::size_t m_inEnd = 0;
    std::string m_out;
    const Address m_remote;
    const Address m_local;
    std::mutex m_turn;
    Clock::time_point m_idleSince = Clock::time_point::max();  // guarded by m_turn
};

/// The task queue that the library's accepting thread fills, and that serves what it is given.
///
/// A few workers are on duty: a thread that the system interrupts in the middle of a request waits for its next turn
/// behind all others that want to run. Where all of them are held up, by the database's lock or by clients that send
/// slowly, a watching thread calls another one in; and whoever finds more on duty than usual leaves.
class Connections : public httplib::TaskQueue {
public:
    /// Answers the next request of a connection; returns whether another may follow.
    using Serve = std::function<bool(Connection& connection)>;

    /// @param usual  workers on duty, of at most so many
    /// @param idle   how long a connection is kept that says nothing
    /// @throws std::system_error where the system gives no epoll
    Connections(int usual, int most, std::chrono::seconds idle, Serve serve);
    ~Connections() override;

    /// Runs the task at once: it is to call add().  [accepting thread]
    void enqueue(std::function<void()> accepted) override { accepted(); }

    /// [accepting thread]
    void add(std::unique_ptr<Connection> connection);

    /// Finishes the requests that run and closes every connection.
    void shutdown() override;

private:
    void work();
    void watch();
    void goOnDuty();
    void leaveIfTooMany();
    void callAnother();
    void serve(Connection& connection);
    void await(Connection& connection, int operation);
    void drop(Connection& connection);
    void hangUpIdle();

    const int m_usual;
    const std::chrono::seconds m_idle;
    const Serve m_serve;
    const int m_epoll;
    const int m_stopped;  // an eventfd, readable once workers are to end
    std::mutex m_lock;
    std::unordered_map<const Connection*, std::unique_ptr<Connection>> m_all;  // guarded by m_lock
    std::atomic<std::uint64_t> m_taken{0};                                     // requests that some worker has begun
    std::atomic<int> m_onDuty{0};                                              // changed with m_dutyLock held
    std::mutex m_dutyLock;
    std::condition_variable m_called;
    int m_calls;            // for workers to go on duty; guarded by m_dutyLock
    bool m_ending = false;  // all go on duty, and find that there is none; guarded by m_dutyLock
    std::vector<std::thread> m_threads;
};

}  // namespace corvaned
