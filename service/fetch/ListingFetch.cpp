// A Transfer makes one exchange with libcurl; fetchListing() repeats it after failures that may be temporary.
#include "ListingFetch.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>

#include <curl/curl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "OperatorError.h"
#include "Trimming.h"
#include "UnnamedFile.h"

namespace corvaned {
namespace {

constexpr long kMostRedirects = 10;

bool startsWith(std::string_view text, std::string_view begin)
{
    return text.size() >= begin.size() &&
           std::equal(begin.begin(), begin.end(), text.begin(), [](unsigned char left, unsigned char right) {
               return std::tolower(left) == std::tolower(right);
           });
}

std::shared_ptr<std::FILE> temporaryFile()
{
    const int descriptor = openUnnamedFile();
    std::FILE* const file = ::fdopen(descriptor, "w+b");
    if (file == nullptr) {
        const int error = errno;
        ::close(descriptor);
        throw OperatorError(fmt::format("cannot buffer a temporary file: {}", std::strerror(error)));
    }
    return {file, &std::fclose};
}

class Transfer {
public:
    Transfer(const std::string& url, const FetchOptions& options, std::FILE* file);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    ~Transfer()
    {
        curl_slist_free_all(m_headers);
        curl_easy_cleanup(m_curl);
    }

    /// @param known  of the version that the caller has, or of the one that the file begins with
    /// @param begin  how many bytes of it the file has; 0: ask for a version other than the known one
    CURLcode run(const Validators& known, std::uint64_t begin);

    long status() const;
    const Validators& validators() const { return m_validators; }
    std::uint64_t size() const { return m_size; }
    const char* error() const { return m_error; }
    bool isTooLarge() const { return m_isTooLarge; }
    int fileError() const { return m_fileError; }

private:
    template <typename Value>
    void set(CURLoption option, Value value)
    {
        const CURLcode result = curl_easy_setopt(m_curl, option, value);
        if (result == CURLE_OUT_OF_MEMORY) {
            throw std::bad_alloc();
        }
        if (result != CURLE_OK) {
            throw std::runtime_error(fmt::format("cannot set libcurl's option {}: {}", static_cast<int>(option),
                                                 curl_easy_strerror(result)));
        }
    }
    void addHeader(const std::string& line);
    std::size_t takeHeader(std::string_view line);
    std::size_t takeBytes(std::string_view bytes);
    bool beginBody();

    const FetchOptions& m_options;
    std::FILE* const m_file;
    CURL* const m_curl;
    curl_slist* m_headers = nullptr;
    char m_error[CURL_ERROR_SIZE] = {};
    Validators m_validators;
    std::uint64_t m_begin = 0;       // asked for
    std::uint64_t m_rangeBegin = 0;  // sent
    std::uint64_t m_size = 0;        // of the file
    bool m_isInBody = false;
    bool m_isTooLarge = false;
    int m_fileError = 0;
};

Transfer::Transfer(const std::string& url, const FetchOptions& options, std::FILE* file)
    : m_options(options), m_file(file), m_curl(curl_easy_init())
{
    if (m_curl == nullptr) {
        throw std::bad_alloc();
    }
    const FetchLimits& limits = options.limits;
    set(CURLOPT_ERRORBUFFER, m_error);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_URL, url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, kMostRedirects);
    set(CURLOPT_USERAGENT, "corvaned");
    set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(limits.connectTime.count()));
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(limits.stallTime.count()));
    set(CURLOPT_TIMEOUT, static_cast<long>(limits.wholeTime.count()));
    set(
        CURLOPT_HEADERFUNCTION, +[](char* line, std::size_t, std::size_t size, void* self) {
            return static_cast<Transfer*>(self)->takeHeader({line, size});
        });
    set(CURLOPT_HEADERDATA, this);
    set(
        CURLOPT_WRITEFUNCTION, +[](char* bytes, std::size_t, std::size_t size, void* self) {
            return static_cast<Transfer*>(self)->takeBytes({bytes, size});
        });
    set(CURLOPT_WRITEDATA, this);
    if (options.progress) {
        set(CURLOPT_NOPROGRESS, 0L);
        set(CURLOPT_XFERINFODATA, this);
        set(
            CURLOPT_XFERINFOFUNCTION, +[](void* self, curl_off_t expected, curl_off_t, curl_off_t, curl_off_t) {
                const auto& transfer = *static_cast<Transfer*>(self);
                const bool isKnown = expected > 0 && transfer.m_isInBody;
                transfer.m_options.progress(transfer.m_size,
                                            isKnown ? transfer.m_rangeBegin + static_cast<std::uint64_t>(expected) : 0);
                return 0;
            });
    }
}

