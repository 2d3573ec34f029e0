// The search over titles, episode titles, descriptions and people, in all languages of the listing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Programmes.h"

namespace corvaned::guide {

inline constexpr std::size_t kMostSearchWords = 16;
inline constexpr std::size_t kLongestSearchWord = 64;  // bytes

enum class Match {
    Prefix,  // every word asked for is the beginning of a word of the content
    Exact,   // the content has the words asked for, whole and in that order
};

struct Found {
    std::int64_t total = 0;              // on all pages
    std::vector<std::int64_t> contents;  // of this page, the best first
};

/// The reason why a question cannot be searched for, as the rest of a sentence about it; empty if it can be. The limits
/// keep the cost of a search proportional to the number of results.
std::string searchProblem(std::string_view question);

/// Finds the contents that match. Case and accents are ignored; a question without any word finds nothing.
/// @param question  one without a searchProblem
Found search(sqlite::Connection& connection, std::string_view question, Match match, Page page);

}  // namespace corvaned::guide
