#include "HandlerPool.h"

#include <iterator>

#include <sys/resource.h>

namespace http {

HandlerPool::HandlerPool(std::size_t threads, std::size_t waiting, Priority priority)
    : HandlerPool(threads, waiting, priority, Burst())
{}

HandlerPool::HandlerPool(std::size_t threads, std::size_t waiting, Priority priority, Burst burst)
    : m_mostWaiting(waiting), m_mostPerAddress(std::max<std::size_t>(threads, 2) - 1), m_burst(burst)
{
    for (std::size_t i = 0; i < std::max<std::size_t>(threads, 1); ++i) {
        m_threads.emplace_back([this, priority] { work(priority); });
    }
}

HandlerPool::~HandlerPool()
{
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_ending = true;
        m_wake.notify_all();
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
}

bool HandlerPool::add(const std::string& address, Job job)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_waiting >= m_mostWaiting || m_ending) {
        return false;
    }
    Lanes::value_type& lane = *m_lanes.try_emplace(address).first;
    lane.second.waiting.push_back(std::move(job));
    ++m_waiting;
    if (lane.second.waiting.size() == 1) {
        m_turns.push_back(&lane);
    }
    if (m_sleeping > 0 && (!m_isWatched || mayRun(lane.second))) {
        m_wake.notify_one();
    }
    return true;
}

bool HandlerPool::drain(std::chrono::steady_clock::time_point until)
{
    std::unique_lock<std::mutex> lock(m_lock);
    return m_idle.wait_until(lock, until, [this] { return m_running == 0 && m_waiting == 0; });
}

bool HandlerPool::mayRun(const Lane& lane) const
{
    if (lane.running.size() < m_burst.jobs || lane.running.size() >= m_mostPerAddress) {
        return lane.running.size() < m_mostPerAddress;
    }
    const auto& begun = *std::prev(lane.running.end(), static_cast<std::ptrdiff_t>(m_burst.jobs));
    return Clock::now() - begun >= m_burst.time;
}

// Takes the first lane that may run another job out of m_turns; null if there is none.
HandlerPool::Lanes::value_type* HandlerPool::nextLane()
{
    const auto found = std::find_if(m_turns.begin(), m_turns.end(),
                                    [this](const Lanes::value_type* lane) { return mayRun(lane->second); });
    if (found == m_turns.end()) {
        return nullptr;
    }
    Lanes::value_type* const lane = *found;
    m_turns.erase(found);
    return lane;
}

void HandlerPool::sleep(std::unique_lock<std::mutex>& lock)
{
    ++m_sleeping;
    if (m_turns.empty() || m_isWatched) {
        m_wake.wait(lock);
    } else {
        m_isWatched = true;
        m_wake.wait_for(lock, m_burst.time);
        m_isWatched = false;
    }
    --m_sleeping;
}

void HandlerPool::work(Priority priority)
{
    if (priority == Priority::Low) {
        constexpr int kNiceness = 10;
        (void)::setpriority(PRIO_PROCESS, 0, kNiceness);  // on Linux, only of the calling thread
    }
    std::unique_lock<std::mutex> lock(m_lock);
    while (!m_ending) {
        Lanes::value_type* const lane = nextLane();
        if (lane == nullptr) {
            sleep(lock);
            continue;
        }
        Job job = std::move(lane->second.waiting.front());
        lane->second.waiting.pop_front();
        --m_waiting;
        const auto begun = lane->second.running.insert(lane->second.running.end(), Clock::now());
        ++m_running;
        if (!lane->second.waiting.empty()) {
            m_turns.push_back(lane);
        }
        if (!m_turns.empty() && !m_isWatched && m_sleeping > 0) {
            m_wake.notify_one();  // this thread may have been the one that watched
        }
        lock.unlock();
        job();
        job = nullptr;  // its captures are released without the lock
        lock.lock();
        --m_running;
        lane->second.running.erase(begun);
        if (lane->second.running.empty() && lane->second.waiting.empty()) {
            m_lanes.erase(m_lanes.find(lane->first));
        }
        if (m_running == 0 && m_waiting == 0) {
            m_idle.notify_all();
        }
    }
}

}  // namespace http
