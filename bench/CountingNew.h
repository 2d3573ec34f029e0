// Counts what a benchmark asks of operator new: linking CountingNew.cpp replaces it in the whole program.
#pragma once

namespace W::bench {

/// Calls of operator new since the program began, of all threads.
unsigned long allocations();
/// Bytes that they asked for.
unsigned long allocatedBytes();

}  // namespace W::bench
