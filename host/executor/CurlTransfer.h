// One request on one libcurl easy handle: its options, its body, the destination of the reply, its session status.
// Read next: CurlExecutor.h, which runs many of them.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <curl/curl.h>

#include "FileDescriptor.h"
#include "HttpLimits.h"
#include "HttpRequest.h"
#include "TransferProgress.h"

namespace W::host {

/// A transfer, which the executor reuses for many requests. Only the transfer thread uses it. Connections belong to the
/// multi handle.
class CurlTransfer {
public:
    using Clock = std::chrono::steady_clock;

    /// @param limits     must outlive the transfer
    /// @param now        the transfer thread's clock, read once per turn of its loop; must outlive the transfer
    /// @param downloads  counts downloads; must outlive the transfer
    /// @throws CurlError, std::bad_alloc
    CurlTransfer(const HttpLimits& limits, const Clock::time_point& now, TransferProgress& progress);
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;

    /// Prepares the handle for the request.
    /// @param request  owned by the caller; not used after end()
    /// @param left     time until its total time-out
    /// @return kCompleted if the handle can be given to the multi handle, else the status of the exchange
    SESSION_STATUS begin(HttpRequest& request, std::chrono::milliseconds left);

    /// Ends the exchange after libcurl is done with the handle, and fills in the response.
    /// @param given  the status according to libcurl or the executor
    /// @return the status of the exchange; the payload is empty unless it is kCompleted
    SESSION_STATUS end(SESSION_STATUS given);

    CURL* handle() const { return m_easy.get(); }
    static CurlTransfer& of(CURL* easy);

    /// The time at which the transfer is given up unless a byte moves: after the stall time-out, or, before it is
    /// connected, after the connect time-out. libcurl's connect time-out does not include waiting for a connection of
    /// another transfer.
    Clock::time_point deadline() const;

private:
    struct EasyCleanup {
        void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
    };
    struct ListCleanup {
        void operator()(curl_slist* list) const { curl_slist_free_all(list); }
    };
    enum class Sink {
        Payload,
        File,
        Nowhere
    };

    void setFixedOptions();
    SESSION_STATUS setBody();
    void setHeaders(const HttpHeader& header);
    void appendHeader(const std::string& line);
    std::size_t expectedSize() const;
    bool keep(std::string_view arrived);
    bool keepInFile(std::string_view arrived);
    bool fail(SESSION_STATUS why);
    std::size_t readBody(char* buffer, std::size_t room);
    bool startOfBody();

    static std::size_t onRead(char* buffer, std::size_t size, std::size_t count, void* self);
    static std::size_t onWrite(char* data, std::size_t size, std::size_t count, void* self);
    static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* self);
    static int onSeek(void* self, curl_off_t offset, int origin);
    static int onConnected(void* self, char*, char*, int, int);

    const HttpLimits& m_limits;
    const Clock::time_point& m_now;
    TransferProgress& m_progress;
    std::unique_ptr<CURL, EasyCleanup> m_easy;
    std::unique_ptr<curl_slist, ListCleanup> m_headers;
    std::vector<HttpHeader::Line> m_headerLines;  ///< the lines of m_headers
    bool m_headersSet = false;                    ///< m_headers is complete, and the handle has it
    HttpRequest* m_request = nullptr;
    Clock::time_point m_lastProgress;                ///< when the last byte moved, or the transfer began
    SESSION_STATUS m_failure = session::kCompleted;  ///< why one of these callbacks stopped the transfer
    Sink m_sink = Sink::Payload;
    FileDescriptor m_file;      ///< the file of a download or an upload
    curl_off_t m_bodySize = 0;  ///< bytes to send
    curl_off_t m_bodySent = 0;
    std::size_t m_arrived = 0;  ///< bytes of the body, kept or not
    bool m_connected = false;
    bool m_headerSeen = false;
};

}  // namespace W::host
