// The last steps of a reply before it is sent: conditional requests, a range, compression, and the bytes of its header.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "HttpMessages.h"

namespace http {

/// A reply as it is sent.
struct OutgoingReply {
    std::string head;
    std::string body;
    SharedBytes shared;     // if set, the body is a part of it
    std::size_t begin = 0;  // of shared
    std::size_t size = 0;

    /// Bytes of memory that only this reply uses.
    std::size_t ownSize() const { return head.size() + body.size(); }

    std::string_view content() const { return shared ? shared.bytes().substr(begin, size) : std::string_view(body); }
};

/// Decides which part of the reply is sent: 304 or 412 for its ETag (RFC 9110, 13), one range of it (14), or all of it,
/// compressed if the request accepts that. A request for several ranges gets the whole reply, so that no request makes
/// the server send more than that.
/// @param keepAlive  whether another request may follow
OutgoingReply finishReply(const Request& request, Reply reply, bool keepAlive);

/// "Sun, 06 Nov 1994 08:49:37 GMT" for this second.  [any thread]
std::string httpDate();

}  // namespace http
