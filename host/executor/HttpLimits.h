// Limits of the executor. Code that configures it does not need libcurl's headers.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace W::host {

/// Limits that apply to every exchange.
struct HttpLimits {
    std::chrono::milliseconds connectTimeout{10'000};  ///< until connected, name look-up and TLS included
    std::chrono::milliseconds stallTimeout{30'000};    ///< without a byte in either direction
    std::chrono::milliseconds totalTimeout{60'000};    ///< from acceptance to the last byte; not for downloads
    std::size_t payloadCap = std::size_t{64} << 20;    ///< bytes after decoding
    std::size_t concurrency = 256;                     ///< simultaneous transfers; further ones wait
    std::string caFile;                                ///< PEM; empty for the system's certificates
};

}  // namespace W::host
