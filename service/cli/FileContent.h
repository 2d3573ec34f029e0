// The content of a small file that the operator names.
#pragma once

#include <string>

namespace corvaned {

/// Reads a whole file.
/// @throws std::system_error  with the reason; of a folder it is EISDIR
std::string contentOfFile(const std::string& path);

}  // namespace corvaned
