#include "FailingNew.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool failing = false;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return failing ? nullptr : std::malloc(size);
}

// Replaced together, so that what one of them allocates no other allocator frees.
void* operator new(std::size_t size)
{
    if (void* const memory = std::malloc(size))
        return memory;
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

FailingNew::~FailingNew()
{
    failing = false;
}

}  // namespace W::test
