// A request as libcurl's options, and the callbacks.
#include "CurlTransfer.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "CurlOptions.h"
#include "HttpWire.h"

namespace W::host {

namespace {

/// The method that libcurl uses by default: PUT with a body, GET without.
enum class DefaultMethod {
    Get,
    Put
};

/// @return the method's name if it differs from the default, else null
const char* customMethod(HTTP_REQUEST_TYPE type, DefaultMethod standard)
{
    switch (type) {
        case HTTP_GET:
            return standard == DefaultMethod::Get ? nullptr : "GET";
        case HTTP_POST:
            return "POST";
        case HTTP_PUT:
            return standard == DefaultMethod::Put ? nullptr : "PUT";
        case HTTP_DELETE:
            return "DELETE";
    }
    return nullptr;
}

bool isKnownMethod(HTTP_REQUEST_TYPE type)
{
    return type >= HTTP_GET && type <= HTTP_DELETE;
}

/// True if the reply goes to a file.
bool isDownload(const HttpRequest& request)
{
    return !request.filePath().empty() && !request.isFileUpload();
}

}  // namespace

CurlTransfer::CurlTransfer(const HttpLimits& limits, const Clock::time_point& now, TransferProgress& progress)
    : m_limits(limits), m_now(now), m_progress(progress), m_easy(curl_easy_init())
{
    if (!m_easy) {
        throw std::bad_alloc();
    }
    setFixedOptions();
}

void CurlTransfer::setFixedOptions()
{
    setConnectionOptions(handle(), m_limits);
    setOption(handle(), CURLOPT_PRIVATE, this);
    setOption(handle(), CURLOPT_READFUNCTION, &CurlTransfer::onRead);
    setOption(handle(), CURLOPT_READDATA, this);
    setOption(handle(), CURLOPT_SEEKFUNCTION, &CurlTransfer::onSeek);
    setOption(handle(), CURLOPT_SEEKDATA, this);
    setOption(handle(), CURLOPT_WRITEFUNCTION, &CurlTransfer::onWrite);
    setOption(handle(), CURLOPT_WRITEDATA, this);
    setOption(handle(), CURLOPT_HEADERFUNCTION, &CurlTransfer::onHeader);
    setOption(handle(), CURLOPT_HEADERDATA, this);
    setOption(handle(), CURLOPT_PREREQFUNCTION, &CurlTransfer::onConnected);
    setOption(handle(), CURLOPT_PREREQDATA, this);
}

// The results of curl_easy_getinfo() in this file need no check: it fails only for information that libcurl does not
// know, and then the variable keeps its initial value.
CurlTransfer& CurlTransfer::of(CURL* easy)
{
    void* self = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &self);
    return *static_cast<CurlTransfer*>(self);
}

SESSION_STATUS CurlTransfer::begin(HttpRequest& request, std::chrono::milliseconds left)
{
    m_request = &request;
    m_failure = session::kCompleted;
    m_sink = isDownload(request) ? Sink::Nowhere : Sink::Payload;
    m_arrived = 0;
    m_connected = false;
    m_headerSeen = false;
    m_lastProgress = m_now;
    try {
        const auto url =
            splitUrl(request.url(), request.isEncoding() ? UrlEncoding::PercentEncode : UrlEncoding::AsGiven);
        if (!url || !isKnownMethod(request.type()) || !isSendable(request.header())) {
            return session::kNotSendable;
        }
        CURL* const easy = handle();
        // libcurl would normalise the path, so it gets the origin only and the target separately.
        setOption(easy, CURLOPT_URL, url->origin.c_str());
        setOption(easy, CURLOPT_REQUEST_TARGET, url->target.c_str());
        setHeaders(request.header());
        setOption(easy, CURLOPT_HTTP_VERSION,
                  static_cast<long>(url->tls ? CURL_HTTP_VERSION_2TLS : CURL_HTTP_VERSION_1_1));
        // Waiting for a connection that carries many requests makes sense over TLS only.
        setOption(easy, CURLOPT_PIPEWAIT, url->tls ? 1L : 0L);
        setOption(easy, CURLOPT_TIMEOUT_MS, isDownload(request) ? 0L : timeoutForCurl(left));
        return setBody();
    } catch (const std::bad_alloc&) {
        return session::kOutOfMemory;
    } catch (const CurlError&) {
        return session::kNotSendable;
    }
}

