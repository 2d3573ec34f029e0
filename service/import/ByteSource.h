// Where a listing's bytes come from: a file or memory, unpacked on the way where gzip's or xz's magic number says so.
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

    /// Fills buffer with up to size bytes; 0 only at the end.
    /// @throws OperatorError where the file cannot be read or its packing is damaged
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// Opens a listing file, plain, .gz or .xz whatever its name.
/// @throws OperatorError where it cannot be opened
std::unique_ptr<ByteSource> openFile(const std::string& path);

/// Reads text in place; it must outlive the source. Packed bytes are unpacked too.
/// @param name  what messages call it
std::unique_ptr<ByteSource> openMemory(std::string_view text, const std::string& name);

}  // namespace corvaned
