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
    WebReply reply;
    curl_slist* list = nullptr;
    for (const auto& [name, value] : headers) {
        list = curl_slist_append(list, (name + (value.empty() ? ";" : ": " + value)).c_str());
    }
    list = curl_slist_append(list, "Expect:");
    curl_easy_setopt(curl, CURLOPT_URL, (m_origin + target).c_str());
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, kPatience);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &keepBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &keepHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
    if (decodes) {
        curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, "gzip");
    }
    if (body) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body->data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    }
    curl_easy_setopt(curl, CURLOPT_NOBODY, method == "HEAD" ? 1L : 0L);
    if (method != "HEAD") {
        curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
    }
    const CURLcode result = curl_easy_perform(curl);
    curl_slist_free_all(list);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    reply.status = static_cast<int>(status);
    return result == CURLE_OK ? std::optional<WebReply>(std::move(reply)) : std::nullopt;
}

}  // namespace http::test
