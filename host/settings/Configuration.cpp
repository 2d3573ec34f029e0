#include "Configuration.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

namespace W::host {

namespace {

constexpr std::string_view kPrefix = "vorel_";
constexpr std::string_view kVariablePrefix = "CORVANE_";

bool isKnown(std::string_view key)
{
    const auto& settings = allSettings();
    return std::any_of(settings.begin(), settings.end(), [key](const Setting& setting) { return setting.key == key; });
}

const std::string kNothing;

}  // namespace

const std::vector<Setting>& allSettings()
{
    using Reader = SettingReader;
    static const std::vector<Setting> s_settings{
        {"base_url", Reader::Plugin, "address of the service"},
        {"server_url", Reader::Plugin, "address that returns the service's address"},
        {"app_key", Reader::Plugin, "key that identifies this application to the service"},
        {"duid", Reader::Plugin, "identifier of this device"},
        {"model_id", Reader::Plugin, "model of this device"},
        {"auth_token", Reader::Plugin, "token of the account"},
        {"country", Reader::Plugin, "country, as in US"},
        {"language", Reader::Plugin, "language, as in en"},
        {"headend", Reader::Plugin, "source of the line-up"},
        {"device_type", Reader::Plugin, "kind of receiver at the headend"},
        {"secret_key", Reader::Plugin, "secret in the session's token"},
        {"channelinfo_filepath", Reader::Plugin, "file with channel information"},
        {"connect_timeout", Reader::Host, "seconds to connect"},
        {"stall_timeout", Reader::Host, "seconds without a byte"},
        {"total_timeout", Reader::Host, "seconds for a whole exchange, except downloads"},
        {"payload_cap", Reader::Host, "bytes of the largest reply"},
        {"concurrency", Reader::Host, "transfers at the same time"},
        {"ca_file", Reader::Host, "PEM file with the trusted certificates"},
    };
    return s_settings;
}

std::string_view shortSettingName(std::string_view key)
{
    return key.substr(0, kPrefix.size()) == kPrefix ? key.substr(kPrefix.size()) : key;
}

void Configuration::set(std::string_view key, std::string value, std::string source)
{
    key = shortSettingName(key);
    if (!isKnown(key)) {
        std::string known;
        for (const Setting& setting : allSettings()) {
            known += fmt::format("{} {}", known.empty() ? "" : ",", setting.key);
        }
        m_complaints.push_back(fmt::format("{}: unknown setting \"{}\"; known settings are{}", source, key, known));
    }
    if (key == "base_url") {
        // The plug-in appends paths that begin with a slash.
        value.erase(value.find_last_not_of('/') + 1);
    }
    m_values.insert_or_assign(std::string(key), SettingValue{std::move(value), std::move(source)});
}

void Configuration::setFromEnvironment(const char* const* environment)
{
    for (; *environment; ++environment) {
        const std::string_view variable = *environment;
        const std::size_t equals = variable.find('=');
        if (variable.substr(0, kVariablePrefix.size()) != kVariablePrefix || equals == std::string_view::npos) {
            continue;
        }
        std::string key(variable.substr(kVariablePrefix.size(), equals - kVariablePrefix.size()));
        std::transform(key.begin(), key.end(), key.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        set(key, std::string(variable.substr(equals + 1)), std::string(variable.substr(0, equals)));
    }
}

const Configuration::SettingValue* Configuration::find(std::string_view key) const
{
    const auto found = m_values.find(shortSettingName(key));
    return found == m_values.end() ? nullptr : &found->second;
}

WVariant Configuration::getCPOption(const WContentProvider& /*provider*/, const std::string& key)
{
    const SettingValue* const found = find(key);
    return found ? WVariant(found->value) : WVariant();
}

const std::string& Configuration::value(std::string_view key) const
{
    const SettingValue* const found = find(key);
    return found ? found->value : kNothing;
}

bool Configuration::isSet(std::string_view key) const
{
    return find(key) != nullptr;
}

const std::string& Configuration::source(std::string_view key) const
{
    const SettingValue* const found = find(key);
    return found ? found->source : kNothing;
}

double Configuration::number(std::string_view key, double standard, double least, double most) const
{
    const SettingValue* const found = find(key);
    if (!found || found->value.empty()) {
        return standard;
    }
    double result = 0;
    const char* const end = found->value.data() + found->value.size();
    const auto [stop, error] = std::from_chars(found->value.data(), end, result);
    if (error != std::errc() || stop != end || !(result >= least && result <= most)) {
        throw std::runtime_error(fmt::format("{}: the setting \"{}\" is \"{}\"; it must be a number from {} to {}",
                                             found->source, key, found->value, least, most));
    }
    return result;
}

namespace {

std::atomic<WConfigManager*> g_installed{nullptr};

}  // namespace

void installConfigManager(WConfigManager* configuration)
{
    g_installed = configuration;
}

}  // namespace W::host

namespace W {

WConfigManager* WConfigManager::getInstance()
{
    static host::Configuration s_empty;
    WConfigManager* const installed = host::g_installed;
    return installed ? installed : &s_empty;
}

}  // namespace W
