// Makes operator new of this program fail, as it does on a device that is out of memory.
#pragma once

#include <cstddef>

namespace W::test {

/// While one lives, operator new fails in the thread that made it.
class FailingNew {
public:
    /// Only `new (std::nothrow)` fails: it returns null.
    FailingNew();
    /// Only `new` of at least `size` bytes fails: it throws.
    explicit FailingNew(std::size_t size);
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

}  // namespace W::test
