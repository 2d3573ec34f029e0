// Storage for the part of a record that many records have in common.
#pragma once

#include <atomic>
#include <utility>

#pragma GCC visibility push(default)
namespace W {

/// A value that copies share until one of them is written; costs one pointer. Copies may be used on different threads,
/// one copy may not. Not a std::shared_ptr, whose control block calls code of the library that made it: a shared value
/// has to survive that library.
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

    /// The value, or a shared default one while nothing was written.
    const T& get() const
    {
        static const T kDefault{};
        return m_body != nullptr ? m_body->value : kDefault;
    }

    /// The value for writing, which no other copy sees.
    T& edit()
    {
        if (m_body == nullptr) {
            m_body = new Body;
        } else if (m_body->users.load(std::memory_order_acquire) != 1) {
            *this = WShared(new Body(m_body->value));
        }
        return m_body->value;
    }

    /// True when nothing was written yet.
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
