// A service without sockets, and its viewers, for tests of data that is stored per user.
#pragma once

#include <memory>
#include <string>

#include <nlohmann/json.hpp>

#include "Service.h"
#include "TestSupport.h"

namespace corvaned::test {

using Json = nlohmann::json;

/// A service over a database that reopen() closes and opens again, with a clock that the test sets.
class ServiceUnderTest {
public:
    /// @param zone  of the service's wall clock
    explicit ServiceUnderTest(const std::string& now, const std::string& zone = "+00:00");

    /// Closes and opens the service, as a restart does.
    void reopen();

    GuideFile& guide() { return *m_guide; }
    ViewerStore& viewers() { return *m_viewers; }
    Service& service() { return *m_service; }
    Instant& now() { return m_now; }
    void setNow(const std::string& utc);

private:
    TemporaryDatabase m_file;
    const std::string m_location = newViewers(m_file.path());
    Instant m_now;
    const Zone m_zone;
    std::unique_ptr<GuideFile> m_guide;
    std::unique_ptr<ViewerStore> m_viewers;
    std::unique_ptr<Service> m_service;
};

/// One device with a session, which survives a restart of the service.
class Viewer {
public:
    Viewer(ServiceUnderTest& under, const std::string& device);

    /// The members of the reply's "rsp" except "stat". Fails the test if the request is refused.
    /// @param target  "browse/guide?interval=6", or the same in two parts; parameters must already be decoded
    Json get(const std::string& target, const std::string& query = "");
    Json put(const std::string& target, const std::string& body = "");
    Json remove(const std::string& target, const std::string& query = "");

    /// The code and message of a refusal: "101: parameter ...".
    /// @param parameters  the body of a PUT, else the query
    std::string refusal(const std::string& method, const std::string& target, const std::string& parameters = "");

private:
    http::Reply ask(const std::string& method, const std::string& target, const std::string& parameters);
    Json succeed(const std::string& method, const std::string& target, const std::string& parameters);

    ServiceUnderTest& m_under;
    std::string m_token;
};

using Strings = std::vector<std::string>;

/// The strings under that key in an array's elements; "(none)" for an element without it.
Strings valuesOf(const Json& array, const std::string& key);

}  // namespace corvaned::test
