// A bounded number of threads for work that may take long. Clients share them fairly: addresses with waiting work take
// turns, and one address never occupies all threads. Short jobs of one address occupy no more threads than the machine
// has processors, because other clients' work would otherwise wait for a processor.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
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

    /// How many jobs of one address may run that began within a time. Jobs that run longer wait for something, and do
    /// not count.
    struct Burst {
        std::size_t jobs = std::max(2U, std::thread::hardware_concurrency());
        std::chrono::milliseconds time{20};
    };

    /// @param waiting   limit of waiting jobs, of all addresses together
    /// @param priority  Low: the threads yield to others
    HandlerPool(std::size_t threads, std::size_t waiting, Priority priority);
    HandlerPool(std::size_t threads, std::size_t waiting, Priority priority, Burst burst);
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
    using Clock = std::chrono::steady_clock;

    struct Lane {
        std::deque<Job> waiting;
        std::list<Clock::time_point> running;  // when each running job began, the longest running one first
    };
    using Lanes = std::unordered_map<std::string, Lane>;

    bool mayRun(const Lane& lane) const;
    void work(Priority priority);
    void sleep(std::unique_lock<std::mutex>& lock);
    Lanes::value_type* nextLane();

    const std::size_t m_mostWaiting;
    const std::size_t m_mostPerAddress;
    const Burst m_burst;
    std::mutex m_lock;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    Lanes m_lanes;                           // those with jobs; this and all below is guarded by m_lock
    std::deque<Lanes::value_type*> m_turns;  // those with jobs that wait, the next one first
    std::size_t m_waiting = 0;
    std::size_t m_running = 0;
    std::size_t m_sleeping = 0;
    // Whether one of the sleeping threads looks again after the time of a burst. One suffices; waking others for every
    // job that may not run yet would take the processors from the jobs that run.
    bool m_isWatched = false;
    bool m_ending = false;
    std::vector<std::thread> m_threads;
};

}  // namespace http
