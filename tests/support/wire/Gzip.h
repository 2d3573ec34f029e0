// Compressed bodies for tests.
#pragma once

#include <stdexcept>
#include <string>

#include <zlib.h>

namespace W::test {

/// The bytes in the format of gzip (RFC 1952).
/// @throws std::runtime_error
inline std::string gzipped(std::string bytes)
{
    z_stream stream{};
    constexpr int kGzip = 15 + 16;
    if (deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("zlib cannot compress");
    }
    std::string packed(deflateBound(&stream, bytes.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

}  // namespace W::test
