// Numbers of things in messages.
#pragma once

#include <cstddef>
#include <string>

#include <fmt/format.h>

namespace W::host {

/// As in "1 channel" and "2 channels".
/// @param thing a noun whose plural ends in a plain s
inline std::string counted(std::size_t number, const char* thing)
{
    return fmt::format("{} {}{}", number, thing, number == 1 ? "" : "s");
}

}  // namespace W::host
