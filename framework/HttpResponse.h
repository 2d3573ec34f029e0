// What came back for a request. Written by the executor before the completion, read by the plug-in during it.
#pragma once

#include <string>
#include <utility>

#include "WTypes.h"

#pragma GCC visibility push(default)
namespace W {

class HttpResponse {
public:
    HTTP_RESPONSE_CODE getHttpResponseCode() const { return m_code; }
    /// The body, decoded if it came compressed; empty for downloads, which are written to their file.
    const std::string& getPayload() const { return m_payload; }

    void setHttpResponseCode(HTTP_RESPONSE_CODE code) { m_code = code; }
    void setPayload(std::string payload) { m_payload = std::move(payload); }
    /// For the executor, which appends what arrives.
    std::string& payload() { return m_payload; }

private:
    HTTP_RESPONSE_CODE m_code = 0;
    std::string m_payload;
};

}  // namespace W
#pragma GCC visibility pop
