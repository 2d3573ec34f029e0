// Writes the guide that is held as an XMLTV listing, valid by XMLTV's document type. Importing that listing gives the
// same guide: the same channels with the same numbers in the same order, the same programmes with the same content ids.
// Only the sources, numbers of channels that a database hands out itself, may differ in another database.
#pragma once

#include <functional>
#include <string_view>

#include "Sqlite.h"

namespace corvaned {

/// @param write  receives the listing in UTF-8, piece by piece; what it throws ends the export and is passed on
void exportListing(sqlite::Connection& connection, const std::function<void(std::string_view piece)>& write);

}  // namespace corvaned
