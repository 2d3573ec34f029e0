#include "Viewers.h"

#include <gtest/gtest.h>

#include "PlacesImport.h"
#include "Session.h"

namespace corvaned::test {
namespace {

constexpr const char* kSecret = "open sesame";

}  // namespace

ServiceUnderTest::ServiceUnderTest(const std::string& now, const std::string& zone)
    : m_now(*parseUtc(now)), m_zone(Zone::named(zone))
{
    reopen();
}

void ServiceUnderTest::reopen()
{
    m_service.reset();
    m_viewers.reset();
    m_guide = openOrCreateGuide(m_file.path());
    m_viewers = openViewers(m_location);
    ServiceSettings settings;
    settings.secret = kSecret;
    settings.zone = m_zone;
    settings.sessionLifetime = 400 * 86400;
    settings.now = [this] { return m_now; };
    m_service = std::make_unique<Service>(*m_guide, *m_viewers, settings);
}

void ServiceUnderTest::setNow(const std::string& utc)
{
    m_now = *parseUtc(utc);
}

Viewer::Viewer(ServiceUnderTest& under, const std::string& device)
    : m_under(under), m_token(sessionToken(openTestSession(under.viewers(), device, under.now(), 400 * 86400), kSecret))
{}

http::Reply Viewer::ask(const std::string& method, const std::string& target, const std::string& parameters)
{
    const std::size_t mark = std::min(target.find('?'), target.size());
    const std::string path = target.substr(0, mark);
    std::string query = target.substr(std::min(mark + 1, target.size()));
    http::Request request;
    request.method = method;
    request.path = path.front() == '/' ? path : "/openapi/service/vorel/" + path;
    request.headers.set("Token", m_token);
    request.origin = "http://here";
    if (method == "PUT") {
        request.body = parameters;
    } else {
        query += (query.empty() ? "" : "&") + parameters;
    }
    for (std::size_t begin = 0; begin < query.size();) {
        const std::size_t end = std::min(query.find('&', begin), query.size());
        const std::string field = query.substr(begin, end - begin);
        const std::size_t equal = std::min(field.find('='), field.size());
        request.query.emplace(field.substr(0, equal), field.substr(std::min(equal + 1, field.size())));
        begin = end + 1;
    }
    return m_under.service().answer(request);
}

Json Viewer::succeed(const std::string& method, const std::string& target, const std::string& parameters)
{
    const http::Reply reply = ask(method, target, parameters);
    EXPECT_EQ(reply.status, 200) << target << " " << parameters << ": " << reply.body;
    Json rsp = Json::parse(reply.body).at("rsp");
    EXPECT_EQ(rsp.at("stat"), "OK") << target << " " << parameters;
    rsp.erase("stat");
    return rsp;
}

Json Viewer::get(const std::string& target, const std::string& query)
{
    return succeed("GET", target, query);
}

Json Viewer::put(const std::string& target, const std::string& body)
{
    return succeed("PUT", target, body);
}

Json Viewer::remove(const std::string& target, const std::string& query)
{
    return succeed("DELETE", target, query);
}

std::string Viewer::refusal(const std::string& method, const std::string& target, const std::string& parameters)
{
    const http::Reply reply = ask(method, target, parameters);
    EXPECT_TRUE(reply.status >= 400 && reply.status < 500) << target << " " << parameters << ": " << reply.body;
    const Json rsp = Json::parse(reply.body).at("rsp");
    EXPECT_EQ(rsp.at("stat"), "FAIL") << target << " " << parameters;
    const Json error = rsp.value("err", Json::object());
    return error.value("code", "") + ": " + error.value("msg", "");
}

Strings valuesOf(const Json& array, const std::string& key)
{
    Strings values;
    for (const Json& element : array) {
        values.push_back(element.value(key, "(none)"));
    }
    return values;
}

}  // namespace corvaned::test
