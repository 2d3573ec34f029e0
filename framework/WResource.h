// Common base of the data records.
//
// Records outlive the plug-in that filled them: a host may keep copies and unload the library. Their destructors are
// therefore defined in the host (host/values/Records.cpp), which puts their virtual tables there, and none of their
// members may refer to code of the library that created them.
#pragma once

#include <string>
#include <utility>

#include "WContentProvider.h"
#include "WExtendedProperty.h"
#include "WRarely.h"

#pragma GCC visibility push(default)
namespace W {

/// The fields that all records have. Plug-ins leave them empty, so they cost one pointer.
class WResource {
public:
    WResource() = default;
    WResource(const WResource&) = default;
    WResource(WResource&&) noexcept = default;
    WResource& operator=(const WResource&) = default;
    WResource& operator=(WResource&&) noexcept = default;
    virtual ~WResource();

    void setContentProvider(WContentProvider provider) { m_base.edit().provider = std::move(provider); }
    void setExtendedProperty(WExtendedProperty properties) { m_base.set(&Base::properties, std::move(properties)); }
    void setResourceID(std::string id) { m_base.set(&Base::id, std::move(id)); }
    void setResourceType(std::string type) { m_base.set(&Base::type, std::move(type)); }

    const WContentProvider& getContentProvider() const { return m_base.get().provider; }
    const WExtendedProperty& getExtendedProperty() const { return m_base.get().properties; }
    const std::string& getResourceID() const { return m_base.get().id; }
    const std::string& getResourceType() const { return m_base.get().type; }

private:
    struct Base {
        WContentProvider provider;
        WExtendedProperty properties;
        std::string id;
        std::string type;
    };
    WRarely<Base> m_base;
};

}  // namespace W
#pragma GCC visibility pop
