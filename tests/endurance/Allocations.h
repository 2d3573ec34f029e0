// Observes every allocation of the program and makes chosen ones fail. Without sanitizers malloc itself is replaced, so
// that allocations of the C libraries count too. A sanitizer has its own malloc, so there operator new is replaced.
#pragma once

#include <atomic>

namespace W::test {

/// Called for allocations and releases. It must not allocate; while it runs, it is not called for its own thread.
class AllocationWatch {
public:
    virtual ~AllocationWatch() = default;
    /// @return false to make the allocation fail
    virtual bool onAllocate() = 0;
    virtual void onRelease() {}
};

/// Watches this thread as long as the object lives.
class WatchedThread {
public:
    explicit WatchedThread(AllocationWatch& watch);
    ~WatchedThread();
    WatchedThread(const WatchedThread&) = delete;
    WatchedThread& operator=(const WatchedThread&) = delete;

private:
    AllocationWatch* m_before;
};

/// Watches every thread whose name begins with "http-", which are the real executor's.
class WatchedExecutorThreads {
public:
    explicit WatchedExecutorThreads(AllocationWatch& watch);
    ~WatchedExecutorThreads();
    WatchedExecutorThreads(const WatchedExecutorThreads&) = delete;
    WatchedExecutorThreads& operator=(const WatchedExecutorThreads&) = delete;
};

/// Exempts this thread as long as the object lives.
class UnwatchedThread {
public:
    UnwatchedThread();
    ~UnwatchedThread();
    UnwatchedThread(const UnwatchedThread&) = delete;
    UnwatchedThread& operator=(const UnwatchedThread&) = delete;

private:
    bool m_wasNotifying;
};

/// Blocks of memory that the process holds.
long liveBlocks();

/// Makes allocations fail: one by its number, counted from 1 over all watched threads, or that one and later ones.
class FailingAllocations : public AllocationWatch {
public:
    enum class Which {
        None,
        One,
        AllFrom,
        EverySecondFrom,
        EveryThirdFrom
    };
    FailingAllocations(Which which, long number) : m_which(which), m_number(number) {}
    bool onAllocate() override
    {
        const bool fails = failsAt(++m_seen - m_number);
        m_failed += fails ? 1 : 0;
        return !fails;
    }
    long seen() const { return m_seen; }
    long failed() const { return m_failed; }

private:
    bool failsAt(long after) const
    {
        switch (m_which) {
            case Which::None:
                return false;
            case Which::One:
                return after == 0;
            case Which::AllFrom:
                return after >= 0;
            case Which::EverySecondFrom:
                return after >= 0 && after % 2 == 0;
            case Which::EveryThirdFrom:
                return after >= 0 && after % 3 == 0;
        }
        return false;
    }

    const Which m_which;
    const long m_number;
    std::atomic<long> m_seen{0};
    std::atomic<long> m_failed{0};
};

}  // namespace W::test
