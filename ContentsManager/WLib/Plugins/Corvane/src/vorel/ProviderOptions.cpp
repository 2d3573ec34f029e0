#include "ProviderOptions.h"

#include "WConfigManager.h"

namespace W::vorel {

namespace {

/// In the order of the bits of Option.
constexpr std::array<const char*, kOptionCount> kKeys = {
    "vorel_app_key",  "vorel_duid",       "vorel_model_id",    "vorel_country",    "vorel_auth_token",
    "vorel_language", "vorel_headend",    "vorel_device_type", "vorel_server_url", "vorel_channelinfo_filepath",
    "vorel_base_url", "vorel_secret_key",
};

constexpr unsigned bit(unsigned index)
{
    return 1u << index;
}

unsigned indexOf(Option option)
{
    return static_cast<unsigned>(__builtin_ctz(option));
}

}  // namespace

ProviderOptions::ProviderOptions(const WContentProvider& provider, Options wanted)
{
    for (unsigned index = 0; index < kOptionCount; ++index) {
        if ((wanted & bit(index)) != 0)
            m_values[index] = WConfigManager::getInstance()->getCPOption(provider, kKeys[index]).toString();
    }
}

const std::string& ProviderOptions::operator[](Option option) const
{
    return m_values[indexOf(option)];
}

bool ProviderOptions::hasAll(Options required) const
{
    for (unsigned index = 0; index < kOptionCount; ++index) {
        if ((required & bit(index)) != 0 && m_values[index].empty())
            return false;
    }
    return true;
}

std::string readOption(const WContentProvider& provider, Option option)
{
    return WConfigManager::getInstance()->getCPOption(provider, optionKey(option)).toString();
}

const char* optionKey(Option option)
{
    // These are pointers, not numbers.
    // cppcheck-suppress CastIntegerToAddressAtReturn
    return kKeys[indexOf(option)];
}

}  // namespace W::vorel