SESSION_STATUS CurlTransfer::setBody()
{
    const HttpRequest& request = *m_request;
    m_bodySent = 0;
    m_bodySize = static_cast<curl_off_t>(request.body().size());
    if (request.isFileUpload()) {
        // Not blocking: a pipe without a writer would delay every other request.
        m_file.hold(::open(request.filePath().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
        struct stat status {};
        if (!m_file.isOpen() || ::fstat(m_file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
            return session::kFileTrouble;
        }
        m_bodySize = status.st_size;
        m_progress.uploads.expected += static_cast<std::uint64_t>(m_bodySize);
    }
    const bool withBody =
        request.isFileUpload() || m_bodySize > 0 || request.type() == HTTP_PUT || request.type() == HTTP_POST;
    CURL* const easy = handle();
    if (withBody) {
        setOption(easy, CURLOPT_UPLOAD, 1L);
        setOption(easy, CURLOPT_INFILESIZE_LARGE, m_bodySize);
    } else {
        setOption(easy, CURLOPT_HTTPGET, 1L);
    }
    setOption(easy, CURLOPT_CUSTOMREQUEST,
              customMethod(request.type(), withBody ? DefaultMethod::Put : DefaultMethod::Get));
    return session::kCompleted;
}

void CurlTransfer::appendHeader(const std::string& line)
{
    curl_slist* const longer = curl_slist_append(m_headers.get(), line.c_str());
    if (!longer) {
        throw std::bad_alloc();
    }
    if (!m_headers) {
        m_headers.reset(longer);
    }
}

void CurlTransfer::setHeaders(const HttpHeader& header)
{
    // The requests of a session differ in their URLs only.
    if (m_headersSet && header.lines() == m_headerLines) {
        return;
    }
    m_headersSet = false;
    m_headers.reset();
    m_headerLines = header.lines();
    const auto withdraw = [&](const std::string& name) {
        const auto& lines = header.lines();
        if (std::none_of(lines.begin(), lines.end(),
                         [&](const auto& line) { return isHeaderName(line.first, name); })) {
            appendHeader(name + ":");
        }
    };
    // libcurl would add these.
    withdraw("Accept");
    withdraw("Expect");
    bool decode = false;
    for (const auto& [name, value] : header.lines()) {
        const bool empty = value.find_first_not_of(" \t") == std::string::npos;
        std::string line = name;
        line += empty ? ";" : ": ";
        line += empty ? std::string() : value;
        appendHeader(line);
        decode = decode || isHeaderName(name, "Accept-Encoding");
    }
    // Switches decoding on; the request's own line replaces the one that libcurl would send.
    setOption(handle(), CURLOPT_ACCEPT_ENCODING, decode ? "" : static_cast<const char*>(nullptr));
    setOption(handle(), CURLOPT_HTTPHEADER, m_headers.get());
    m_headersSet = true;
}

CurlTransfer::Clock::time_point CurlTransfer::deadline() const
{
    const auto stalls = m_limits.stallTimeout;
    return m_lastProgress + (m_connected ? stalls : std::min(stalls, m_limits.connectTimeout));
}

SESSION_STATUS CurlTransfer::end(SESSION_STATUS given)
{
    HttpResponse& response = m_request->response();
    long code = 0;
    // Before the first header line, the handle still has the code of the previous exchange.
    if (m_headerSeen) {
        curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &code);
    }
    SESSION_STATUS status = given;
    if (m_failure != session::kCompleted && given != session::kCancelled) {
        status = m_failure;
    }
    const bool writing = m_sink == Sink::File;
    if (!m_file.close() && writing && status == session::kCompleted) {
        status = session::kFileTrouble;
    }
    response.setHttpResponseCode(static_cast<HTTP_RESPONSE_CODE>(code));
    if (status != session::kCompleted) {
        response.setPayload({});
    }
    m_request = nullptr;
    return status;
}

bool CurlTransfer::fail(SESSION_STATUS why)
{
    m_failure = why;
    return false;
}

/// Called when the header block is complete. A download opens its file now, but not for the body of an error.
bool CurlTransfer::startOfBody()
{
    long code = 0;
    curl_easy_getinfo(handle(), CURLINFO_RESPONSE_CODE, &code);
    if (code < 200 || code > 299 || !isDownload(*m_request) || m_sink == Sink::File) {
        return true;
    }
    m_file.hold(::open(m_request->filePath().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0644));
    if (!m_file.isOpen()) {
        return fail(session::kFileTrouble);
    }
    m_sink = Sink::File;
    curl_off_t announced = -1;
    curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    if (announced > 0) {
        m_progress.downloads.expected += static_cast<std::uint64_t>(announced);
    }
    ++m_progress.downloads.files;
    return true;
}

bool CurlTransfer::keepInFile(std::string_view arrived)
{
    while (!arrived.empty()) {
        const ssize_t written = ::write(m_file.get(), arrived.data(), arrived.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return fail(session::kFileTrouble);
        }
        arrived.remove_prefix(static_cast<std::size_t>(written));
        m_progress.downloads.written += static_cast<std::uint64_t>(written);
    }
    return true;
}

/// The announced size, limited: it may be wrong, or count compressed bytes.
std::size_t CurlTransfer::expectedSize() const
{
    constexpr curl_off_t kMost = 16 << 20;
    curl_off_t announced = 0;
    curl_easy_getinfo(handle(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    return static_cast<std::size_t>(std::clamp(announced, curl_off_t{0}, kMost));
}

bool CurlTransfer::keep(std::string_view arrived)
{
    if (m_sink == Sink::File) {
        return keepInFile(arrived);
    }
    if (arrived.size() > m_limits.payloadCap - m_arrived) {
        return fail(session::kOutOfMemory);
    }
    const bool first = m_arrived == 0;
    m_arrived += arrived.size();
    if (m_sink == Sink::Nowhere) {
        return true;
    }
    std::string& payload = m_request->response().payload();
    try {
        if (first) {
            payload.reserve(expectedSize());
        }
        payload.append(arrived);
    } catch (const std::bad_alloc&) {
        return fail(session::kOutOfMemory);
    }
    return true;
}

std::size_t CurlTransfer::readBody(char* buffer, std::size_t room)
{
    const auto wanted = static_cast<std::size_t>(std::min(static_cast<curl_off_t>(room), m_bodySize - m_bodySent));
    if (wanted == 0) {
        return 0;
    }
    std::size_t given = wanted;
    if (m_request->isFileUpload()) {
        const ssize_t got = ::pread(m_file.get(), buffer, wanted, m_bodySent);
        // The file became shorter than the announced length.
        if (got <= 0) {
            fail(session::kFileTrouble);
            return CURL_READFUNC_ABORT;
        }
        given = static_cast<std::size_t>(got);
        m_progress.uploads.sent += given;
    } else {
        std::memcpy(buffer, m_request->body().data() + m_bodySent, wanted);
    }
    m_bodySent += static_cast<curl_off_t>(given);
    return given;
}

std::size_t CurlTransfer::onRead(char* buffer, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.m_lastProgress = transfer.m_now;
    return transfer.readBody(buffer, size * count);
}

std::size_t CurlTransfer::onWrite(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.m_lastProgress = transfer.m_now;
    return transfer.keep({data, size * count}) ? size * count : 0;
}

std::size_t CurlTransfer::onHeader(char* data, std::size_t size, std::size_t count, void* self)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    const std::string_view line(data, size * count);
    transfer.m_lastProgress = transfer.m_now;
    transfer.m_headerSeen = true;
    const bool last = line == "\r\n" || line == "\n";
    return !last || transfer.startOfBody() ? line.size() : 0;
}

int CurlTransfer::onSeek(void* self, curl_off_t offset, int origin)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    if (origin != SEEK_SET || offset < 0 || offset > transfer.m_bodySize) {
        return CURL_SEEKFUNC_FAIL;
    }
    if (transfer.m_request->isFileUpload()) {
        transfer.m_progress.uploads.sent -= static_cast<std::uint64_t>(transfer.m_bodySent - offset);
    }
    transfer.m_bodySent = offset;
    return CURL_SEEKFUNC_OK;
}

int CurlTransfer::onConnected(void* self, char* /*remote*/, char* /*local*/, int /*remotePort*/, int /*localPort*/)
{
    auto& transfer = *static_cast<CurlTransfer*>(self);
    transfer.m_connected = true;
    transfer.m_lastProgress = transfer.m_now;
    return CURL_PREREQFUNC_OK;
}

}  // namespace W::host
