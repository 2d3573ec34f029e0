// Makes the non-throwing operator new of this program fail, as it does on a device that is out of memory.
#pragma once

namespace W::test {

/// While one lives, `new (std::nothrow)` gives null in the thread that made it.
class FailingNew {
public:
    FailingNew();
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;
};

}  // namespace W::test
