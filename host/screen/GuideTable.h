// The guide as a table: channels down, programmes by time, the one that runs marked. Pure layout over records.
// Read next: Guide.h, which fetches what it shows.
#pragma once

#include "WVLChannel.h"
#include "WVLContent.h"

#include <cstdint>
#include <list>
#include <string>

namespace W::host {

/// What a table shows. Times are seconds since 1970-01-01T00:00:00Z.
struct GuideWindow {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t now = 0;   ///< 0 marks nothing
    int offsetSeconds = 0;  ///< of the viewer's clock, east of Greenwich
};

struct GuideStyle {
    int width = 80;  ///< columns; less than 40 is taken as 40
    bool colours = false;
};

/// The table, with a heading, ready to be printed. Programmes are found by their channel's source, in any order; where
/// two overlap the later one wins its own begin.
std::string guideTable(const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
                       const GuideWindow& window, const GuideStyle& style);

}  // namespace W::host
