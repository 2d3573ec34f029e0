// A bounded number of threads for work that may take long. Clients share them fairly: addresses with waiting work take
// turns, and one address never occupies all threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace http {

/// [any thread]
class HandlerPool {
public:
    using Job = std::function<void()>;  // must not throw

    enum class Priority {
        Normal,
        Low
    };

    /// @param waiting   limit of waiting jobs, of all addresses together
    /// @param priority  Low: the threads yield to others
    HandlerPool(std::size_t threads, std::size_t waiting, Priority priority);
    HandlerPool(const HandlerPool&) = delete;
    HandlerPool& operator=(const HandlerPool&) = delete;

    /// Drops the jobs that wait and joins the threads.
    ~HandlerPool();

    /// Queues a job for a thread.
    /// @return false if too many jobs wait
    bool add(const std::string& address, Job job);

    /// Waits until no job runs or waits, but no longer than `until`.
    /// @return whether the pool is idle
    bool drain(std::chrono::steady_clock::time_point until);

private:
    struct Lane {
        std::deque<Job> waiting;
        std::size_t running = 0;
    };
    using Lanes = std::unordered_map<std::string, Lane>;

    void work(Priority priority);
    Lanes::value_type* nextLane();

    const std::size_t m_mostWaiting;
    const std::size_t m_mostPerAddress;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    Lanes m_lanes;                           // those with jobs; this and all below is guarded by m_lock
    std::deque<Lanes::value_type*> m_turns;  // those with jobs that wait, the next one first
    std::size_t m_waiting = 0;
    std::size_t m_running = 0;
    std::size_t m_sleeping = 0;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};

}  // namespace http
