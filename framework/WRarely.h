// Storage for the parts of a record that most replies leave empty.
#pragma once

#include <memory>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// A value that costs one pointer until it is written. Copies are deep, moves steal.
template <class T>
class WRarely {
public:
    WRarely() = default;
    WRarely(const WRarely& other) : m_value(other.m_value ? std::make_unique<T>(*other.m_value) : nullptr) {}
    WRarely(WRarely&&) noexcept = default;
    WRarely& operator=(WRarely other) noexcept
    {
        m_value = std::move(other.m_value);
        return *this;
    }
    ~WRarely() = default;

    /// The value, or a shared default one if nothing has been written.
    const T& get() const
    {
        static const T kDefault{};
        return m_value ? *m_value : kDefault;
    }

    /// The value for writing.
    T& edit()
    {
        if (!m_value) {
            m_value = std::make_unique<T>();
        }
        return *m_value;
    }

    /// Stores a string or list member; an empty one allocates nothing.
    template <class Member>
    void set(Member T::*member, Member value)
    {
        if (m_value || !value.empty()) {
            edit().*member = std::move(value);
        }
    }
    /// Stores a number; 0 allocates nothing.
    void set(int T::*member, int value)
    {
        if (m_value || value != 0) {
            edit().*member = value;
        }
    }

private:
    std::unique_ptr<T> m_value;
};

}  // namespace W
#pragma GCC visibility pop
