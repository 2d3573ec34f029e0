#include "RpcDiscovery.h"

#include <string>

namespace W::host {

namespace {

Json methodOf(const RpcOperation& operation)
{
    Json parameters = Json::array();
    for (std::size_t i = 0; i < operation.parameters.size(); ++i) {
        const RpcParameter& parameter = operation.parameters[i];
        parameters.push_back(
            {{"name", parameter.name}, {"required", i < operation.leastParameters}, {"schema", parameter.schema}});
    }
    return {{"name", operation.name},
            {"paramStructure", "by-position"},
            {"params", std::move(parameters)},
            {"result", {{"name", "result"}, {"schema", operation.result}}}};
}

}  // namespace

Json openRpcDocument(RpcAccess access)
{
    Json methods = Json::array();
    for (const RpcOperation& operation : rpcOperations()) {
        if (isOffered(operation, access)) {
            methods.push_back(methodOf(operation));
        }
    }
    methods.push_back(
        {{"name", "wait"},
         {"description", "Answers when the earlier requests, or the one whose id is given, have been answered."},
         {"paramStructure", "by-position"},
         {"params", Json::array({{{"name", "id"},
                                  {"required", false},
                                  {"schema", {{"type", Json::array({"string", "number", "null"})}}}}})},
         {"result",
          {{"name", "result"}, {"schema", {{"type", "object"}, {"properties", {{"return", {{"const", 0}}}}}}}}}});
    return {
        {"openrpc", "1.2.6"},
        {"info",
         {{"title", "Corvane plug-in operations"},
          {"version", "1.0.0"},
          {"description",
           "A request that the plug-in accepts is followed by the notification \"accepted\" with its reference, then "
           "by its response. A \"return\" below 0 is a refusal: nothing was sent to the service."}}},
        {"methods", std::move(methods)}};
}

}  // namespace W::host
