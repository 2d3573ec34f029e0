// A plug-in library and the objects that it makes.
#pragma once

#include "WCorvaneOAI.h"

#include <memory>
#include <string>

namespace W::host {

/// A loaded plug-in. Objects that it makes must be gone before it is.
class PluginLibrary {
public:
    /// Gives an object back to the library that made it.
    using Object = std::unique_ptr<WCorvaneOAI, DestroyPlugin>;

    /// @throws std::runtime_error with one line: the file, what is wrong with it and what to do
    explicit PluginLibrary(const std::string& file);

    /// A new object.
    /// @throws std::runtime_error when the library gives none
    Object create() const;

    const std::string& file() const { return m_sFile; }

    /// The library that belongs to this program: libcorvane.so beside the executable, else in the installation that the
    /// executable is part of, else in the prefix that Corvane was configured for.
    /// @return the first file that exists; if none does, the one beside the executable
    static std::string standardFile();

private:
    struct Unload {
        void operator()(void* library) const;
    };
    std::string m_sFile;
    std::unique_ptr<void, Unload> m_pLibrary;
    CreatePlugin m_create = nullptr;
    DestroyPlugin m_destroy = nullptr;
};

}  // namespace W::host
