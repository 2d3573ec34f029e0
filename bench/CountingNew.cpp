// A separate file, because inlining one operator of a pair into its callers causes warnings about the other.
#include "CountingNew.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<unsigned long> theCalls{0};
std::atomic<unsigned long> theBytes{0};

/// Not one atomic operation, which would cost more than the rest. Exact if only one thread allocates at a time.
void add(std::atomic<unsigned long>& sum, unsigned long value) noexcept
{
    sum.store(sum.load(std::memory_order_relaxed) + value, std::memory_order_relaxed);
}

void* counted(std::size_t size) noexcept
{
    add(theCalls, 1);
    add(theBytes, size);
    return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

void* operator new(std::size_t size)
{
    if (void* const memory = counted(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return counted(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

unsigned long W::bench::allocations()
{
    return theCalls.load(std::memory_order_relaxed);
}

unsigned long W::bench::allocatedBytes()
{
    return theBytes.load(std::memory_order_relaxed);
}
