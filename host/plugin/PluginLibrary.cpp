#include "PluginLibrary.h"

#include <cstring>
#include <filesystem>
#include <stdexcept>

#include <dlfcn.h>
#include <fmt/format.h>

namespace W::host {

namespace {

template <class Function>
Function entryPoint(void* library, const std::string& file, const char* name)
{
    void* const symbol = ::dlsym(library, name);
    if (!symbol) {
        throw std::runtime_error(fmt::format("{} is not a plug-in: it does not export {}", file, name));
    }
    Function function = nullptr;
    std::memcpy(&function, &symbol, sizeof function);
    return function;
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& file) : m_file(file)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        throw std::runtime_error(
            fmt::format("there is no plug-in at {}; build it, or name another one with --plugin", file));
    }
    // dlopen() searches the system's directories for a name without a slash.
    const std::string path = std::filesystem::absolute(file, error).string();
    m_library.reset(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL));
    if (!m_library) {
        throw std::runtime_error(
            fmt::format("cannot load the plug-in: {}; rebuild it, or name another one with --plugin", ::dlerror()));
    }
    m_create = entryPoint<CreatePlugin>(m_library.get(), file, "createPlugin");
    m_destroy = entryPoint<DestroyPlugin>(m_library.get(), file, "destroyPlugin");
}

PluginLibrary::Object PluginLibrary::create() const
{
    std::unique_ptr<WPlugin, DestroyPlugin> plugin(m_create(), m_destroy);
    if (!plugin) {
        throw std::runtime_error(fmt::format("{} made no object: out of memory", m_file));
    }
    auto* const object = dynamic_cast<WCorvaneOAI*>(plugin.get());
    if (!object) {
        throw std::runtime_error(
            fmt::format("{} is another kind of plug-in; name the right one with --plugin", m_file));
    }
    static_cast<void>(plugin.release());
    return {object, m_destroy};
}

std::string PluginLibrary::standardFile()
{
    std::error_code error;
    const std::filesystem::path directory = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    const std::filesystem::path folders[] = {directory, directory / CORVANE_PLUGIN_FROM_PROGRAMS,
                                             CORVANE_PLUGIN_INSTALLED};
    for (const std::filesystem::path& folder : folders) {
        const std::filesystem::path file = (folder / "libcorvane.so").lexically_normal();
        if (std::filesystem::exists(file, error)) {
            return file.string();
        }
    }
    return (directory / "libcorvane.so").string();
}

void PluginLibrary::UnloadLibrary::operator()(void* library) const
{
    ::dlclose(library);
}

}  // namespace W::host
