// Makes the listings given the guide: reads them into tables of the importing connection, then replaces the guide in
// one transaction. Whoever reads meanwhile sees the old guide or the new one; a refused listing changes nothing.
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

/// A listing to import: what messages call it and how its bytes are had.
struct ListingInput {
    std::string name;
    std::function<std::unique_ptr<ByteSource>()> open;
};

/// By how many seconds the guide is moved, given its first start and last stop. More than one entry repeats it.
using Shifts = std::function<std::vector<std::int64_t>(Instant first, Instant last)>;

/// The guide as its listings date it.
std::vector<std::int64_t> asListed(Instant first, Instant last);

/// Moves a guide of the past to the present day: by whole weeks, so that weekdays stay, or by whole days if it is
/// so short that no number of weeks reaches today. A guide that lasts beyond now stays.
Shifts movedToToday(Instant now, const Zone& zone);

struct ListingReport {
    std::string name;
    std::int64_t channels = 0;
    std::int64_t programmes = 0;  // read and usable, repeats included
    std::int64_t skipped = 0;     // broken channels and programmes
    std::int64_t repeated = 0;    // the same programme in the same slot once more
};

struct ImportReport {
    std::vector<ListingReport> listings;
    bool changed = false;       // false: the guide held exactly this before
    std::int64_t channels = 0;  // of the guide, those included that only programmes name
    std::int64_t airings = 0;
    Instant first = 0;  // of the guide, after moving; 0 without airings
    Instant last = 0;
    std::int64_t shift = 0;  // seconds that it was moved by
};

struct ImportOptions {
    Shifts shifts = asListed;
    std::function<void(const std::string& line)> warn = [](const std::string&) {};
    std::function<void(const std::string& listing, std::int64_t programmes)> progress = [](const std::string&,
                                                                                           std::int64_t) {};
};

/// Replaces the guide by what the listings hold. Where two of them claim the same programme in the same slot, the
/// first counts. A programme without a stop lasts until the next one of its channel.
/// @throws OperatorError if a listing is refused or none can be used; the guide is then unchanged
ImportReport importGuide(Store& store, const std::vector<ListingInput>& listings, const ImportOptions& options);

}  // namespace corvaned
