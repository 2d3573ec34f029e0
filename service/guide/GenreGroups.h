// Genre groups: a few representative genres for the many categories of listings.
#pragma once

#include <string_view>
#include <vector>

namespace corvaned {

struct GenreGroup {
    std::string_view id;
    std::string_view name;
};

/// All groups. The last one is for categories that fit no other group.
const std::vector<GenreGroup>& genreGroups();

/// The group of a category, found by the known words in it.
const GenreGroup& genreGroupOf(std::string_view category);

}  // namespace corvaned
