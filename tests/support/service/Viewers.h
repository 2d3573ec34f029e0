// A service without sockets and the viewers who ask it: what the tests of everything kept per user share.
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Service.h"
#include "TestSupport.h"

namespace corvaned::test {

using Json = nlohmann::json;

/// A service over a database that reopen() closes and opens again, with a clock that the test sets.
class ServiceUnderTest {
public:
    /// @param zone  of the service's wall clock
    explicit ServiceUnderTest(const std::string& now, const std::string& zone = "+00:00");

    /// As after a restart.
    void reopen();

    Store& store() { return *m_store; }
    Service& service() { return *m_service; }
    Instant& now() { return m_now; }
    void setNow(const std::string& utc);

private:
    TemporaryDatabase m_file;
    Instant m_now;
    const Zone m_zone;
    std::unique_ptr<Store> m_store;
    std::unique_ptr<Service> m_service;
};

/// One device with a session; it lasts over a restart of the service.
class Viewer {
public:
    Viewer(ServiceUnderTest& under, const std::string& device);

    /// What stands in the "rsp" of the reply beside its "stat". A reply that is no success fails the test.
    /// @param target      "browse/guide?interval=6", or the same in two parts; what follows "?" is taken as decoded
    Json get(const std::string& target, const std::string& query = "");
    Json put(const std::string& target, const std::string& body = "");
    Json remove(const std::string& target, const std::string& query = "");

    /// The code and the message of a reply that refuses: "101: parameter ...".
    /// @param parameters  of a PUT the body, else the query
    std::string refusal(const std::string& method, const std::string& target, const std::string& parameters = "");

private:
    http::Reply ask(const std::string& method, const std::string& target, const std::string& parameters);
    Json succeed(const std::string& method, const std::string& target, const std::string& parameters);

    ServiceUnderTest& m_under;
    std::string m_token;
};

using Texts = std::vector<std::string>;

/// The texts under that key of an array's elements; "(none)" where one has none.
Texts valuesOf(const Json& array, const std::string& key);

}  // namespace corvaned::test
