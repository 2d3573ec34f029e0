#include "CurlOptions.h"

#include <algorithm>
#include <new>

namespace W::host {

namespace {

struct StatusOfCode {
    CURLcode code;
    SESSION_STATUS status;
};

/// Codes that are not listed mean that the exchange broke off. CURLE_UNSUPPORTED_PROTOCOL is one of them: the scheme
/// was checked before, so it means a reply that is not HTTP.
constexpr StatusOfCode kStatuses[] = {
    {CURLE_OK, session::kCompleted},
    {CURLE_URL_MALFORMAT, session::kNotSendable},
    {CURLE_OUT_OF_MEMORY, session::kOutOfMemory},
    {CURLE_COULDNT_RESOLVE_HOST, session::kNoConnection},
    {CURLE_COULDNT_CONNECT, session::kNoConnection},
    {CURLE_INTERFACE_FAILED, session::kNoConnection},
    {CURLE_OPERATION_TIMEDOUT, session::kTimedOut},
    {CURLE_SSL_CONNECT_ERROR, session::kTlsFailed},
    {CURLE_PEER_FAILED_VERIFICATION, session::kTlsFailed},
    {CURLE_SSL_CERTPROBLEM, session::kTlsFailed},
    {CURLE_SSL_CIPHER, session::kTlsFailed},
    {CURLE_SSL_CACERT_BADFILE, session::kTlsFailed},
    {CURLE_SSL_CRL_BADFILE, session::kTlsFailed},
    {CURLE_SSL_ISSUER_ERROR, session::kTlsFailed},
    {CURLE_SSL_INVALIDCERTSTATUS, session::kTlsFailed},
    {CURLE_SSL_ENGINE_INITFAILED, session::kTlsFailed},
    {CURLE_SSL_SHUTDOWN_FAILED, session::kTlsFailed},
    {CURLE_SSL_CLIENTCERT, session::kTlsFailed},
};

}  // namespace

void checkCurl(CURLcode code, const std::string& what)
{
    if (code == CURLE_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    if (code != CURLE_OK) {
        throw CurlError("libcurl: " + what + ": " + curl_easy_strerror(code));
    }
}

void checkCurl(CURLMcode code, const std::string& what)
{
    if (code == CURLM_OUT_OF_MEMORY) {
        throw std::bad_alloc();
    }
    if (code != CURLM_OK) {
        throw CurlError("libcurl: " + what + ": " + curl_multi_strerror(code));
    }
}

void setConnectionOptions(CURL* easy, const HttpLimits& limits)
{
    setOption(easy, CURLOPT_NOSIGNAL, 1L);
    // Without it, removing a request during its name look-up waits for the look-up.
    setOption(easy, CURLOPT_QUICK_EXIT, 1L);
    setOption(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    // The plug-in decides what is sent where; proxy variables of the environment do not.
    setOption(easy, CURLOPT_PROXY, "");
    // libcurl 7.88 frees a TLS session's name twice if it runs out of memory while it stores the session. Connections
    // are kept, so only the shorter handshake of a second connection is lost.
    setOption(easy, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    setOption(easy, CURLOPT_CONNECTTIMEOUT_MS, timeoutForCurl(limits.connectTimeout));
    if (!limits.caFile.empty()) {
        setOption(easy, CURLOPT_CAINFO, limits.caFile.c_str());
    }
}

SESSION_STATUS sessionStatus(CURLcode code)
{
    for (const StatusOfCode& row : kStatuses) {
        if (row.code == code) {
            return row.status;
        }
    }
    return session::kBrokeOff;
}

long timeoutForCurl(std::chrono::milliseconds limit)
{
    // One millisecond more: libcurl truncates to milliseconds, and across the end of a second counts up to one too
    // many. Zero would mean no limit.
    return std::max(0L, static_cast<long>(limit.count())) + 1;
}

}  // namespace W::host
