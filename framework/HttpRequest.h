// One HTTP request on its way to the executor and its response on the way back. See HttpDelegator.h for the contract.
#pragma once

#include <atomic>
#include <string>
#include <utility>

#include "HttpHeader.h"
#include "HttpResponse.h"
#include "WTypes.h"

#pragma GCC visibility push(default)
namespace W {

class HttpRequest;

enum HTTP_REQUEST_TYPE {
    HTTP_GET = 0,
    HTTP_POST = 1,
    HTTP_PUT = 2,
    HTTP_DELETE = 3,
};

/// Called once when the exchange has ended, on a thread of the executor.
using HttpCompletion = void (*)(SESSION_STATUS status, HttpRequest* request, void* userData);

class HttpRequest {
public:
    /// A request whose response is kept in memory.
    /// @param url       sent byte for byte, unless setEncoding() is called
    /// @param userData  passed to the completion; not owned
    HttpRequest(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, std::string body, HttpCompletion done,
                void* userData)
        : m_type(type),
          m_url(std::move(url)),
          m_header(std::move(header)),
          m_body(std::move(body)),
          m_done(done),
          m_userData(userData)
    {}

    /// A request between the network and a local file: a download to `filePath`, or, after setOptionFileUpload(), an
    /// upload of it. A download writes in place from the moment a 2xx header block is complete.
    HttpRequest(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, HttpCompletion done, void* userData,
                std::string filePath)
        : m_type(type),
          m_url(std::move(url)),
          m_header(std::move(header)),
          m_filePath(std::move(filePath)),
          m_done(done),
          m_userData(userData)
    {}

    virtual ~HttpRequest() = default;

    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    /// Tags the request for HttpDelegator::flushHttpRequests(); before addRequest() only.
    void setID(UINT64 id) { m_id = id; }
    UINT64 getID() const { return m_id; }

    /// Makes the executor percent-encode what a URL must not contain (RFC 3986: blanks, control characters,
    /// bytes above 0x7F and `"<>\^{|}` and back-tick). Existing %XX and reserved characters stay.
    void setEncoding() { m_encoding = true; }
    bool isEncoding() const { return m_encoding; }

    /// Streams the file at filePath() as the body.
    void setOptionFileUpload() { m_fileUpload = true; }
    bool isFileUpload() const { return m_fileUpload; }

    /// Asks for the request to end with 600 (X3).  [any thread]
    void setCancel();
    bool isCancelled() const { return m_cancel.load(std::memory_order_acquire); }

    HTTP_REQUEST_TYPE type() const { return m_type; }
    const std::string& url() const { return m_url; }
    const HttpHeader& header() const { return m_header; }
    const std::string& body() const { return m_body; }
    /// Empty for a request whose response is kept in memory.
    const std::string& filePath() const { return m_filePath; }

    const HttpResponse& response() const { return m_response; }
    HttpResponse& response() { return m_response; }

    /// For the executor: reports the end. The completion may delete the request.
    void complete(SESSION_STATUS status) { m_done(status, this, m_userData); }

private:
    HTTP_REQUEST_TYPE m_type;
    std::string m_url;
    HttpHeader m_header;
    std::string m_body;
    std::string m_filePath;
    UINT64 m_id = 0;
    bool m_encoding = false;
    bool m_fileUpload = false;
    std::atomic<bool> m_cancel{false};
    HttpResponse m_response;
    // Last, next to the members of a derived class: both are read when an exchange ends.
    HttpCompletion m_done;
    void* m_userData;
};

}  // namespace W
#pragma GCC visibility pop
