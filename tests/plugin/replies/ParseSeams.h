// Two places inside the plug-in where a test can act while a reply is read. The linker wraps both functions in the test
// program (see CMakeLists.txt); without a hook they behave as usual.
#pragma once

#include <functional>

#include "WTypes.h"

namespace W {

class VorelService;

namespace test {

/// Called before each cancel test of a parser, on its thread.
using CancelTestHook = std::function<void(VorelService& service, UINT64 reference)>;
/// Called before an exception line is printed.
using ExceptionHook = std::function<void()>;

/// Sets a hook for the lifetime of this object.
class Hooked {
public:
    explicit Hooked(CancelTestHook hook);
    explicit Hooked(ExceptionHook hook);
    ~Hooked();
    Hooked(const Hooked&) = delete;
    Hooked& operator=(const Hooked&) = delete;
};

}  // namespace test
}  // namespace W
