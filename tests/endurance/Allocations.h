// Sees every allocation of the program, and makes the chosen ones fail. Without sanitizers malloc itself is replaced,
// so that the C libraries are seen, too; with one, which brings its own malloc, the operators new and delete are.
#pragma once

#include <atomic>

namespace W::test {

/// Told of allocations and releases. What it does must not allocate; while it runs, it is not told of its own thread.
class AllocationWatch {
public:
    virtual ~AllocationWatch() = default;
    /// @return false to make the allocation fail
    virtual bool onAllocate() = 0;
    virtual void onRelease() {}
};

/// Has a watch told of this thread for as long as it lives.
class WatchedThread {
public:
    explicit WatchedThread(AllocationWatch& watch);
    ~WatchedThread();
    WatchedThread(const WatchedThread&) = delete;
    WatchedThread& operator=(const WatchedThread&) = delete;

private:
    AllocationWatch* m_pBefore;
};

/// Has a watch told of every thread whose name begins with "http-": the real executor's.
class WatchedExecutorThreads {
public:
    explicit WatchedExecutorThreads(AllocationWatch& watch);
    ~WatchedExecutorThreads();
    WatchedExecutorThreads(const WatchedExecutorThreads&) = delete;
    WatchedExecutorThreads& operator=(const WatchedExecutorThreads&) = delete;
};

/// Leaves this thread alone for as long as it lives.
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

/// Lets allocations fail: the one with a number, counted from 1 in all threads that are watched, or those from there
/// on.
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
