// Compression of replies, where the request's Accept-Encoding asks for it.
#pragma once

#include <string>
#include <string_view>

namespace corvaned {

/// Whether the value of an Accept-Encoding header prefers gzip to sending the text as it is. Names count in any case;
/// weights ("gzip;q=0.5") and the asterisk are respected.
bool acceptsGzip(std::string_view acceptEncoding);

/// The text as one gzip member.
std::string gzipped(std::string_view text);

}  // namespace corvaned
