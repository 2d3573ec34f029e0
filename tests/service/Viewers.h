// A service without sockets and the viewers who ask it: what the tests of everything kept per user share.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Endpoints.h"
#include "TestSupport.h"

namespace corvaned::test {

using Json = nlohmann::json;

/// A service over a database that reopen() closes and opens again, with a clock that the test sets.
class ServiceUnderTest {
public:
    explicit ServiceUnderTest(const std::string& now);

    /// As after a restart.
    void reopen();

    Store& store() { return *m_store; }
    Service& service() { return *m_service; }
    Instant& now() { return m_now; }
    void setNow(const std::string& utc);

private:
    TemporaryDatabase m_file;
    Instant m_now;
    std::unique_ptr<Store> m_store;
    std::unique_ptr<Service> m_service;
};

/// One device with a session; it lasts over a restart of the service.
class Viewer {
public:
    Viewer(ServiceUnderTest& under, const std::string& device);

    /// The "rsp" of the reply. A reply that is no success fails the test.
    /// @param query  "a=1&b=2", taken as decoded
    Json get(const std::string& path, const std::string& query = "");
    Json put(const std::string& path, const std::string& body = "");
    Json remove(const std::string& path, const std::string& query = "");

    /// The code and the message of a reply that is a failure: "101: parameter ...".
    std::string refusal(const std::string& method, const std::string& path, const std::string& parameters = "");

private:
    Json ask(const std::string& method, const std::string& path, const std::string& parameters);

    ServiceUnderTest& m_under;
    std::string m_token;
};

/// The texts under that key of an array's elements.
std::vector<std::string> valuesOf(const Json& array, const std::string& key);

}  // namespace corvaned::test
