#include "Allocations.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <pthread.h>

namespace W::test {

namespace {

// Of built-in types: the first allocation of a thread may come before its thread_local objects are constructed.
thread_local AllocationWatch* theWatch = nullptr;
thread_local bool isNotifying = false;
std::atomic<AllocationWatch*> theExecutorsWatch{nullptr};
std::atomic<int> theUsers{0};  ///< threads that use theExecutorsWatch now
std::atomic<long> theLiveBlocks{0};

bool isExecutorsThread()
{
    char name[16] = {};
    return pthread_getname_np(pthread_self(), name, sizeof name) == 0 && std::strncmp(name, "http-", 5) == 0;
}

/// Calls `notifyWatch` with the thread's watch, if there is one.
template <class Notify>
bool notify(Notify notifyWatch)
{
    if (isNotifying || (theWatch == nullptr && theExecutorsWatch == nullptr)) {
        return true;
    }
    isNotifying = true;
    bool result = true;
    if (theWatch != nullptr) {
        result = notifyWatch(*theWatch);
    } else if (isExecutorsThread()) {
        ++theUsers;
        if (AllocationWatch* const watch = theExecutorsWatch) {
            result = notifyWatch(*watch);
        }
        --theUsers;
    }
    isNotifying = false;
    return result;
}

}  // namespace

WatchedThread::WatchedThread(AllocationWatch& watch) : m_before(std::exchange(theWatch, &watch)) {}

WatchedThread::~WatchedThread()
{
    theWatch = m_before;
}

UnwatchedThread::UnwatchedThread() : m_wasNotifying(std::exchange(isNotifying, true)) {}

UnwatchedThread::~UnwatchedThread()
{
    isNotifying = m_wasNotifying;
}

WatchedExecutorThreads::WatchedExecutorThreads(AllocationWatch& watch)
{
    theExecutorsWatch = &watch;
}

WatchedExecutorThreads::~WatchedExecutorThreads()
{
    theExecutorsWatch = nullptr;
    while (theUsers > 0) {
    }
}

long liveBlocks()
{
    return theLiveBlocks;
}

namespace {

bool mayAllocate()
{
    const bool allowed = notify([](AllocationWatch& watch) { return watch.onAllocate(); });
    if (!allowed) {
        errno = ENOMEM;
    }
    return allowed;
}

void* counted(void* memory)
{
    if (memory != nullptr) {
        theLiveBlocks.fetch_add(1, std::memory_order_relaxed);
    }
    return memory;
}

void noteRelease(const void* memory)
{
    if (memory == nullptr) {
        return;
    }
    theLiveBlocks.fetch_sub(1, std::memory_order_relaxed);
    notify([](AllocationWatch& watch) {
        watch.onRelease();
        return true;
    });
}

}  // namespace

}  // namespace W::test

using W::test::counted;
using W::test::mayAllocate;
using W::test::noteRelease;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return mayAllocate() ? counted(std::malloc(size)) : nullptr;
}

void* operator new(std::size_t size)
{
    if (void* const memory = operator new(size, std::nothrow)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    noteRelease(memory);
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    operator delete(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    operator delete(memory);
}

#else

// The C library's functions, under the names that a replacement can call.
extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* memory, std::size_t size);      // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* memory);                            // NOLINT(bugprone-reserved-identifier)

void* malloc(std::size_t size) noexcept
{
    return mayAllocate() ? counted(__libc_malloc(size)) : nullptr;
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    return mayAllocate() ? counted(__libc_calloc(count, size)) : nullptr;
}

void* realloc(void* memory, std::size_t size) noexcept
{
    if (memory == nullptr) {
        return malloc(size);
    }
    if (size == 0) {
        noteRelease(memory);
        return __libc_realloc(memory, 0);
    }
    return mayAllocate() ? __libc_realloc(memory, size) : nullptr;
}

void free(void* memory) noexcept
{
    noteRelease(memory);
    __libc_free(memory);
}
}

#endif
