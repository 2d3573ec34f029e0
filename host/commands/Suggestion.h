// Suggests the known name that is most similar to a misspelt one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace W::host {

/// The known name that is most like a misspelt one, regardless of case. Long names are compared by their beginnings,
/// too.
/// @return empty if none is similar
std::string closest(std::string_view written, const std::vector<std::string>& known);

/// As in "; did you mean guide?"; empty if nothing is similar.
std::string didYouMean(std::string_view written, const std::vector<std::string>& known);

}  // namespace W::host
