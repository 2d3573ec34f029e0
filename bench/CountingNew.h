// Counts calls of operator new. Linking CountingNew.cpp replaces it in the whole program.
#pragma once

namespace W::bench {

/// Calls of operator new since the program began, of all threads.
unsigned long allocations();
/// Bytes that they requested.
unsigned long allocatedBytes();

}  // namespace W::bench
