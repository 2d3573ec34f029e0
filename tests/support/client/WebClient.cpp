#include "WebClient.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

#include <curl/curl.h>

namespace http::test {
namespace {

std::size_t keepBody(char* data, std::size_t size, std::size_t count, void* reply)
{
    static_cast<WebReply*>(reply)->body.append(data, size * count);
    return size * count;
}

std::size_t keepHeader(char* data, std::size_t size, std::size_t count, void* reply)
{
    const std::string line(data, size * count);
    const std::size_t colon = line.find(": ");
    if (colon != std::string::npos) {
        std::string name = line.substr(0, colon);
        std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
        static_cast<WebReply*>(reply)->headers[name] = line.substr(colon + 2, line.find('\r') - colon - 2);
    }
    return size * count;
}

}  // namespace

struct WebClient::Handle {
    Handle() : curl(curl_easy_init())
    {
        if (curl == nullptr) {
            throw std::runtime_error("curl_easy_init");
        }
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    ~Handle() { curl_easy_cleanup(curl); }

    CURL* const curl;
};

WebClient::WebClient(std::string origin) : m_origin(std::move(origin)), m_handle(std::make_unique<Handle>()) {}
WebClient::WebClient(int port) : WebClient("http://127.0.0.1:" + std::to_string(port)) {}
WebClient::~WebClient() = default;

std::optional<WebReply> WebClient::send(const std::string& method, const std::string& target, const Headers& headers,
                                        const std::optional<std::string>& body)
{
    constexpr long kPatience = 30;  // seconds
    CURL* const curl = m_handle->curl;
    curl_easy_reset(curl);
    const auto set = [curl](CURLoption option, auto value) {
        if (const CURLcode code = curl_easy_setopt(curl, option, value); code != CURLE_OK) {
            throw std::runtime_error(std::string("libcurl: ") + curl_easy_strerror(code));
        }
    };
    WebReply reply;
    curl_slist* list = nullptr;
    for (const auto& [name, value] : headers) {
        list = curl_slist_append(list, (name + (value.empty() ? ";" : ": " + value)).c_str());
    }
    list = curl_slist_append(list, "Expect:");
    set(CURLOPT_URL, (m_origin + target).c_str());
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_NOPROXY, "*");
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_TIMEOUT, kPatience);
    set(CURLOPT_SSL_VERIFYPEER, 0L);
    set(CURLOPT_SSL_VERIFYHOST, 0L);
    set(CURLOPT_HTTPHEADER, list);
    set(CURLOPT_WRITEFUNCTION, &keepBody);
    set(CURLOPT_WRITEDATA, &reply);
    set(CURLOPT_HEADERFUNCTION, &keepHeader);
    set(CURLOPT_HEADERDATA, &reply);
    if (decodes) {
        set(CURLOPT_ACCEPT_ENCODING, "gzip");
    }
    if (body) {
        set(CURLOPT_POSTFIELDS, body->data());
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    }
    set(CURLOPT_NOBODY, method == "HEAD" ? 1L : 0L);
    if (method != "HEAD") {
        set(CURLOPT_CUSTOMREQUEST, method.c_str());
    }
    const CURLcode result = curl_easy_perform(curl);
    curl_slist_free_all(list);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return result == CURLE_OK ? std::optional<WebReply>(std::move(reply)) : std::nullopt;
}

}  // namespace http::test
