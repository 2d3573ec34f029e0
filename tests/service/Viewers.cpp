#include "Viewers.h"

#include <gtest/gtest.h>

#include "Session.h"

namespace corvaned::test {
namespace {

constexpr const char* kSecret = "open sesame";

}  // namespace

ServiceUnderTest::ServiceUnderTest(const std::string& now) : m_now(*parseUtc(now))
{
    reopen();
}

void ServiceUnderTest::reopen()
{
    m_service.reset();
    m_store.reset();
    m_store = std::make_unique<Store>(m_file.path(), Store::Mode::Create);
    ServiceSettings settings;
    settings.secret = kSecret;
    settings.zone = Zone::named("+00:00");
    settings.sessionLifetime = 400 * 86400;
    settings.now = [this] { return m_now; };
    m_service = std::make_unique<Service>(*m_store, settings);
}

void ServiceUnderTest::setNow(const std::string& utc)
{
    m_now = *parseUtc(utc);
}

Viewer::Viewer(ServiceUnderTest& under, const std::string& device)
    : m_under(under),
      m_token(sessionToken(openSession(*under.store().lease(), device, under.now(), 400 * 86400), kSecret))
{}

Json Viewer::ask(const std::string& method, const std::string& path, const std::string& parameters)
{
    const bool inBody = method == "PUT";
    Request request;
    request.method = method;
    request.path = path.front() == '/' ? path : "/openapi/service/vorel/" + path;
    request.header = [this](const char* name) { return std::string(name) == "Token" ? m_token : std::string(); };
    if (inBody) {
        request.body = parameters;
    }
    for (std::size_t begin = 0; !inBody && begin < parameters.size();) {
        const std::size_t end = std::min(parameters.find('&', begin), parameters.size());
        const std::string field = parameters.substr(begin, end - begin);
        const std::size_t equal = std::min(field.find('='), field.size());
        request.query.emplace(field.substr(0, equal), field.substr(std::min(equal + 1, field.size())));
        begin = end + 1;
    }
    return Json::parse(m_under.service().answer(request).body).at("rsp");
}

Json Viewer::get(const std::string& path, const std::string& query)
{
    Json rsp = ask("GET", path, query);
    EXPECT_EQ(rsp.at("stat"), "OK") << path << "?" << query << ": " << rsp;
    return rsp;
}

Json Viewer::put(const std::string& path, const std::string& body)
{
    Json rsp = ask("PUT", path, body);
    EXPECT_EQ(rsp.at("stat"), "OK") << path << " " << body << ": " << rsp;
    return rsp;
}

Json Viewer::remove(const std::string& path, const std::string& query)
{
    Json rsp = ask("DELETE", path, query);
    EXPECT_EQ(rsp.at("stat"), "OK") << path << "?" << query << ": " << rsp;
    return rsp;
}

std::string Viewer::refusal(const std::string& method, const std::string& path, const std::string& parameters)
{
    const Json rsp = ask(method, path, parameters);
    EXPECT_EQ(rsp.at("stat"), "FAIL") << path << " " << parameters << ": " << rsp;
    return rsp.contains("err")
               ? rsp.at("err").at("code").get<std::string>() + ": " + rsp.at("err").at("msg").get<std::string>()
               : "";
}

std::vector<std::string> valuesOf(const Json& array, const std::string& key)
{
    std::vector<std::string> values;
    for (const Json& element : array) {
        values.push_back(element.value(key, "(none)"));
    }
    return values;
}

}  // namespace corvaned::test
