// JSON trees whose members keep the order in which they were added.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace corvaned {

using Json = nlohmann::ordered_json;

/// Writes a tree as JSON text. Invalid UTF-8, which a request may contain, is replaced by U+FFFD.
std::string serialize(const Json& tree);

}  // namespace corvaned
