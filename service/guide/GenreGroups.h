// Representative genres: a few groups for the many categories of listings.
#pragma once

#include <string_view>
#include <vector>

namespace corvaned {

struct GenreGroup {
    std::string_view id;
    std::string_view name;
};

/// All groups; the last one is for categories that fit no other.
const std::vector<GenreGroup>& genreGroups();

/// The group of a category, by the first known word in it.
const GenreGroup& genreGroupOf(std::string_view category);

}  // namespace corvaned
