// A service without a socket, and a viewer who holds a session with it.
#pragma once

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "Endpoints.h"
#include "Session.h"
#include "TestSupport.h"

namespace corvaned::test {

using Json = nlohmann::json;

class ServiceClient {
public:
    /// @param now  what the service's clock shows until `at` sets it
    ServiceClient(Store& store, const std::string& now, const std::string& device = "tv-1") : m_store(store)
    {
        at(now);
        m_settings.zone = Zone::named("+09:00");
        m_settings.now = [this] { return m_now; };
        m_token = sessionToken(openSession(*store.lease(), device, m_now, 1000000), "");
    }

    void at(const std::string& now) { m_now = parseUtc(now).value(); }

    /// The reply to "browse/guide?interval=6"; the query's values must need no decoding.
    Reply reply(const std::string& method, const std::string& target, const std::string& body = "")
    {
        Request request;
        request.method = method;
        request.path = "/openapi/service/vorel/" + target.substr(0, target.find('?'));
        std::string query = target.find('?') == std::string::npos ? "" : target.substr(target.find('?') + 1);
        while (!query.empty()) {
            const std::string field = query.substr(0, query.find('&'));
            request.query.emplace(field.substr(0, field.find('=')),
                                  field.find('=') == std::string::npos ? "" : field.substr(field.find('=') + 1));
            query.erase(0, field.size() + 1);
        }
        request.header = [this](const char* name) { return std::string(name) == "Token" ? m_token : ""; };
        request.body = body;
        request.origin = "http://here";
        return Service(m_store, m_settings).answer(request);
    }

    /// What stands in "rsp" of a good reply, without its "stat".
    Json rsp(const std::string& method, const std::string& target, const std::string& body = "")
    {
        const Reply got = reply(method, target, body);
        EXPECT_EQ(got.status, 200) << target << ": " << got.body;
        Json rsp = Json::parse(got.body).at("rsp");
        EXPECT_EQ(rsp.at("stat"), "OK") << target;
        rsp.erase("stat");
        return rsp;
    }
    Json get(const std::string& target) { return rsp("GET", target); }

    /// "104 the message" of a refusal.
    std::string refusal(const std::string& method, const std::string& target, const std::string& body = "")
    {
        const Reply got = reply(method, target, body);
        EXPECT_GE(got.status, 400) << target << ": " << got.body;
        EXPECT_LT(got.status, 500) << target << ": " << got.body;
        const Json error = Json::parse(got.body).at("rsp").at("err");
        return error.at("code").get<std::string>() + " " + error.at("msg").get<std::string>();
    }

private:
    Store& m_store;
    ServiceSettings m_settings;
    Instant m_now = 0;
    std::string m_token;
};

/// One value of every element: column({{"a":"1"},{"a":"2"}}, "a") is ["1","2"].
inline Json column(const Json& rows, const char* key)
{
    Json values = Json::array();
    for (const Json& row : rows) {
        values.push_back(row.value(key, ""));
    }
    return values;
}

}  // namespace corvaned::test