void Transfer::addHeader(const std::string& line)
{
    curl_slist* const longer = curl_slist_append(m_headers, line.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    m_headers = longer;
}

CURLcode Transfer::run(const Validators& known, std::uint64_t begin)
{
    m_begin = begin;
    m_size = begin;
    if (begin > 0) {
        addHeader(fmt::format("Range: bytes={}-", begin));
        addHeader("If-Range: " + (known.etag.empty() ? known.lastModified : known.etag));
    } else if (!known.etag.empty()) {
        addHeader("If-None-Match: " + known.etag);
    } else if (!known.lastModified.empty()) {
        addHeader("If-Modified-Since: " + known.lastModified);
    }
    set(CURLOPT_HTTPHEADER, m_headers);
    return curl_easy_perform(m_curl);
}

long Transfer::status() const
{
    long status = 0;
    curl_easy_getinfo(m_curl, CURLINFO_RESPONSE_CODE, &status);
    return status;
}

std::size_t Transfer::takeHeader(std::string_view line)
{
    constexpr std::size_t kLongest = 1024;
    const std::string_view name = line.substr(0, line.find(':'));
    const std::string_view value = trimmed(line.substr(std::min(name.size() + 1, line.size())));
    if (startsWith(line, "HTTP/")) {
        m_validators = {};  // those seen before were of a redirection
        m_rangeBegin = 0;
    } else if (value.size() > kLongest) {
        return line.size();
    } else if (startsWith(name, "etag") && name.size() == 4) {
        m_validators.etag = value;
    } else if (startsWith(name, "last-modified")) {
        m_validators.lastModified = value;
    } else if (startsWith(name, "content-range") && startsWith(value, "bytes ")) {
        const std::string_view first = value.substr(std::strlen("bytes "));
        std::from_chars(first.data(), first.data() + first.size(), m_rangeBegin);
    }
    return line.size();
}

// If the reply is not the requested rest, the file starts again.
bool Transfer::beginBody()
{
    m_isInBody = true;
    if (status() == 206 && m_rangeBegin == m_begin) {
        return true;
    }
    m_size = 0;
    m_rangeBegin = 0;
    if (::ftruncate(::fileno(m_file), 0) != 0 || std::fseek(m_file, 0, SEEK_SET) != 0) {
        m_fileError = errno;
        return false;
    }
    return status() != 206;
}

std::size_t Transfer::takeBytes(std::string_view bytes)
{
    if (status() != 200 && status() != 206) {
        return bytes.size();  // the body of an error, which is dropped
    }
    if (!m_isInBody && !beginBody()) {
        return 0;
    }
    m_isTooLarge = bytes.size() > m_options.limits.bytes - std::min(m_size, m_options.limits.bytes);
    if (m_isTooLarge) {
        return 0;
    }
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file) != bytes.size() || std::fflush(m_file) != 0) {
        m_fileError = errno;
        return 0;
    }
    m_size += bytes.size();
    return bytes.size();
}

// Whether another attempt may succeed.
bool isPassing(CURLcode result)
{
    constexpr CURLcode kPassing[] = {CURLE_COULDNT_CONNECT, CURLE_PARTIAL_FILE, CURLE_GOT_NOTHING,
                                     CURLE_RECV_ERROR,      CURLE_SEND_ERROR,   CURLE_OPERATION_TIMEDOUT,
                                     CURLE_HTTP2,           CURLE_HTTP2_STREAM, CURLE_COULDNT_RESOLVE_HOST};
    return std::find(std::begin(kPassing), std::end(kPassing), result) != std::end(kPassing);
}

const char* adviceFor(CURLcode result)
{
    switch (result) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return "check the name of the host";
        case CURLE_COULDNT_CONNECT:
            return "check host and port";
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_CONNECT_ERROR:
            return "check the certificate of the host";
        case CURLE_URL_MALFORMAT:
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_TOO_MANY_REDIRECTS:
            return "check the address";
        default:
            return "try again later";
    }
}

const char* adviceFor(long status)
{
    switch (status) {
        case 401:
        case 403:
            return "check user, password and key in the address";
        case 404:
        case 410:
            return "check the address";
        default:
            return "try again later";
    }
}

