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

    /// Fills buffer with up to size bytes; 0 only at the end.
    /// @throws OperatorError if the file cannot be read or its compression is damaged
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

/// The bytes themselves, or unpacked if they begin like gzip or xz.
/// @param name  for messages
/// @throws OperatorError if they are compressed in another way
std::unique_ptr<ByteSource> unpacked(std::unique_ptr<ByteSource> raw, const std::string& name);

/// The path that means standard input.
inline constexpr std::string_view kStandardInput = "-";

/// Opens a listing file, plain, .gz or .xz whatever its name, or standard input.
/// @throws OperatorError if it cannot be opened or is compressed in another way
std::unique_ptr<ByteSource> openFile(const std::string& path);

/// Reads bytes in place; they must outlive the source. Compressed bytes are unpacked too.
/// @param name  for messages
std::unique_ptr<ByteSource> openMemory(std::string_view bytes, const std::string& name);

}  // namespace corvaned
