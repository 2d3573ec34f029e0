// Writes the guide that is held as an XMLTV listing. Importing that listing gives the same guide: the same channels
// with the same numbers in the same order, the same programmes with the same content ids. Only the sources, numbers of
// channels that a database hands out itself, may differ in another database.
#pragma once

#include <cstdio>

#include "Sqlite.h"

namespace corvaned {

/// @param file  open for writing; stays open. Whether all of it was written is for ferror and fclose to say.
void exportListing(sqlite::Connection& connection, std::FILE* file);

}  // namespace corvaned
