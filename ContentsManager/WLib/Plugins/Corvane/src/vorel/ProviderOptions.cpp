#include "ProviderOptions.h"

#include "WConfigManager.h"

namespace W::vorel {

namespace {

/// In the order of the bits of Option. Created once as std::string, the type of the host's store: most are so long that
/// a new string would allocate.
const std::array<std::string, kOptionCount>& keys()
{
    static const std::array<std::string, kOptionCount> kKeys = {
        "vorel_app_key",  "vorel_duid",       "vorel_model_id",    "vorel_country",    "vorel_auth_token",
        "vorel_language", "vorel_headend",    "vorel_device_type", "vorel_server_url", "vorel_channelinfo_filepath",
        "vorel_base_url", "vorel_secret_key",
    };
    return kKeys;
}

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
        if ((wanted & bit(index)) != 0) {
            m_values[index] = WConfigManager::getInstance()->getCPOption(provider, keys()[index]).toString();
        }
    }
}

const std::string& ProviderOptions::operator[](Option option) const
{
    return m_values[indexOf(option)];
}

bool ProviderOptions::hasAll(Options required) const
{
    for (unsigned index = 0; index < kOptionCount; ++index) {
        if ((required & bit(index)) != 0 && m_values[index].empty()) {
            return false;
        }
    }
    return true;
}

std::string readOption(const WContentProvider& provider, Option option)
{
    return WConfigManager::getInstance()->getCPOption(provider, keys()[indexOf(option)]).toString();
}

const char* optionKey(Option option)
{
    return keys()[indexOf(option)].c_str();
}

}  // namespace W::vorel
