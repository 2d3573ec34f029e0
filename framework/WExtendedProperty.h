// Extra properties of a record, text to text.
#pragma once

#include <map>
#include <string>

namespace W {

using WExtendedProperty = std::map<std::string, std::string>;

}  // namespace W
