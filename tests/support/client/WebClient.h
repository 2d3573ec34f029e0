// An HTTP client for tests, over libcurl: one connection that is kept alive, one request at a time.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

namespace http::test {

using Headers = std::multimap<std::string, std::string>;

struct WebReply {
    int status = 0;
    std::string body;
    std::map<std::string, std::string> headers;  // names in lower case

    std::string header(const std::string& lowerCaseName) const
    {
        const auto found = headers.find(lowerCaseName);
        return found == headers.end() ? "" : found->second;
    }
};

class WebClient {
public:
    /// @param origin  as in "http://127.0.0.1:8900"; with https, any certificate is accepted
    explicit WebClient(std::string origin);
    explicit WebClient(int port);
    WebClient(const WebClient&) = delete;
    WebClient& operator=(const WebClient&) = delete;
    ~WebClient();

    /// Sends a request. The body is decoded if the reply is compressed and `decodes` is set.
    /// @return nothing if there was no complete reply
    std::optional<WebReply> send(const std::string& method, const std::string& target, const Headers& headers = {},
                                 const std::optional<std::string>& body = std::nullopt);
    std::optional<WebReply> get(const std::string& target, const Headers& headers = {})
    {
        return send("GET", target, headers);
    }
    std::optional<WebReply> put(const std::string& target, const Headers& headers, const std::string& body)
    {
        return send("PUT", target, headers, body);
    }

    bool decodes = false;

private:
    struct Handle;
    const std::string m_origin;
    const std::unique_ptr<Handle> m_handle;
};

}  // namespace http::test
