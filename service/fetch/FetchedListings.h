// Which versions of which listings the guide was made of, kept in the guide's file, so that a fetch of the same
// versions costs one exchange.
#pragma once

#include <string>
#include <vector>

#include "ListingFetch.h"
#include "Sqlite.h"

namespace corvaned {

/// The versions of the listings in the guide, in the order of the addresses. All are empty unless the guide was made of
/// exactly these listings.
std::vector<Validators> knownVersions(sqlite::Connection& connection, const std::vector<std::string>& urls);

/// Keeps the versions that the guide was made of; for ImportOptions::complete. Of the addresses only digests are kept,
/// because an address may hold a key.
void rememberVersions(sqlite::Connection& connection, const std::vector<std::string>& urls,
                      const std::vector<Validators>& versions);

}  // namespace corvaned
