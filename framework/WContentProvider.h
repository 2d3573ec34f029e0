// Who provides content: a name and the framework's service type.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// Identity of one content provider. A value; equal identities have equal IDs.
class WContentProvider {
public:
    WContentProvider() = default;
    WContentProvider(std::string name, int serviceType) : m_name(std::move(name)), m_serviceType(serviceType) {}

    const std::string& getName() const { return m_name; }
    int getServiceType() const { return m_serviceType; }

    /// 32-bit FNV-1a over the name's bytes and the four bytes of the service type.
    std::uint32_t getID() const
    {
        std::uint32_t hash = 2166136261u;
        const auto mix = [&hash](unsigned char byte) { hash = (hash ^ byte) * 16777619u; };
        for (const char letter : m_name) {
            mix(static_cast<unsigned char>(letter));
        }
        for (unsigned shift = 0; shift < 32; shift += 8) {
            mix(static_cast<unsigned char>(static_cast<std::uint32_t>(m_serviceType) >> shift));
        }
        return hash;
    }

private:
    std::string m_name;
    int m_serviceType = 0;
};

}  // namespace W
#pragma GCC visibility pop
