// A plug-in library and the objects that it makes.
#pragma once

#include <memory>
#include <string>

#include "WCorvaneOAI.h"

namespace W::host {

/// A loaded plug-in. Its objects must be destroyed before it.
class PluginLibrary {
public:
    /// An object, destroyed by the library that made it.
    using Object = std::unique_ptr<WCorvaneOAI, DestroyPlugin>;

    /// @throws std::runtime_error with one line: the file, what is wrong with it and what to do
    explicit PluginLibrary(const std::string& file);

    /// A new object.
    /// @throws std::runtime_error if the library makes none
    Object create() const;

    const std::string& file() const { return m_file; }

    /// The library that belongs to this program: libcorvane.so beside the executable, else in the installation that the
    /// executable is part of, else in the prefix that Corvane was configured for.
    /// @return the first file that exists; if none does, the one beside the executable
    static std::string standardFile();

private:
    struct UnloadLibrary {
        void operator()(void* library) const;
    };
    std::string m_file;
    std::unique_ptr<void, UnloadLibrary> m_library;
    CreatePlugin m_create = nullptr;
    DestroyPlugin m_destroy = nullptr;
};

}  // namespace W::host
