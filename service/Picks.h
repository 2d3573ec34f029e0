// Programmes that some rule has picked, read one by one with the texts of the language asked for. The rules stand in
// Viewer.cpp and Recommend.cpp and give numbers only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "Clock.h"
#include "Guide.h"
#include "Sqlite.h"

namespace corvaned {

/// A content with one of its airings; source and times are 0 where the guide holds none.
struct Pick {
    std::int64_t content = 0;
    std::int64_t source = 0;
    std::string channelNumber;
    std::string channelName;
    Instant start = 0;
    Instant stop = 0;
    std::string type;
    std::int64_t season = 0;  // 0: unknown, as for episode and year
    std::int64_t episode = 0;
    std::int64_t year = 0;
    std::string lang;
    std::string title;
    std::string episodeTitle;
    std::string rating;
    std::string genres;  // numbers, separated by commas
    std::string imageUrl;
    std::int64_t imageWidth = 0;
    std::int64_t imageHeight = 0;

    guide::Image image() const { return {imageUrl, imageWidth, imageHeight}; }
};

/// @param airing  its row in the guide
std::optional<Pick> pickAiring(sqlite::Connection& connection, std::int64_t airing, std::string_view lang);

/// A content with the airing that is on or comes next, else its last one; of a content that the guide has dropped, what
/// was remembered for the viewers who named it.
std::optional<Pick> pickContent(sqlite::Connection& connection, std::int64_t content, Instant now,
                                std::string_view lang);

}  // namespace corvaned
