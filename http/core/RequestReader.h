// Turns the bytes of a connection into requests: finds and checks the head, parses it and the
// body with Boost.Beast, and enforces the limits on both. Holds nothing between two requests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "HeadCheck.h"
#include "HttpMessages.h"
#include "ServerLimits.h"

namespace http {

/// Used by one thread at a time.
class RequestReader {
public:
    enum class ReadProgress : std::uint8_t {
        NeedsMore,
        Complete,  // request() holds it
        Refused,   // refusal() says why; the rest of the connection's bytes cannot be read
    };

    explicit RequestReader(const ServerLimits& limits);
    RequestReader(const RequestReader&) = delete;
    RequestReader& operator=(const RequestReader&) = delete;
    ~RequestReader();

    /// Parses more of the request and removes the parsed bytes from the front of the input.
    ReadProgress read(std::string& input);

    /// Whether the head is complete and the body is not.
    bool isInBody() const { return m_body != nullptr; }
    /// Bytes of the body so far.
    std::size_t bodySize() const;
    /// Whether the client waits for "100 Continue"; once per request.
    bool takeContinue();

    const HeadFacts& facts() const { return m_facts; }
    const Refused& refusal() const { return m_refusal; }

    /// Discards the request read so far and frees its memory.
    void drop();

    /// The complete request without origin and remote; begins the next one.
    Request take();

private:
    struct Body;

    ReadProgress refuse(Refused refusal);
    bool beginBody(std::string_view head);
    ReadProgress readBody(std::string& input);

    const ServerLimits& m_limits;
    HeadFacts m_facts;
    Refused m_refusal{};
    Request m_request;
    std::unique_ptr<Body> m_body;  // null before the end of the head
};

}  // namespace http
