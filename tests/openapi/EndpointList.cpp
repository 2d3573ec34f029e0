// Prints the endpoint table as JSON, for openapi_test.
#include <cstdio>

#include <nlohmann/json.hpp>

#include "EndpointTable.h"

using nlohmann::json;

namespace corvaned {

NLOHMANN_JSON_SERIALIZE_ENUM(Access, {{Access::Open, "open"}, {Access::AppKey, "AppKey"}, {Access::Session, "Token"}})
NLOHMANN_JSON_SERIALIZE_ENUM(ParameterPlace, {{ParameterPlace::Query, "query"},
                                              {ParameterPlace::Header, "header"},
                                              {ParameterPlace::Path, "path"}})
NLOHMANN_JSON_SERIALIZE_ENUM(ParameterKind, {{ParameterKind::String, "text"},
                                             {ParameterKind::List, "list"},
                                             {ParameterKind::Number, "number"},
                                             {ParameterKind::Numbers, "numbers"},
                                             {ParameterKind::Time, "time"}})

}  // namespace corvaned

int main()
{
    json endpoints = json::array();
    corvaned::forEachEndpoint([&](const corvaned::Endpoint& endpoint) {
        json parameters = json::array();
        for (const corvaned::ParameterRule& rule : endpoint.parameters) {
            parameters.push_back({{"name", rule.name},
                                  {"in", rule.place},
                                  {"kind", rule.kind},
                                  {"required", rule.presence == corvaned::Presence::Required},
                                  {"minimum", rule.smallest},
                                  {"maximum", rule.largest}});
        }
        endpoints.push_back({{"method", endpoint.method},
                             {"path", endpoint.path},
                             {"access", endpoint.access},
                             {"parameters", std::move(parameters)}});
    });
    std::puts(endpoints.dump().c_str());
    return 0;
}