// The file that fetchListing() has filled, from its beginning.
class FetchedBytes : public ByteSource {
public:
    FetchedBytes(std::shared_ptr<std::FILE> file, std::string name) : m_file(std::move(file)), m_name(std::move(name))
    {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        const ssize_t count = ::pread(::fileno(m_file.get()), buffer, size, static_cast<off_t>(m_at));
        if (count < 0) {
            throw OperatorError(fmt::format("cannot read the copy of {}: {}", m_name, std::strerror(errno)));
        }
        m_at += static_cast<std::uint64_t>(count);
        return static_cast<std::size_t>(count);
    }

private:
    std::shared_ptr<std::FILE> m_file;
    std::string m_name;
    std::uint64_t m_at = 0;
};

std::string reasonOf(const Transfer& transfer, CURLcode result)
{
    return *transfer.error() != '\0' ? transfer.error() : curl_easy_strerror(result);
}

}  // namespace

bool isListingAddress(const std::string& text)
{
    return startsWith(text, "http://") || startsWith(text, "https://");
}

std::string addressForMessages(const std::string& url)
{
    const std::size_t scheme = std::min(url.find("://") + 3, url.size());
    const std::string rest = url.substr(scheme, url.find_first_of("?#", scheme) - scheme);
    const std::string host = rest.substr(0, rest.find('/'));
    const std::size_t user = host.rfind('@');
    return url.substr(0, scheme) + rest.substr(user == std::string::npos ? 0 : user + 1);
}

FetchedListing fetchListing(const std::string& url, const Validators& known, const FetchOptions& options)
{
    static std::once_flag prepared;
    std::call_once(prepared, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    const FetchLimits& limits = options.limits;
    const std::string name = addressForMessages(url);
    const std::shared_ptr<std::FILE> file = temporaryFile();
    Validators partly;  // of the part in the file
    std::uint64_t size = 0;
    std::chrono::milliseconds pause = limits.pause;
    for (int attempt = 1;; ++attempt) {
        Transfer transfer(url, options, file.get());
        const CURLcode result = transfer.run(size > 0 ? partly : known, size);
        const long status = transfer.status();
        if (transfer.isTooLarge()) {
            throw OperatorError(fmt::format("cannot fetch {}: it has more than {} MiB", name, limits.bytes >> 20));
        }
        if (transfer.fileError() != 0) {
            throw OperatorError(
                fmt::format("cannot fetch {}: cannot write a temporary file: {}; set TMPDIR to a folder "
                            "with more space",
                            name, std::strerror(transfer.fileError())));
        }
        if (result == CURLE_OK && status == 304 && size == 0 && !known.isEmpty()) {
            return {true, known, {}};
        }
        if (result == CURLE_OK && (status == 200 || (status == 206 && size > 0))) {
            const auto open = [file, name] { return unpacked(std::make_unique<FetchedBytes>(file, name), name); };
            return {false, status == 206 ? partly : transfer.validators(), open};
        }
        // 416: the listing has become shorter.
        const bool isPassingStatus = result == CURLE_OK && status == 416 && size > 0;
        if (result == CURLE_OK && !isPassingStatus) {
            throw OperatorError(
                fmt::format("cannot fetch {}: the server answers with status {}; {}", name, status, adviceFor(status)));
        }
        if (attempt >= limits.attempts || (!isPassing(result) && !isPassingStatus && result != CURLE_WRITE_ERROR)) {
            throw OperatorError(
                fmt::format("cannot fetch {}: {}; {}", name, reasonOf(transfer, result), adviceFor(result)));
        }
        if (status == 200) {
            partly = transfer.validators();
            // A weak tag does not guarantee the same bytes (RFC 9110, 13.1.5).
            if (startsWith(partly.etag, "W/")) {
                partly.etag.clear();
            }
        }
        if (status == 200 || status == 206) {
            size = transfer.size();
        }
        if (isPassingStatus || partly.isEmpty()) {
            size = 0;
        }
        if (options.warn) {
            options.warn(fmt::format("{}: {}; {}", name, reasonOf(transfer, result),
                                     size > 0 ? fmt::format("continuing after {} bytes", size) : "starting again"));
        }
        std::this_thread::sleep_for(pause);
        pause *= 2;
    }
}

}  // namespace corvaned
