// The listing that corvaned serves when it is given no database: one day of ten invented channels, compiled in.
#pragma once

#include <string>
#include <string_view>

#include "Clock.h"
#include "GuideImport.h"

namespace corvaned {

/// sample/day.xml. Its times are those of 1 January 2000, to be read as wall-clock times.
std::string_view sampleListing();

/// Makes the sample the guide in that file. Its day is repeated from yesterday to eight days ahead, by the zone's wall
/// clock.
void importSample(const std::string& guide, Instant now, const Zone& zone);

}  // namespace corvaned
