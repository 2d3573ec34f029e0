#include "ConnectionProbe.h"

#include <memory>
#include <new>

#include "CurlOptions.h"

namespace W::host {

ProbeResult probeConnection(const std::string& origin, const HttpLimits& limits, CertificateCheck check)
{
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(), &curl_easy_cleanup);
    if (!easy) {
        throw std::bad_alloc();
    }
    char reason[CURL_ERROR_SIZE] = "";
    try {
        setConnectionOptions(easy.get(), limits);
        setOption(easy.get(), CURLOPT_URL, origin.c_str());
        setOption(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
        setOption(easy.get(), CURLOPT_ERRORBUFFER, reason);
        if (check == CertificateCheck::None) {
            setOption(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
            setOption(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
        }
    } catch (const CurlError& error) {
        return {session::kNotSendable, error.what()};
    }
    const CURLcode code = curl_easy_perform(easy.get());
    return {sessionStatus(code), *reason ? reason : curl_easy_strerror(code)};
}

}  // namespace W::host
