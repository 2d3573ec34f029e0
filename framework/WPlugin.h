// Root of every object that the host creates from a plug-in library. The library exports, unmangled:
//   extern "C" W::WPlugin* createPlugin();            creates an object, which the host owns; null if out of memory
//   extern "C" void destroyPlugin(W::WPlugin* p);     destroys it; null is ignored
// Read next: WAbstractOAI.h.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)
namespace W {

class WPlugin {
public:
    /// True if the handle word is not zero.  [any thread]
    virtual bool isValid() const { return m_handle != 0; }

    virtual ~WPlugin() = default;

    WPlugin(const WPlugin&) = delete;
    WPlugin& operator=(const WPlugin&) = delete;

protected:
    WPlugin() = default;

    std::uint32_t m_handle = 0;
    std::uint32_t m_secondWord = 1;
    std::uint32_t m_thirdWord = 0;
};

using CreatePlugin = WPlugin* (*)();
using DestroyPlugin = void (*)(WPlugin*);

}  // namespace W
#pragma GCC visibility pop
