// Databases of earlier versions, which contain the guide and the viewers' data in one file.
#pragma once

#include <functional>
#include <string>

#include "Sqlite.h"

namespace corvaned {

/// Splits a database of an earlier version: the viewers' data goes into the viewers' store, the guide becomes a file of
/// the present format under the same path. The old file stays in the folder as PATH.combined. Does nothing if the file
/// is missing or of the present format. If a run is interrupted, the next one completes it.
/// @param viewers  location of the viewers' store; the default one if it is empty
/// @param fill     adds rows to the new guide; may be null
/// @param log      receives a line for each step
/// @throws OperatorError if a file cannot be read or written, the database is of a newer format, or the viewers' store
///         is not empty; nothing is changed then
void splitCombinedDatabase(const std::string& path, const std::string& viewers,
                           const std::function<void(const std::string& line)>& log,
                           void (*fill)(sqlite::Connection& connection) = nullptr);

}  // namespace corvaned
