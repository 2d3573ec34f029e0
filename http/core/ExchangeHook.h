// The one place where a program can interfere with what the server sends: to inject faults, to record exchanges and to
// replay them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "HttpMessages.h"

namespace http {

/// How the bytes of a reply are sent. A delivery costs memory and timers, but no thread.
struct ReplyDelivery {
    enum class End : std::uint8_t {
        KeepAlive,  // as the reply says
        Close,
        Reset,  // closes with a TCP reset
        Stall,  // sends nothing more, until the client leaves or the server stops
    };

    std::chrono::milliseconds delay{0};  // before the first byte
    std::chrono::milliseconds drip{0};   // after each byte; 0: all bytes at once
    std::size_t most = SIZE_MAX;         // bytes sent before the end
    End end = End::KeepAlive;

    bool isPlain() const
    {
        return delay.count() == 0 && drip.count() == 0 && most == SIZE_MAX && end == End::KeepAlive;
    }
};

/// Called for each request by the thread that answers it, in the order of the functions here.  [handler threads]
class ExchangeHook {
public:
    ExchangeHook() = default;
    ExchangeHook(const ExchangeHook&) = delete;
    ExchangeHook& operator=(const ExchangeHook&) = delete;
    virtual ~ExchangeHook() = default;

    /// Answers instead of the application, which then does not see the request.
    /// @return header and body as sent
    virtual std::optional<std::string> answerInstead(const Request& /*request*/) { return std::nullopt; }

    /// Changes the application's reply before it is compressed.
    virtual void alter(const Request& /*request*/, Reply& /*reply*/) {}

    /// Sees the whole reply, header and body.
    virtual void observe(const Request& /*request*/, std::string_view /*bytes*/) {}

    /// Changes the reply's bytes and their delivery.
    virtual void deliver(const Request& /*request*/, std::string& /*bytes*/, ReplyDelivery& /*delivery*/) {}
};

}  // namespace http
