// Extra properties of a record, text to text.
#pragma once

#include <map>
#include <string>

#pragma GCC visibility push(default)
namespace W {

using WExtendedProperty = std::map<std::string, std::string>;

}  // namespace W
#pragma GCC visibility pop
