// Keeps in the guide's file from which versions of which listings the guide was made, so that fetching unchanged
// listings costs one exchange each.
#pragma once

#include <string>
#include <vector>

#include "ListingFetch.h"
#include "Sqlite.h"

namespace corvaned {

/// The versions of the listings in the guide, in the order of the addresses. All are empty unless the guide was made
/// from exactly these listings.
std::vector<Validators> knownVersions(sqlite::Connection& connection, const std::vector<std::string>& urls);

/// Stores the versions from which the guide was made; for ImportOptions::complete. Stores only digests of the
/// addresses, because an address may contain a key.
void rememberVersions(sqlite::Connection& connection, const std::vector<std::string>& urls,
                      const std::vector<Validators>& versions);

}  // namespace corvaned
