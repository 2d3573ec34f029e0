// The baseline for reading a reply.
#pragma once

#include <stdexcept>
#include <string>

#include <json/reader.h>

namespace W::bench {

/// The JSON library's parse of a reply and the destruction of the result.
inline void bareParse(const std::string& text)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value root;
    if (!reader.parse(text, root, true)) {
        throw std::runtime_error("the schedule is not JSON");
    }
}

}  // namespace W::bench
