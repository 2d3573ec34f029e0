#include "SettingsFile.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <toml++/toml.h>

#include "Configuration.h"

namespace W::host {

namespace {

struct FileEntry {
    std::string key;
    std::string value;
    std::string place;  ///< file and line
};

class SettingsCollector {
public:
    explicit SettingsCollector(const std::string& name) : m_name(name) {}

    void collect(const toml::table& table)
    {
        for (const auto& [key, node] : table) {
            if (const toml::table* const group = node.as_table()) {
                collect(*group);
            } else {
                add(key.str(), node);
            }
        }
    }

    const std::vector<FileEntry>& entries() const { return m_entries; }

private:
    void add(std::string_view key, const toml::node& node)
    {
        const std::string place = fmt::format("{}:{}", m_name, node.source().begin.line);
        const auto [before, added] = m_places.emplace(shortSettingName(key), place);
        if (!added) {
            throw std::runtime_error(
                fmt::format("{}: {} is set a second time, after {}; remove one", place, key, before->second));
        }
        m_entries.push_back({std::string(key), valueOf(node, key, place), place});
    }

    static std::string valueOf(const toml::node& node, std::string_view key, const std::string& place)
    {
        if (const auto* const string = node.as_string()) {
            return string->get();
        }
        if (const auto* const integer = node.as_integer()) {
            return fmt::to_string(integer->get());
        }
        if (const auto* const number = node.as_floating_point()) {
            return fmt::to_string(number->get());
        }
        if (const auto* const boolean = node.as_boolean()) {
            return boolean->get() ? "true" : "false";
        }
        throw std::runtime_error(fmt::format("{}: {} must be a string, a number or a boolean", place, key));
    }

    const std::string& m_name;
    std::vector<FileEntry> m_entries;
    std::map<std::string, std::string, std::less<>> m_places;
};

}  // namespace

void readSettings(std::string_view contents, const std::string& name, Configuration& into)
{
    SettingsCollector collector(name);
    try {
        collector.collect(toml::parse(contents, name));
    } catch (const toml::parse_error& error) {
        throw std::runtime_error(fmt::format("{}:{}: {}; write settings as country = \"US\"", name,
                                             error.source().begin.line, error.description()));
    }
    for (const FileEntry& entry : collector.entries()) {
        into.set(entry.key, entry.value, entry.place);
    }
}

void readSettingsFile(const std::string& path, Configuration& into)
{
    const auto fail = [&path](const std::string& reason) {
        throw std::runtime_error(fmt::format(
            "cannot read the configuration file {}: {}; name another one with --config FILE", path, reason));
    };
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        fail("it does not exist");
    }
    if (status.type() != std::filesystem::file_type::regular) {
        fail("it is not a regular file");
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        fail(std::generic_category().message(errno));
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    readSettings(contents.str(), path, into);
}

std::optional<std::string> standardSettingsFile()
{
    const char* const home = std::getenv("HOME");
    const char* const configured = std::getenv("XDG_CONFIG_HOME");
    std::filesystem::path directory;
    if (configured && *configured == '/') {
        directory = configured;
    } else if (home && *home) {
        directory = std::filesystem::path(home) / ".config";
    } else {
        return std::nullopt;
    }
    std::error_code ignored;
    const std::filesystem::path file = directory / "corvane" / "corvane.toml";
    if (!std::filesystem::exists(file, ignored)) {
        return std::nullopt;
    }
    return file.string();
}

}  // namespace W::host
