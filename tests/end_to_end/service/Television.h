// A viewer's television: the command with the loaded library, signed in to a service.
#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "RpcProcess.h"
#include "ServiceProcess.h"

namespace W::test {

using Json = nlohmann::json;

/// A list as an argument of an operation. Braces around a single element would not make a list.
template <class... Elements>
Json listOf(Elements&&... elements)
{
    return Json::array({Json(std::forward<Elements>(elements))...});
}

/// Has a session and the service's time.
class Television {
public:
    /// @param device   identifies the viewer
    /// @param headend  the viewer's headend
    /// @param options  further options, "KEY=VALUE"
    Television(const ServiceProcess& service, const std::string& device, const std::string& headend = "H1",
               const std::vector<std::string>& options = {});

    /// The results of an operation, which must succeed.
    template <class... Arguments>
    Json results(const std::string& operation, Arguments&&... arguments)
    {
        return resultsOf(operation, listOf(std::forward<Arguments>(arguments)...));
    }
    /// The list in the first result.
    template <class... Arguments>
    Json list(const std::string& operation, Arguments&&... arguments)
    {
        return results(operation, std::forward<Arguments>(arguments)...).at(0).at("data");
    }
    /// The programme on air on a channel.
    Json onAir(const std::string& source) { return list("getOnAir", listOf(source), listOf(1)).at(0); }
    /// The status of an operation, which may fail.
    template <class... Arguments>
    int status(const std::string& operation, Arguments&&... arguments)
    {
        return statusOf(call(operation, listOf(std::forward<Arguments>(arguments)...)));
    }

    /// All operations that any television has called.
    static std::set<std::string>& called();

private:
    Json call(const std::string& operation, const Json& arguments);
    Json resultsOf(const std::string& operation, const Json& arguments);
    static int statusOf(const Json& answer);

    RpcProcess m_process;
};

/// The string at a path of every element: column(list, "/Channel/Source").
std::vector<std::string> column(const Json& list, const std::string& path);

}  // namespace W::test
