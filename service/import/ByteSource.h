// The bytes of a listing, from a file or memory; unpacked if they begin with the magic number of gzip or xz.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace corvaned {

/// A stream of bytes, read once from front to end.  [one thread]
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Reads up to `size` bytes into the buffer. Returns 0 only at the end.
    /// @throws OperatorError if the file cannot be read or its compression is damaged
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// Opens a listing file. Its content, not its name, decides whether it is plain, gzip or xz.
/// @throws OperatorError if it cannot be opened
std::unique_ptr<ByteSource> openFile(const std::string& path);

/// Reads bytes in place; they must outlive the source. Compressed bytes are unpacked too.
/// @param name  for messages
std::unique_ptr<ByteSource> openMemory(std::string_view text, const std::string& name);

}  // namespace corvaned
