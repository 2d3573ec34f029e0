// The host's configuration store: options with string values, per content provider.
#pragma once

#include <string>
#include <utility>

#include "WContentProvider.h"

#pragma GCC visibility push(default)
namespace W {

/// Value of one option.
class WVariant {
public:
    WVariant() = default;
    explicit WVariant(std::string text) : m_text(std::move(text)) {}

    /// The value as a string; empty if the option is absent.
    const std::string& toString() const& { return m_text; }
    std::string toString() && { return std::move(m_text); }

private:
    std::string m_text;
};

class WConfigManager {
public:
    virtual ~WConfigManager() = default;

    /// The store of the process; never null, exists as long as the process.  [any thread]
    static WConfigManager* getInstance();

    /// Value of the option `key` for the provider; empty if the option is absent. Throws only `std::bad_alloc`.
    /// [any thread]
    virtual WVariant getCPOption(const WContentProvider& provider, const std::string& key) = 0;
};

}  // namespace W
#pragma GCC visibility pop
