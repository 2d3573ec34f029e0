// What every reading of a reply is compared with.
#pragma once

#include <json/reader.h>

#include <stdexcept>
#include <string>

namespace W::bench {

/// The JSON library's own reading of a text, and the destruction of what it made.
inline void bareParse(const std::string& text)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value root;
    if (!reader.parse(text, root, true))
        throw std::runtime_error("the schedule is not JSON");
}

}  // namespace W::bench
