// The search over titles, episode titles, descriptions and people, in all languages of the listing.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "GuideBrowse.h"

namespace corvaned::guide {

enum class Match {
    Prefix,  // every word asked for begins some word of the content
    Exact,   // the words asked for stand there, whole and in that order
};

struct Found {
    std::int64_t total = 0;              // on all pages
    std::vector<std::int64_t> contents;  // of this page, the best first
};

/// Contents whose words fit. Case and accents do not count; a question without any word finds nothing.
Found search(sqlite::Connection& connection, std::string_view question, Match match, Page page);

}  // namespace corvaned::guide
