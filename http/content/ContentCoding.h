// gzip, for replies if the request's Accept-Encoding accepts it, and for the bodies of requests.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace http {

/// Whether the value of an Accept-Encoding header prefers gzip to no coding (RFC 9110, 12.5.3). Names are
/// compared without regard to case; weights ("gzip;q=0.5") and the asterisk are respected.
bool acceptsGzip(std::string_view acceptEncoding);

/// The content as one gzip member (RFC 1952).
std::string gzipped(std::string_view content);

enum class GunzipError {
    Malformed,
    TooLarge
};

/// The content of one gzip member.
/// @param most   limit in bytes; more content is an error, detected before it is stored
/// @param error  set if nothing is returned
std::optional<std::string> gunzipped(std::string_view packed, std::size_t most, GunzipError& error);

}  // namespace http
