// Header lines of a request, in the order in which they go out.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "WShared.h"

#pragma GCC visibility push(default)
namespace W {

/// Copies share their lines until one of them adds another.
class HttpHeader {
public:
    using Line = std::pair<std::string, std::string>;  ///< name, value

    /// Appends a line. An empty value is sent as an empty header. Names and values are not checked here: the executor
    /// refuses a request with CR, LF or NUL in one of them.
    void add(std::string name, std::string value)
    {
        std::vector<Line>& lines = m_lines.edit();
        // Most requests have no more.
        if (lines.empty()) {
            lines.reserve(8);
        }
        lines.emplace_back(std::move(name), std::move(value));
    }

    const std::vector<Line>& lines() const { return m_lines.get(); }

private:
    WShared<std::vector<Line>> m_lines;
};

}  // namespace W
#pragma GCC visibility pop
