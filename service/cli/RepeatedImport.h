// `corvaned import --every`: repeats the import in one process.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace corvaned {

/// Reads "90s", "30m", "6h" or "1d", from a second to a year; nothing for anything else.
std::optional<std::chrono::seconds> intervalOf(const std::string& text);

/// Calls `import` at that interval until the process ends. What it throws is logged, and it is called again after a
/// pause that begins with a 64th of the interval and doubles with each failure, up to the interval. SIGTERM and SIGINT
/// end the process at once with code 0, also during an import: that is a transaction, and fetched listings are
/// in files without names.
[[noreturn]] void repeatImport(std::chrono::seconds interval, const std::function<void()>& import);

}  // namespace corvaned
