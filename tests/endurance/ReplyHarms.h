// What a server can do wrong with a reply that the service's fault injector cannot, one function each.
// Read next: FaultServer.h for the server that does it, Faults.cpp for the results.
#pragma once

#include <cstddef>

#include "FaultServer.h"

namespace W::test {

/// Sends bytes. @return whether all were sent
bool send(const Meeting& meeting, const std::string& bytes);

// For a server that closes afterwards.
bool cutBeforeFirstByte(const Meeting& meeting);
bool cutInTheMiddle(const Meeting& meeting);
bool cutBeforeLastByte(const Meeting& meeting);

bool lengthTooSmall(const Meeting& meeting);
bool badChunks(const Meeting& meeting);

/// Sends half of the body and then nothing until the client closes.
bool stall(const Meeting& meeting);
/// Sends until the client closes. Succeeds after at least three bytes; the first one comes with the headers.
bool oneByteASecond(const Meeting& meeting);

bool redirectToItself(const Meeting& meeting);
bool noContent(const Meeting& meeting);
/// Compressed data without its last byte; Content-Length matches.
bool truncatedJson(const Meeting& meeting);
/// One more level than the JSON library accepts.
bool deepJson(const Meeting& meeting);

/// A hundred megabytes.
inline constexpr std::size_t kHuge = std::size_t{100} << 20;

/// Sends that many bytes. Succeeds if more were sent than the client keeps.
/// @param kept  bytes that the client keeps
ReplyHarm hugeBody(std::size_t kept);
/// Sends that many zeros, compressed. Succeeds if they unpack to more than the client keeps.
ReplyHarm packedZeros(std::size_t kept);

}  // namespace W::test
