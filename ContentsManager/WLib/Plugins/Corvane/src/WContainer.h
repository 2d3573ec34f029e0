// The list in which results reach a callback.
#pragma once

#include "WExtendedProperty.h"

#include <cstdint>
#include <list>
#include <string>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// A list of records with its count. The library exports it for the record types that its callbacks deliver; a host
/// only reads containers, during the callback that hands them out.
template <class T>
class WContainer {
public:
    virtual ~WContainer() = default;

    virtual const std::list<T>& getData() const { return m_data; }

    /// Replaces the list by a copy; the count is set apart from it.
    virtual void setData(const std::list<T>& data) { m_data = data; }

    /// The list for modification.
    virtual std::list<T>& data() { return m_data; }

    /// Empties everything. Wanted: the count of a cleared container is -1, not 0; callers test the list.
    virtual void clear()
    {
        m_iCount = -1;
        m_sText.clear();
        m_properties.clear();
        m_data.clear();
    }

    /// Number of elements as the parser set it: 0 in a fresh container, -1 in a cleared one.
    std::int32_t getCount() const { return m_iCount; }
    void setCount(std::int32_t count) { m_iCount = count; }

    /// Takes the list over, without a copy, together with its count.
    void take(std::list<T>&& data)
    {
        m_iCount = static_cast<std::int32_t>(data.size());
        m_data = std::move(data);
    }

private:
    std::int32_t m_iCount = 0;
    std::string m_sText;
    WExtendedProperty m_properties;
    std::list<T> m_data;
};

}  // namespace W
#pragma GCC visibility pop
