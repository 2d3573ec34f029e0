// The standard streams of a program, when the caller has closed some of them or they cannot be written.
#pragma once

namespace corvane {

/// Occupies the standard descriptors that are closed: otherwise sockets and files would get their numbers, and output
/// would go into them. Reading then gives the end of the file; writing to standard output fails. Call it first in main.
void occupyStandardDescriptors();

/// Flushes standard output. @return false if some of what was printed could not be written
bool flushOutput();

}  // namespace corvane
