// One HTTP request on its way to the executor and its response on the way back. See HttpDelegator.h for the contract.
#pragma once

#include "HttpHeader.h"
#include "HttpResponse.h"
#include "WTypes.h"

#include <atomic>
#include <string>
#include <utility>

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
    /// @param userData  handed back to the completion; not owned
    HttpRequest(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, std::string body, HttpCompletion done,
                void* userData)
        : m_type(type),
          m_sUrl(std::move(url)),
          m_header(std::move(header)),
          m_sBody(std::move(body)),
          m_done(done),
          m_pUserData(userData)
    {}

    /// A request between the network and a local file: a download to `filePath`, or, after setOptionFileUpload(), an
    /// upload of it. A download writes in place from the moment a 2xx header block is complete.
    HttpRequest(HTTP_REQUEST_TYPE type, std::string url, HttpHeader header, HttpCompletion done, void* userData,
                std::string filePath)
        : m_type(type),
          m_sUrl(std::move(url)),
          m_header(std::move(header)),
          m_sFilePath(std::move(filePath)),
          m_done(done),
          m_pUserData(userData)
    {}

    virtual ~HttpRequest() = default;

    HttpRequest(const HttpRequest&) = delete;
    HttpRequest& operator=(const HttpRequest&) = delete;

    /// Tags the request for HttpDelegator::flushHttpRequests(); before addRequest() only.
    void setID(UINT64 id) { m_uID = id; }
    UINT64 getID() const { return m_uID; }

    /// Makes the executor percent-encode what a URL must not contain (RFC 3986: blanks, control characters,
    /// bytes above 0x7F and `"<>\^{|}` and back-tick). Existing %XX and reserved characters stay.
    void setEncoding() { m_bEncoding = true; }
    bool isEncoding() const { return m_bEncoding; }

    /// Streams the file at filePath() as the body.
    void setOptionFileUpload() { m_bFileUpload = true; }
    bool isFileUpload() const { return m_bFileUpload; }

    /// Asks for the request to end with 600 (X3).  [any thread]
    void setCancel();
    bool isCancelled() const { return m_bCancel.load(std::memory_order_acquire); }

    HTTP_REQUEST_TYPE type() const { return m_type; }
    const std::string& url() const { return m_sUrl; }
    const HttpHeader& header() const { return m_header; }
    const std::string& body() const { return m_sBody; }
    /// Empty for a request whose response is kept in memory.
    const std::string& filePath() const { return m_sFilePath; }

    const HttpResponse& response() const { return m_response; }
    HttpResponse& response() { return m_response; }

    /// For the executor: reports the end. The request may be gone when this returns.
    void complete(SESSION_STATUS status) { m_done(status, this, m_pUserData); }

private:
    HTTP_REQUEST_TYPE m_type;
    std::string m_sUrl;
    HttpHeader m_header;
    std::string m_sBody;
    std::string m_sFilePath;
    UINT64 m_uID = 0;
    bool m_bEncoding = false;
    bool m_bFileUpload = false;
    std::atomic<bool> m_bCancel{false};
    HttpResponse m_response;
    // Last, beside what a derived class adds: the end of an exchange reads both.
    HttpCompletion m_done;
    void* m_pUserData;
};

}  // namespace W
#pragma GCC visibility pop
