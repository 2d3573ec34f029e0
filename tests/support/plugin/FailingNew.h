// Makes operator new of this program fail, as it does on a device that is out of memory.
#pragma once

#include <cstddef>

namespace W::test {

/// During its lifetime, operator new fails in the thread that made it.
class FailingNew {
public:
    /// Lets only `new (std::nothrow)` fail: it returns null.
    FailingNew();
    /// Lets only `new` of at least `size` bytes fail: it throws.
    explicit FailingNew(std::size_t size);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

}  // namespace W::test
