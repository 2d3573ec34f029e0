// The guide as a table: channels down, time across, current programmes marked. Lays out records, without input or
// output.
#pragma once

#include <cstdint>
#include <list>
#include <string>

#include "DisplayZone.h"
#include "WVLChannel.h"
#include "WVLContent.h"

namespace W::host {

/// The part of the guide that a table shows. Times are seconds since 1970-01-01T00:00:00Z.
struct GuideWindow {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::int64_t now = 0;  ///< whose programmes are marked; 0 for none
    DisplayZone zone = DisplayZone::fixed(0);
};

struct GuideStyle {
    int width = 80;  ///< columns
    bool colours = false;
};

/// The table with its heading, ready to be printed. Programmes belong to a channel by their source and may come in any
/// order; if two overlap, the later one ends the earlier one. Programmes that are too short for a cell share a cell
/// that shows their number, as in "+2".
std::string guideTable(const std::list<WVLChannel>& channels, const std::list<WVLContent>& programmes,
                       const GuideWindow& window, const GuideStyle& style);

/// A local time in words, as in "Saturday 21 November 2026, 20:00".
std::string shownTime(std::int64_t instant, const DisplayZone& zone);

}  // namespace W::host
