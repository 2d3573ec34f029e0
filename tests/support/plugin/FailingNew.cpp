#include "FailingNew.h"

#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

thread_local bool failing = false;
thread_local std::size_t smallestFailing = SIZE_MAX;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return failing ? nullptr : std::malloc(size);
}

// All of them are replaced, so that memory is always freed by the allocator that it came from.
void* operator new(std::size_t size)
{
    if (void* const memory = size < smallestFailing ? std::malloc(size) : nullptr) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(memory);
}

namespace W::test {

FailingNew::FailingNew()
{
    failing = true;
}

FailingNew::FailingNew(std::size_t size)
{
    smallestFailing = size;
}

FailingNew::~FailingNew()
{
    failing = false;
    smallestFailing = SIZE_MAX;
}

}  // namespace W::test
