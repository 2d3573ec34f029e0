// Trims strings of files and messages.
#pragma once

#include <algorithm>
#include <string_view>

namespace corvaned {

/// The string without blanks, tabs and line ends at its beginning and end.
inline std::string_view trimmed(std::string_view string)
{
    constexpr std::string_view kBlanks = " \t\r\n";
    string.remove_prefix(std::min(string.find_first_not_of(kBlanks), string.size()));
    return string.substr(0, string.find_last_not_of(kBlanks) + 1);
}

}  // namespace corvaned
