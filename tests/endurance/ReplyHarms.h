// What a server can do wrong with a reply, one function each.
// Read next: FaultServer.h for the server that does it, Faults.cpp for what comes of it.
#pragma once

#include "FaultServer.h"

#include <cstddef>

namespace W::test {

/// Sends bytes. @return whether all went
bool send(const Meeting& meeting, const std::string& bytes);

bool resetBeforeHeaders(const Meeting& meeting);
bool resetInsideHeaders(const Meeting& meeting);

// For a server that closes afterwards.
bool cutBeforeFirstByte(const Meeting& meeting);
bool cutInTheMiddle(const Meeting& meeting);
bool cutBeforeLastByte(const Meeting& meeting);
bool lengthTooBig(const Meeting& meeting);

bool lengthTooSmall(const Meeting& meeting);
bool badChunks(const Meeting& meeting);

/// Half of the body and then nothing, until the client has gone.
bool stall(const Meeting& meeting);
/// Until all is sent or the client has gone. Done when it was three bytes at least; the first comes with the headers.
bool oneByteASecond(const Meeting& meeting);

bool redirectToItself(const Meeting& meeting);
bool noContent(const Meeting& meeting);
bool htmlPage(const Meeting& meeting);
/// Whole by its length, but for the last byte.
bool truncatedJson(const Meeting& meeting);
/// One more level than the JSON library takes.
bool deepJson(const Meeting& meeting);

/// What is huge: a hundred megabytes.
inline constexpr std::size_t kHuge = std::size_t{100} << 20;

/// So many bytes. Done when more went out than the client keeps.
/// @param kept  bytes that the client keeps
ReplyHarm hugeBody(std::size_t kept);
/// So many zeros, compressed. Done when what went out unpacks to more than the client keeps.
ReplyHarm packedZeros(std::size_t kept);

}  // namespace W::test
