// Finds functions that a loaded library does not export, in the symbol table of its file.
#pragma once

#include <string>

namespace W::test {

/// Address of a function of a loaded library; null if the file's symbol table does not name it.
/// @param handle  from dlopen()
/// @param name    mangled
void* loadedSymbol(void* handle, const std::string& name);

}  // namespace W::test
