// Shared code of the fuzz targets. Each target is one file; CMakeLists.txt lists them, tests/fuzz/run builds and runs
// them.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace W::test {

/// Makes the fuzzer keep the input if a condition does not hold.
inline void require(bool holds, const char* what)
{
    if (holds) {
        return;
    }
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

inline std::string_view stringOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

/// Removes and returns the first line.
inline std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

}  // namespace W::test
