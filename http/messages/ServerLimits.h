// The limits of an HTTP server: how much it takes from clients, and how long it waits for them. Each has a name, and an
// option of the programs that listen.
#pragma once

#include <chrono>
#include <cstddef>

namespace http {

struct ServerLimits {
    // Connections. At a limit, the connection that has been idle for longest makes room; if none is idle, the new one
    // is answered 503 and closed.
    std::size_t connections = 10'000;
    std::size_t connectionsPerAddress = 4'000;
    std::size_t requestsPerConnection = 1'000'000;  // then the connection is closed

    // Requests, in bytes.
    std::size_t requestLineBytes = 8'192;  // 414 above
    std::size_t headerBytes = 16'384;      // 431 above; all header fields together
    std::size_t headerCount = 100;         // 431 above
    std::size_t bodyBytes = 1 << 20;       // 413 above, before and after decompression

    // Memory for all connections together, in bytes.
    std::size_t bodyBytesInAll = 24 << 20;  // 503 above: bodies that are not complete, or wait for a handler
    // Replies that wait for their clients to read. Above, the connection without progress for longest is closed, and
    // handlers that have more to send wait for the room.
    std::size_t unsentBytesInAll = 24 << 20;

    // Handlers.
    std::size_t handlers = 8;            // threads
    std::size_t waitingRequests = 2048;  // for a handler, of all connections; 503 above

    // Times. A connection whose client exceeds one gets 408 if it began a request, and is closed.
    std::chrono::milliseconds handshakeTime{10'000};  // of TLS
    std::chrono::milliseconds idleTime{30'000};       // between requests
    std::chrono::milliseconds headerTime{10'000};     // from the first byte of a request to the end of its header
    std::chrono::milliseconds bodyTime{30'000};       // from there to the end of the body
    std::chrono::milliseconds handlerTime{10'000};    // until the reply is there; 503 above
    std::chrono::milliseconds sendPauseTime{10'000};  // without a byte that the client reads
    std::chrono::milliseconds sendTime{300'000};      // for a whole reply
    std::chrono::milliseconds stopTime{5'000};        // from stop() to the end, whatever clients do

    // WebSockets.
    std::size_t messageBytes = 1 << 20;        // of one that a client sends; closed above
    std::size_t unsentMessages = 256;          // of one connection; closed above
    std::size_t unsentMessageBytes = 4 << 20;  // of one connection; closed above
    std::chrono::milliseconds webSocketIdleTime{
        60'000};  // half of it without a sign of life: a ping; all of it: closed
};

}  // namespace http
