// The list in which results reach a callback.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "WExtendedProperty.h"

#pragma GCC visibility push(default)
namespace W {

/// A list of records with its count. The library exports it for the record types that its callbacks deliver. A host
/// reads a container during the callback that delivers it. For WCorvaneOAI::getTodaySchedule() it may pass a container
/// of a derived class: the library hands lists over through the virtual operations only.
template <class T>
class WContainer {
public:
    WContainer();
    WContainer(const WContainer& other);
    WContainer& operator=(const WContainer& other);
    virtual ~WContainer();

    virtual const std::list<T>& getData() const;

    /// Replaces the list with a copy; the count does not change.
    virtual void setData(const std::list<T>& data);

    /// The list for modification.
    virtual std::list<T>& data();

    /// Empties the container. Quirk: its count is then -1, not 0; callers test the list.
    virtual void clear();

    /// Number of elements as the parser set it: 0 in a fresh container, -1 in a cleared one.
    std::int32_t getCount() const;
    void setCount(std::int32_t count);

private:
    std::int32_t m_count = 0;
    std::string m_text;
    WExtendedProperty m_properties;
    std::list<T> m_data;
};

// Defined outside the class, so that the library exports all of them.

template <class T>
WContainer<T>::WContainer() = default;

template <class T>
WContainer<T>::WContainer(const WContainer& other) = default;

template <class T>
WContainer<T>& WContainer<T>::operator=(const WContainer& other) = default;

template <class T>
WContainer<T>::~WContainer() = default;

template <class T>
const std::list<T>& WContainer<T>::getData() const
{
    return m_data;
}

template <class T>
void WContainer<T>::setData(const std::list<T>& data)
{
    m_data = data;
}

template <class T>
std::list<T>& WContainer<T>::data()
{
    return m_data;
}

template <class T>
void WContainer<T>::clear()
{
    m_count = -1;
    m_text.clear();
    m_properties.clear();
    m_data.clear();
}

template <class T>
std::int32_t WContainer<T>::getCount() const
{
    return m_count;
}

template <class T>
void WContainer<T>::setCount(std::int32_t count)
{
    m_count = count;
}

}  // namespace W
#pragma GCC visibility pop
