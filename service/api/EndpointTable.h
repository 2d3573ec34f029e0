// The catalogue of endpoints. A new one is a row in EndpointTable.cpp, the rows of its parameters, and a handler
// declared in EndpointHandlers.h.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "Arguments.h"
#include "EndpointHandlers.h"

namespace corvaned {

enum class Access : std::uint8_t {
    Open,     // every client
    AppKey,   // clients that name an application key
    Session,  // clients with a session
};

/// A handler of either form (EndpointHandlers.h).
class Handler {
public:
    constexpr Handler(Json (*tree)(EndpointCall& call)) : m_tree(tree) {}
    constexpr Handler(void (*writer)(EndpointCall& call, std::string& members)) : m_writer(writer) {}

    /// Appends the members of "rsp" except "stat" as JSON, each after a comma.
    void operator()(EndpointCall& call, std::string& members) const;

private:
    Json (*m_tree)(EndpointCall& call) = nullptr;
    void (*m_writer)(EndpointCall& call, std::string& members) = nullptr;
};

struct Endpoint {
    const char* method;
    std::string_view path;  // "{}" is one segment, the ParameterPlace::Path parameter
    Access access;
    ParameterRules parameters;
    Handler handler;
};

/// Calls visit with every endpoint, in the order of the table.
void forEachEndpoint(const std::function<void(const Endpoint&)>& visit);

/// The path of the table that a path fits, whatever the method; empty if there is none.
/// @param path  decoded and without appended parameters
std::string_view endpointPath(std::string_view path);

/// The endpoint of a request and the variable part of its path.
struct Route {
    const Endpoint& endpoint;
    std::string_view segment;  // the segment at "{}"; points into the given path
};

/// Finds the endpoint of a method and a path.
/// @param path  decoded and without appended parameters (Arguments.h: properPath)
/// @throws Refusal if there is none; the message lists the methods that the path allows
Route routeOf(std::string_view method, std::string_view path);

}  // namespace corvaned
