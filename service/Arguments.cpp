#include "Arguments.h"

#include <fmt/format.h>

#include <charconv>

namespace corvaned {
namespace {

[[noreturn]] void refuse(const ParameterRule& rule, std::string_view value, const std::string& wanted)
{
    throw Refusal(ServiceCode::BadValue,
                  fmt::format("{} '{}' is '{:.60}'; it must be {}",
                              rule.place == Place::Header ? "header" : "parameter", rule.name, value, wanted));
}

std::int64_t readNumber(const ParameterRule& rule, std::string_view text)
{
    std::int64_t number = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || number < rule.smallest ||
        number > rule.largest) {
        refuse(rule, text, fmt::format("a number from {} to {}", rule.smallest, rule.largest));
    }
    return number;
}

std::vector<std::string> split(std::string_view text)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        if (comma > begin) {
            parts.emplace_back(text.substr(begin, comma - begin));
        }
        begin = comma + 1;
    }
    return parts;
}

std::string valueOf(const ParameterRule& rule, const Request& request)
{
    if (rule.place == Place::Header) {
        return request.header(rule.name);
    }
    const auto found = request.query.find(rule.name);
    return found == request.query.end() ? std::string() : found->second;
}

}  // namespace

Arguments::Arguments(ParameterRules rules, const Request& request)
{
    for (const ParameterRule& rule : rules) {
        Value& value = m_values[rule.name];
        value.text = valueOf(rule, request);
        if (rule.kind == Kind::List || rule.kind == Kind::Numbers) {
            value.list = split(value.text);
        }
        const bool isList = rule.kind == Kind::List || rule.kind == Kind::Numbers;
        if (isList ? value.list.empty() : value.text.empty()) {
            if (rule.presence == Presence::Required) {
                throw Refusal(
                    ServiceCode::MissingValue,
                    fmt::format("{} '{}' is missing", rule.place == Place::Header ? "header" : "parameter", rule.name));
            }
            continue;
        }
        if (rule.kind == Kind::Number) {
            value.number = readNumber(rule, value.text);
        } else if (rule.kind == Kind::Numbers) {
            for (const std::string& number : value.list) {
                readNumber(rule, number);
            }
        } else if (rule.kind == Kind::Time) {
            const std::optional<Instant> instant = parseUtc(value.text);
            if (!instant) {
                refuse(rule, value.text, "a time such as 2026-11-21T01:30:00Z");
            }
            value.number = *instant;
        }
    }
}

std::int64_t Arguments::number(std::string_view name, std::int64_t absent) const
{
    const Value& value = m_values.at(name);
    return value.text.empty() ? absent : value.number;
}

}  // namespace corvaned
