// The limits of an HTTP server: how much it accepts from clients, and how long it waits for them. The programs that
// listen have an option for each.
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
    std::size_t requestLineBytes = 8'192;  // 414 if exceeded
    std::size_t headerBytes = 16'384;      // 431 if exceeded; all header fields together
    std::size_t headerCount = 100;         // 431 if exceeded
    std::size_t bodyBytes = 1 << 20;       // 413 if exceeded, before or after decompression

    // Memory for all connections together, in bytes.
    std::size_t bodyBytesInAll = 24 << 20;  // 503 if exceeded: bodies that are incomplete or wait for a handler
    // Replies that wait for their clients to read. If exceeded, the connection that has made no progress for the
    // longest time is closed, and handlers with more to send wait.
    std::size_t unsentBytesInAll = 24 << 20;

    // Handlers.
    std::size_t handlers = 8;            // threads
    std::size_t waitingRequests = 2048;  // for a handler, of all connections; 503 if exceeded

    // Times. A connection whose client exceeds one gets 408 if it began a request, and is closed.
    std::chrono::milliseconds handshakeTime{10'000};  // of TLS
    std::chrono::milliseconds idleTime{30'000};       // between requests
    std::chrono::milliseconds headerTime{10'000};     // from the first byte of a request to the end of its header
    std::chrono::milliseconds bodyTime{30'000};       // from there to the end of the body
    std::chrono::milliseconds handlerTime{10'000};    // until the reply is made; 503 if exceeded
    std::chrono::milliseconds sendPauseTime{10'000};  // without the client reading a byte
    std::chrono::milliseconds sendTime{300'000};      // for a whole reply
    std::chrono::milliseconds stopTime{5'000};        // from stop() to the end, regardless of clients

    // WebSockets.
    std::size_t messageBytes = 1 << 20;        // of one message from a client; if exceeded, closes the connection
    std::size_t unsentMessages = 256;          // of one connection; if exceeded, closes it
    std::size_t unsentMessageBytes = 4 << 20;  // of one connection; if exceeded, closes it
    std::chrono::milliseconds webSocketIdleTime{
        60'000};  // a ping after half of it without a frame; closed after all of it
};

}  // namespace http
