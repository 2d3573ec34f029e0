// Makes the listings given the guide, or adds them to it: builds a new file, which replaces the present one in a single
// rename (NewGuide.h). Readers see the old guide or the new one; a refused listing changes nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ByteSource.h"
#include "Clock.h"
#include "Sqlite.h"

namespace corvaned {

/// A listing to import: what messages call it and how its bytes are had.
struct ListingInput {
    std::string name;
    std::function<std::unique_ptr<ByteSource>()> open;
};

/// The time span of a listing's programmes.
struct ListedSpan {
    Instant first = 0;                // start of the first programme
    Instant last = 0;                 // latest end of a programme
    std::function<Instant()> middle;  // the start of a programme with as many before it as after it
};

/// Returns the seconds by which a listing is moved. More than one entry repeats it; the number of entries must not
/// depend on the span. Listings that have a channel in common are moved as one.
using Shifts = std::function<std::vector<std::int64_t>(const ListedSpan& span)>;

/// The guide as its listings date it.
std::vector<std::int64_t> asListed(const ListedSpan& span);

/// Moves a listing that does not cover now so that it does, with about as many programmes before now as after it: by
/// whole weeks, so that weekdays stay, or by whole days if the listing is shorter than a week. A listing of less than a
/// day may miss now by hours. Times of day stay the same by the zone's wall clock.
Shifts movedToToday(Instant now, const Zone& zone);

struct ListingReport {
    std::string name;
    std::int64_t channels = 0;
    std::int64_t programmes = 0;  // read and usable, repeats included
    std::int64_t skipped = 0;     // broken channels and programmes
    std::int64_t repeated = 0;    // the same programme in the same slot once more
    std::int64_t shift = 0;       // seconds that it was moved by
    Instant first = 0;            // of its programmes, after moving; 0 if there are none
    Instant last = 0;
};

struct ImportReport {
    std::vector<ListingReport> listings;
    bool changed = false;  // false: the guide held exactly this before

    // The whole guide after the import.
    std::int64_t channels = 0;  // those included that only programmes name
    std::int64_t airings = 0;
    Instant first = 0;
    Instant last = 0;
};

struct ImportOptions {
    Shifts shifts = asListed;
    /// Whether the programmes are added to the guide that is held instead of replacing it. A new programme then
    /// replaces the held ones that it overlaps on its channel.
    bool isMerge = false;
    /// Adds to the new guide before it replaces the present one. Called only if something has changed, or `always` is
    /// set.
    std::function<void(sqlite::Connection& guide)> complete = [](sqlite::Connection&) {};
    bool always = false;  // replace the file also if the guide stays the same
    std::function<void(const std::string& line)> warn = [](const std::string&) {};
    std::function<void(const std::string& listing, std::int64_t programmes)> progress = [](const std::string&,
                                                                                           std::int64_t) {};
};

/// Replaces the guide with the listings, or adds them. A missing guide is created, with the sample places. If
/// two of them claim the same programme in the same slot, the first counts. A programme without a stop lasts until the
/// next one of its channel.
/// @param guide  the path of its file
/// @throws OperatorError if a listing is refused, none can be used or the file cannot be written; the guide is then
///         unchanged
ImportReport importGuide(const std::string& guide, const std::vector<ListingInput>& listings,
                         const ImportOptions& options);

}  // namespace corvaned
