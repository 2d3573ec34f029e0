// Representative genres: the few groups that the many category texts of listings are sorted into.
#pragma once

#include <string_view>
#include <vector>

namespace corvaned {

struct GenreGroup {
    std::string_view id;
    std::string_view name;
};

/// All groups; the last one takes what fits no other.
const std::vector<GenreGroup>& genreGroups();

/// The group of a category text, by the first word known in it.
const GenreGroup& genreGroupOf(std::string_view category);

}  // namespace corvaned
