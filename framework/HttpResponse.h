// The response to a request. The executor writes it before the completion; the plug-in reads it during the completion.
#pragma once

#include <string>
#include <utility>

#include "WTypes.h"

#pragma GCC visibility push(default)
namespace W {

class HttpResponse {
public:
    HTTP_RESPONSE_CODE getHttpResponseCode() const { return m_code; }
    /// The body, decoded if it was compressed; empty for downloads, which are written to their file.
    const std::string& getPayload() const { return m_payload; }

    void setHttpResponseCode(HTTP_RESPONSE_CODE code) { m_code = code; }
    void setPayload(std::string payload) { m_payload = std::move(payload); }
    /// For the executor, which appends what it receives.
    std::string& payload() { return m_payload; }

private:
    HTTP_RESPONSE_CODE m_code = 0;
    std::string m_payload;
};

}  // namespace W
#pragma GCC visibility pop
