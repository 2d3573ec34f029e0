// A file that no other program sees, and that is gone when its last user is.
#pragma once

namespace corvaned {

/// Makes a file without a name in the folder for temporary files.
/// @return a descriptor for reading and writing; the caller closes it
/// @throws OperatorError if it cannot be made
int openUnnamedFile();

}  // namespace corvaned
