// The parameters of a request, checked against the rows that an endpoint states for them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Messages.h"

namespace corvaned {

enum class ParameterPlace {
    Query,  // in the query or, for a PUT, in the body
    Header,
    Path,  // the segment at "{}" in the endpoint's path
};

enum class ParameterKind {
    String,
    List,     // strings, separated by commas; empty ones are dropped
    Number,   // decimal, within the row's bounds
    Numbers,  // a list of them
    Time,     // "2026-11-21T01:30:00Z"
};

enum class Presence {
    Required,  // an absent or empty value is an error that names the parameter
    Optional,
};

struct ParameterRule {
    const char* name;
    ParameterPlace place;
    ParameterKind kind;
    Presence presence;
    std::int64_t smallest = 0;
    std::int64_t largest = INT32_MAX;
};

/// Rows of one endpoint; their array must be static.
struct ParameterRules {
    constexpr ParameterRules() = default;

    template <std::size_t Count>
    constexpr ParameterRules(const ParameterRule (&rows)[Count]) : first(rows), count(Count)
    {}

    const ParameterRule* begin() const { return first; }
    const ParameterRule* end() const { return first + count; }

    const ParameterRule* first = nullptr;
    std::size_t count = 0;
};

/// The path without parameters that a client may append to it: "/user/favorite" for "/user/favorite&device=N".
std::string_view properPath(std::string_view path);

inline constexpr std::size_t kLongestStored = 255;  // bytes of a parameter that is kept

/// Refuses a value that cannot be kept: a long one, and one that is not UTF-8 or has control characters.
/// @throws Refusal
void checkStored(const char* name, std::string_view value);

/// The values of one request's parameters. A name without a row is a defect of the endpoint and throws
/// std::out_of_range.
class Arguments {
public:
    /// @param segment  the value of the ParameterPlace::Path row, if there is one
    /// @throws Refusal if a required value is missing or a value cannot be read
    Arguments(ParameterRules rules, const http::Request& request, std::string_view segment = {});

    const std::string& string(std::string_view name) const { return m_values.at(name).string; }
    const std::vector<std::string>& list(std::string_view name) const { return m_values.at(name).list; }

    /// @return the value, or `absent` if it is missing; for Number and Time
    std::int64_t number(std::string_view name, std::int64_t absent = 0) const;

private:
    struct ArgumentValue {
        std::string string;
        std::vector<std::string> list;
        std::int64_t number = 0;
    };

    std::map<std::string_view, ArgumentValue> m_values;
};

}  // namespace corvaned
