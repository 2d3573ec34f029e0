// Storage for the part of a record that many records have in common.
#pragma once

#include <atomic>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// A value that copies share until one of them is written; costs one pointer. Different copies may be used on different
/// threads, a single copy may not. It is not a std::shared_ptr, because the control block of one calls code of the
/// library that created it, and a shared value must outlive that library.
template <class T>
class WShared {
public:
    WShared() = default;
    WShared(const WShared& other) noexcept : m_body(other.m_body)
    {
        if (m_body != nullptr) {
            m_body->users.fetch_add(1, std::memory_order_relaxed);
        }
    }
    WShared(WShared&& other) noexcept : m_body(std::exchange(other.m_body, nullptr)) {}
    WShared& operator=(WShared other) noexcept
    {
        std::swap(m_body, other.m_body);
        return *this;
    }
    ~WShared()
    {
        if (m_body != nullptr && m_body->users.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete m_body;
        }
    }

    /// The value, or a shared default one if nothing has been written.
    const T& get() const
    {
        static const T kDefault{};
        return m_body != nullptr ? m_body->value : kDefault;
    }

    /// The value for writing; other copies keep theirs.
    T& edit()
    {
        if (m_body == nullptr) {
            m_body = new Body;
        } else if (m_body->users.load(std::memory_order_acquire) != 1) {
            *this = WShared(new Body(m_body->value));
        }
        return m_body->value;
    }

    /// True if nothing has been written.
    bool isDefault() const { return m_body == nullptr; }

private:
    struct Body {
        Body() = default;
        explicit Body(const T& shared) : value(shared) {}

        std::atomic<int> users{1};
        T value{};
    };

    explicit WShared(Body* body) : m_body(body) {}

    Body* m_body = nullptr;
};

}  // namespace W
#pragma GCC visibility pop
