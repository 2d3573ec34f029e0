#include "ApiCommand.h"

#include <algorithm>
#include <cstdio>

#include <fmt/format.h>

#include "OpenedService.h"
#include "RpcDiscovery.h"
#include "Suggestion.h"

namespace W::host {

namespace {

constexpr int kFailure = 1;
constexpr int kWrongUsage = 2;

/// A list of words, as in "1,2".
Json listOfWords(const std::string& word, const Json& schema)
{
    const bool areNumbers = schema.contains("items") && schema["items"].value("type", "") == "integer";
    Json list = Json::array();
    for (std::size_t begin = 0; begin <= word.size();) {
        const std::size_t end = std::min(word.find(',', begin), word.size());
        const std::string element = word.substr(begin, end - begin);
        const Json number = Json::parse(element, nullptr, false);
        list.push_back(areNumbers && number.is_number() ? number : Json(element));
        begin = end + 1;
    }
    return list;
}

/// A parameter from a word. What does not fit stays a string, which the operation refuses with a message.
Json parameterOf(const std::string& word, const Json& schema)
{
    const std::string type = schema.value("type", "");
    if (type == "string") {
        return word;
    }
    const Json json = Json::parse(word, nullptr, false);
    if (type == "array") {
        return json.is_array() ? json : listOfWords(word, schema);
    }
    if (type == "boolean" && (word == "on" || word == "yes" || word == "off" || word == "no")) {
        return word == "on" || word == "yes";
    }
    return json.is_discarded() ? Json(word) : json;
}

Json parametersOf(const RpcOperation& operation, const std::vector<std::string>& words)
{
    if (words.size() == 1 && !words.front().empty() && words.front().front() == '[') {
        const Json all = Json::parse(words.front(), nullptr, false);
        if (all.is_array()) {
            return all;
        }
    }
    static const Json s_any = Json::object();
    Json parameters = Json::array();
    for (std::size_t i = 0; i < words.size(); ++i) {
        parameters.push_back(
            parameterOf(words[i], i < operation.parameters.size() ? operation.parameters[i].schema : s_any));
    }
    return parameters;
}

int refuse(const std::string& message)
{
    fmt::print(stderr, "corvane: {}\n", message);
    return kWrongUsage;
}

}  // namespace

int runApi(const CommonOptions& options, const OutputOptions& output, const std::string& method,
           const std::vector<std::string>& words)
{
    if (method == "rpc.discover") {
        printJson(openRpcDocument(RpcAccess::All), output);
        return 0;
    }
    const std::vector<RpcOperation>& operations = rpcOperations();
    const auto operation = std::find_if(operations.begin(), operations.end(),
                                        [&method](const RpcOperation& row) { return row.name == method; });
    if (operation == operations.end()) {
        std::vector<std::string> names;
        for (const RpcOperation& row : operations) {
            names.emplace_back(row.name);
        }
        return refuse(fmt::format("there is no operation {}{}; \"corvane api rpc.discover\" lists them", method,
                                  didYouMean(method, names)));
    }
    const Json parameters = parametersOf(*operation, words);
    if (parameters.size() < operation->leastParameters || parameters.size() > operation->parameters.size()) {
        std::string names;
        for (const RpcParameter& parameter : operation->parameters) {
            names += fmt::format(" {}", parameter.name);
        }
        return refuse(fmt::format("{} takes {} parameters, not {}: {}{}", method, operation->parameters.size(),
                                  parameters.size(), method, names));
    }
    OpenedService service(options);
    const Json response = service.operations().response(method, parameters);
    if (response.contains("error")) {
        return refuse(response["error"]["message"].get<std::string>());
    }
    const Json& result = response["result"];
    printJson(result, output);
    const Json::json_pointer returned("/return");
    const bool isStatus = result[returned].is_number_integer();
    int status = isStatus ? std::min(0, result[returned].get<int>()) : 0;
    if (status == 0 && result.contains("status") && result["status"].is_number_integer()) {
        status = std::min(0, result["status"].get<int>());
    }
    if (status == 0) {
        return 0;
    }
    const ServiceProblem problem =
        describe("carry out " + method, status, service.runtime().failures().take(), service.runtime().configuration());
    fmt::print(stderr, "corvane: {}\ncorvane: hint: {}\n", problem.what(), problem.hint());
    return kFailure;
}

}  // namespace W::host
