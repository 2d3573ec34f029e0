// The state of one request that the I/O thread and the handler share.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "ExchangeHook.h"
#include "HttpMessages.h"
#include "ReplyFinish.h"
#include "Transport.h"

namespace http {

class WebSocketHandler;

/// Owned by the handler until it has claimed the request and handed it back.
struct HttpWork {
    Request request;
    std::chrono::steady_clock::time_point begun;  // of the first byte
    bool keepAlive = true;
    std::shared_ptr<std::atomic<bool>> abandoned = std::make_shared<std::atomic<bool>>(false);
    void abandon() const { *abandoned = true; }

    /// The thread that sets it answers the client: the handler, or the I/O thread after the deadline.
    std::atomic<bool> claimed{false};

    // The handler's result.
    OutgoingReply out;
    std::size_t sent = 0;                     // bytes of out that the handler has sent
    IoState sendState = IoState::WantsWrite;  // Done: all of them
    std::size_t countedUnsent = 0;            // bytes of out that HttpCore::unsent() counts
    ReplyDelivery delivery;
    std::shared_ptr<WebSocketHandler> webSocket;  // set: the connection becomes a WebSocket
};

/// Sends as much of the reply as the socket takes.
/// @param sent  bytes of header and body sent so far; updated
/// @return Done when all of it is sent
IoState sendReply(Transport& transport, const OutgoingReply& reply, std::size_t& sent);

}  // namespace http
