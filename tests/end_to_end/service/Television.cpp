#include "Television.h"

#include <gtest/gtest.h>

namespace W::test {

namespace {

std::vector<std::string> allOptions(const ServiceProcess& service, const std::string& device,
                                    const std::string& headend, const std::vector<std::string>& more)
{
    std::vector<std::string> options = {"base_url=" + service.url(), "app_key=e2e",   "country=US",    "language=en",
                                        "headend=" + headend,        "device_type=X", "duid=" + device};
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

}  // namespace

Television::Television(const ServiceProcess& service, const std::string& device, const std::string& headend,
                       const std::vector<std::string>& options)
    : m_process(CORVANE_COMMAND, CORVANE_LIBRARY, allOptions(service, device, headend, options))
{
    results("getAuthSeedkey");
    results("getLocalTime");
}

Json Television::resultsOf(const std::string& operation, const Json& arguments)
{
    const Json answer = call(operation, arguments);
    EXPECT_EQ(statusOf(answer), 0) << operation << arguments;
    return answer.at("results");
}

int Television::statusOf(const Json& answer)
{
    // Synchronous operations only return it.
    return answer.contains("status") ? answer.at("status") : answer.at("return");
}

Json Television::call(const std::string& operation, const Json& arguments)
{
    called().insert(operation);
    const Json answer = m_process.call(operation, arguments);
    if (!answer.contains("result")) {
        throw std::runtime_error(operation + ": " + answer.dump());
    }
    return answer.at("result");
}

std::set<std::string>& Television::called()
{
    static std::set<std::string> operations;
    return operations;
}

std::vector<std::string> column(const Json& list, const std::string& path)
{
    std::vector<std::string> texts;
    texts.reserve(list.size());
    for (const Json& element : list) {
        texts.push_back(element.at(Json::json_pointer(path)));
    }
    return texts;
}

}  // namespace W::test
