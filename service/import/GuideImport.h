// Replaces the guide by listings: reads them into temporary tables of the importing connection, then replaces the guide
// in one transaction. Readers see the old guide or the new one. A refused listing changes nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "Clock.h"
#include "Store.h"

namespace corvaned {

/// A listing to import: its name in messages, and a function that opens it.
struct ListingInput {
    std::string name;
    std::function<std::unique_ptr<ByteSource>()> open;
};

/// The seconds by which the guide is moved, given its first start and its last stop. Several entries repeat the guide.
using Shifts = std::function<std::vector<std::int64_t>(Instant first, Instant last)>;

/// Does not move the guide.
std::vector<std::int64_t> asListed(Instant first, Instant last);

/// Moves a past guide to the present: by whole weeks, so that weekdays stay, or by whole days if it is so short that no
/// number of weeks reaches today. Does not move a guide that lasts beyond now.
Shifts movedToToday(Instant now, const Zone& zone);

struct ListingReport {
    std::string name;
    std::int64_t channels = 0;
    std::int64_t programmes = 0;  // usable programmes read, including repeated ones
    std::int64_t skipped = 0;     // broken channels and programmes
    std::int64_t repeated = 0;    // programmes that occurred before in the same slot
};

struct ImportReport {
    std::vector<ListingReport> listings;
    bool changed = false;       // false: the guide was the same before
    std::int64_t channels = 0;  // of the guide, including those that only programmes name
    std::int64_t airings = 0;
    Instant first = 0;  // of the guide, after moving; 0 without airings
    Instant last = 0;
    std::int64_t shift = 0;  // seconds by which it was moved
};

struct ImportOptions {
    Shifts shifts = asListed;
    std::function<void(const std::string& line)> warn = [](const std::string&) {};
    std::function<void(const std::string& listing, std::int64_t programmes)> progress = [](const std::string&,
                                                                                           std::int64_t) {};
};

/// Replaces the guide by the listings. If a programme occurs twice in the same slot, the first one counts. A programme
/// without a stop lasts until the next one of its channel.
/// @throws OperatorError if a listing is refused or none can be used; the guide is then unchanged
ImportReport importGuide(Store& store, const std::vector<ListingInput>& listings, const ImportOptions& options);

}  // namespace corvaned
