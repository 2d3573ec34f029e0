// Refuses requests whose framing two programs could read differently (RFC 9112, 11.2: request smuggling). Boost.Beast's
// parser, which reads the request afterwards, accepts some of them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ServerLimits.h"

namespace http {

/// Why a request is refused.
struct Refused {
    int status;
    std::string message;
};

/// The facts in a head about the body and the connection.
struct HeadFacts {
    bool isHttp11 = true;
    bool isChunked = false;
    bool hasLength = false;
    std::uint64_t length = 0;
    bool keepAlive = true;
    bool expectsContinue = false;
};

/// Checks the part of a head that has been received so far.
/// @return the reason if no continuation can make it valid
std::optional<Refused> checkPartOfHead(std::string_view part, const ServerLimits& limits);

/// Checks a whole head: from the method to the empty line, which is included.
/// @param facts  filled in unless the head is refused
std::optional<Refused> checkHead(std::string_view head, const ServerLimits& limits, HeadFacts& facts);

}  // namespace http
