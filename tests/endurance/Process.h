// Memory, descriptors and threads of this process.
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <unistd.h>

namespace W::test {

/// Sanitizers delay the release of memory and change timing, so these are not judged; counts are.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

/// Resident memory in bytes.
inline std::size_t residentBytes()
{
    std::size_t pages = 0;
    std::size_t residentPages = 0;
    std::ifstream("/proc/self/statm") >> pages >> residentPages;
    return residentPages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

inline std::size_t entriesOf(const char* directory)
{
    const std::filesystem::directory_iterator all(directory);
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Number of open descriptors, including the one that lists them.
inline std::size_t descriptorsOfProcess()
{
    return entriesOf("/proc/self/fd");
}

inline std::size_t threadsOfProcess()
{
    return entriesOf("/proc/self/task");
}

}  // namespace W::test
