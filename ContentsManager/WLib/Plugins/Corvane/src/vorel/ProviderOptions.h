// The settings of a content provider. Only this file reads settings.
#pragma once

#include <array>
#include <string>

#include "WContentProvider.h"

namespace W::vorel {

/// One bit per option, in the order in which options are read from the host's store.
enum Option : unsigned {
    None = 0,
    AppKey = 1u << 0,
    Duid = 1u << 1,
    ModelId = 1u << 2,
    Country = 1u << 3,
    AuthToken = 1u << 4,
    Language = 1u << 5,
    Headend = 1u << 6,
    Device = 1u << 7,
    ServerUrl = 1u << 8,
    ChannelInfoPath = 1u << 9,
    BaseUrl = 1u << 10,
    SecretKey = 1u << 11,
};

inline constexpr unsigned kOptionCount = 12;

/// A set of options.
using Options = unsigned;

/// The values of a set of options, read once, in the order of the enumeration. An absent option is an empty string.
class ProviderOptions {
public:
    /// Reads only the options in `wanted`.  [any thread; throws std::bad_alloc]
    ProviderOptions(const WContentProvider& provider, Options wanted);

    /// Value of an option; empty if it was not in `wanted`.
    const std::string& operator[](Option option) const;

    /// True if every option in `required` has a value.
    bool hasAll(Options required) const;

private:
    std::array<std::string, kOptionCount> m_values;
};

/// Value of one option, read now.
std::string readOption(const WContentProvider& provider, Option option);

/// The option's name in the host's store, for example "vorel_country".
const char* optionKey(Option option);

}  // namespace W::vorel
