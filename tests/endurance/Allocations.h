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
    AllocationWatch* m_pBefore;
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
    bool m_bBefore;
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
    FailingAllocations(Which which, long number) : m_eWhich(which), m_iNumber(number) {}
    bool onAllocate() override
    {
        const bool fails = failsAt(++m_iSeen - m_iNumber);
        m_iFailed += fails ? 1 : 0;
        return !fails;
    }
    long seen() const { return m_iSeen; }
    long failed() const { return m_iFailed; }

private:
    bool failsAt(long behind) const
    {
        switch (m_eWhich) {
            case Which::None:
                return false;
            case Which::One:
                return behind == 0;
            case Which::AllFrom:
                return behind >= 0;
            case Which::EverySecondFrom:
                return behind >= 0 && behind % 2 == 0;
            case Which::EveryThirdFrom:
                return behind >= 0 && behind % 3 == 0;
        }
        return false;
    }

    const Which m_eWhich;
    const long m_iNumber;
    std::atomic<long> m_iSeen{0};
    std::atomic<long> m_iFailed{0};
};

}  // namespace W::test
