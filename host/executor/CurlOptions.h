// Shared by all users of libcurl in this folder: setting options with a reason on failure, the options of every
// connection, and the meaning of libcurl's codes.
#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include <curl/curl.h>

#include "HttpLimits.h"
#include "WTypes.h"

namespace W::host {

/// A libcurl call that failed, for any reason except a lack of memory.
class CurlError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Throws unless the code is CURLE_OK.
/// @param what  the call that returned it, as in "curl_global_init"
/// @throws CurlError with the reason; std::bad_alloc for CURLE_OUT_OF_MEMORY
void checkCurl(CURLcode code, const std::string& what);

/// The same for the multi interface.
void checkCurl(CURLMcode code, const std::string& what);

/// @throws as checkCurl(); the reason names the option
template <class Value>
void setOption(CURL* easy, CURLoption option, Value value)
{
    const CURLcode code = curl_easy_setopt(easy, option, value);
    if (code != CURLE_OK) {
        const curl_easyoption* const known = curl_easy_option_by_id(option);
        checkCurl(code, std::string("option ") + (known ? known->name : "?"));
    }
}

/// Sets what every connection has in common: protocols, proxies, certificates, connect time-out.
/// @throws as setOption()
void setConnectionOptions(CURL* easy, const HttpLimits& limits);

/// The session status that libcurl's code becomes if nothing more precise is known.
SESSION_STATUS sessionStatus(CURLcode code);

/// A time-out in the form that libcurl's options take.
long timeoutForCurl(std::chrono::milliseconds limit);

}  // namespace W::host
