#include "Arguments.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace corvaned {
namespace {

const char* describe(const ParameterRule& rule)
{
    return rule.place == ParameterPlace::Header ? "header" : "parameter";
}

[[noreturn]] void refuse(const ParameterRule& rule, std::string_view value, const std::string& wanted)
{
    throw Refusal(ServiceCode::BadValue,
                  fmt::format("{} '{}' is '{:.60}'; it must be {}", describe(rule), rule.name, value, wanted));
}

std::int64_t readNumber(const ParameterRule& rule, std::string_view value)
{
    std::int64_t number = 0;
    const std::from_chars_result result = std::from_chars(value.data(), value.data() + value.size(), number);
    if (result.ec != std::errc() || result.ptr != value.data() + value.size() || number < rule.smallest ||
        number > rule.largest) {
        refuse(rule, value, fmt::format("a number from {} to {}", rule.smallest, rule.largest));
    }
    return number;
}

std::vector<std::string> split(std::string_view value)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < value.size();) {
        const std::size_t comma = std::min(value.find(',', begin), value.size());
        if (comma > begin) {
            parts.emplace_back(value.substr(begin, comma - begin));
        }
        begin = comma + 1;
    }
    return parts;
}

// The value of a name in "name=value&name=value". Clients do not escape these strings.
std::string_view fieldOf(std::string_view form, std::string_view name)
{
    while (!form.empty()) {
        const std::string_view field = form.substr(0, form.find('&'));
        if (field.size() > name.size() && field[name.size()] == '=' && field.substr(0, name.size()) == name) {
            return field.substr(name.size() + 1);
        }
        form.remove_prefix(std::min(field.size() + 1, form.size()));
    }
    return {};
}

std::string valueOf(const ParameterRule& rule, const http::Request& request, std::string_view segment)
{
    if (rule.place == ParameterPlace::Header) {
        return request.header(rule.name);
    }
    if (rule.place == ParameterPlace::Path) {
        return std::string(segment);
    }
    if (const auto found = request.query.find(rule.name); found != request.query.end()) {
        return found->second;
    }
    std::string_view value;
    if (request.method == "PUT") {
        value = fieldOf(request.body, rule.name);
    }
    if (value.empty()) {
        value = fieldOf(std::string_view(request.path).substr(properPath(request.path).size()), rule.name);
    }
    return std::string(value);
}

}  // namespace

void checkStored(const char* name, std::string_view value)
{
    const bool isPlain =
        std::none_of(value.begin(), value.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
    // The library writes UTF-8 only.
    const auto isUtf8 = [&value] {
        try {
            (void)nlohmann::json(value).dump();
            return true;
        } catch (const nlohmann::json::exception&) {
            return false;
        }
    };
    if (value.size() > kLongestStored || !isPlain || !isUtf8()) {
        throw Refusal(ServiceCode::BadValue,
                      fmt::format("parameter '{}' must be UTF-8 of at most {} bytes without control characters", name,
                                  kLongestStored));
    }
}

std::string_view properPath(std::string_view path)
{
    return path.substr(0, path.find('&'));
}

Arguments::Arguments(ParameterRules rules, const http::Request& request, std::string_view segment)
{
    for (const ParameterRule& rule : rules) {
        ArgumentValue& value = m_values[rule.name];
        value.string = valueOf(rule, request, segment);
        if (rule.kind == ParameterKind::List || rule.kind == ParameterKind::Numbers) {
            value.list = split(value.string);
        }
        const bool isList = rule.kind == ParameterKind::List || rule.kind == ParameterKind::Numbers;
        if (isList ? value.list.empty() : value.string.empty()) {
            if (rule.presence == Presence::Required) {
                throw Refusal(ServiceCode::MissingValue, fmt::format("{} '{}' is missing", describe(rule), rule.name));
            }
            continue;
        }
        if (rule.kind == ParameterKind::Number) {
            value.number = readNumber(rule, value.string);
        } else if (rule.kind == ParameterKind::Numbers) {
            for (const std::string& number : value.list) {
                readNumber(rule, number);
            }
        } else if (rule.kind == ParameterKind::Time) {
            const std::optional<Instant> instant = parseUtc(value.string);
            if (!instant) {
                refuse(rule, value.string, "a time such as 2026-11-21T01:30:00Z");
            }
            value.number = *instant;
        }
    }
}

std::int64_t Arguments::number(std::string_view name, std::int64_t absent) const
{
    const ArgumentValue& value = m_values.at(name);
    return value.string.empty() ? absent : value.number;
}

}  // namespace corvaned
