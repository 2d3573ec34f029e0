// A temporary file that no other program can open, and that disappears when its last descriptor is closed.
#pragma once

namespace corvaned {

/// Makes a file without a name in the folder for temporary files.
/// @return a descriptor for reading and writing; the caller closes it
/// @throws OperatorError if it cannot be made
int openUnnamedFile();

}  // namespace corvaned
