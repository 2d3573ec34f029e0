#include "ServiceProblem.h"

#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "WTypes.h"

namespace W::host {

namespace {

struct StatusAdvice {
    WSTATUS status;
    const char* problem;  ///< {0} is the service's address
    const char* hint;
};

constexpr StatusAdvice kStatusAdvice[] = {
    {status::kBadArgument, "a setting that it needs is empty",
     "check app_key, country and headend; \"corvane doctor\" shows where settings come from"},
    {status::kNotJson, "the server at {0} is not a Corvane service: its reply is not JSON",
     "set the service's address with --set base_url=URL"},
    {status::kUnreadableReply, "the server at {0} is not a Corvane service: its reply has another form",
     "set the service's address with --set base_url=URL"},
    {-13, "the transfer from {0} failed", "check the service's log, and its certificate if the address is https"},
    {-500, "{0} did not answer in time", "check the service's log, or wait longer with --timeout SECONDS"},
    {status::kUnreachable, "there is no service at {0}",
     "start one with \"corvaned serve\", or set another address with --set base_url=URL"},
    {status::kNoSession, "the service does not accept the session",
     "set app_key and secret_key to the values that the service was started with"},
    {status::kEmptyList, "the service has none", "fill the service with \"corvaned import\""},
    {-205, "the service refuses or does not know this request", "check the service's log"},
    {status::kCancelled, "{0} did not answer in time", "wait longer with --timeout SECONDS"},
};

struct HttpAdvice {
    HTTP_RESPONSE_CODE code;
    const char* problem;
    const char* hint;
};

/// HTTP codes for which the plug-in has no status.
constexpr HttpAdvice kHttpAdvice[] = {
    {429, "the service gets too many requests (HTTP 429)", "wait a minute and try again"},
    {502, "a proxy in front of the service cannot reach it (HTTP 502)",
     "check the proxy, and that the service is running"},
    {503, "the service is overloaded or under maintenance (HTTP 503)", "try again later, or check the service's log"},
    {504, "a proxy in front of the service got no answer in time (HTTP 504)", "check the service's log"},
};

std::string advised(const std::string& step, std::string problem, const ServiceFailure& failure, int status)
{
    if (!failure.error.empty()) {
        problem += ", " + failure.error;
    }
    return fmt::format("cannot {}: {} (status {})", step, problem, status);
}

}  // namespace

ServiceFailure readFailure(const HttpResponse& response)
{
    using Json = nlohmann::json;
    constexpr std::size_t kMostOfAnError = 4096;
    constexpr int kFirstHttpError = 300;
    const std::string& body = response.getPayload();
    ServiceFailure failure;
    if (response.getHttpResponseCode() >= kFirstHttpError) {
        failure.httpCode = response.getHttpResponseCode();
    }
    if (body.size() > kMostOfAnError || body.find("\"err\"") == std::string::npos) {
        return failure;
    }
    const Json reply = Json::parse(body, nullptr, false);
    const Json::json_pointer code("/rsp/err/code");
    const Json::json_pointer message("/rsp/err/msg");
    if (reply.is_discarded() || !reply.contains(code) || !reply[code].is_string()) {
        return failure;
    }
    failure.httpCode = response.getHttpResponseCode();
    failure.error = "code " + reply[code].get<std::string>();
    if (reply.contains(message) && reply[message].is_string()) {
        failure.error += ": " + reply[message].get<std::string>();
    }
    return failure;
}

void ServiceFailures::observe(const HttpRequest& request, SESSION_STATUS status)
{
    if (status != session::kCompleted) {
        return;
    }
    try {
        ServiceFailure failure = readFailure(request.response());
        if (failure.httpCode != 0) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_last = std::move(failure);
        }
    } catch (const std::exception&) {
        // Out of memory: the failure is described by its status alone.
    }
}

ServiceFailure ServiceFailures::take()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return std::exchange(m_last, {});
}

ServiceProblem describe(std::string_view step, int status, const ServiceFailure& failure,
                        const Configuration& configuration)
{
    const std::string tried(step);
    for (const HttpAdvice& row : kHttpAdvice) {
        if (row.code == failure.httpCode) {
            return {advised(tried, row.problem, failure, status), row.hint};
        }
    }
    for (const StatusAdvice& row : kStatusAdvice) {
        if (row.status == status) {
            const std::string problem = fmt::format(fmt::runtime(row.problem), configuration.value("base_url"));
            return {advised(tried, problem, failure, status), row.hint};
        }
    }
    if (status <= status::kServiceError) {
        const std::string error =
            failure.error.empty() ? fmt::format("code {}", status::kServiceError - status) : failure.error;
        return {fmt::format("cannot {}: the service refuses with {} (status {})", step, error, status),
                "check the settings that the message is about; \"corvane doctor\" shows where they come from"};
    }
    if (failure.httpCode != 0) {
        return {advised(tried, fmt::format("the service answers with HTTP {}", failure.httpCode), failure, status),
                "check the service's log"};
    }
    return {fmt::format("cannot {}: {} (status {})", step, WSTATUS2STRING(status), status), "check the service's log"};
}

ServiceProblem describeRefusedSession(int status, const ServiceFailure& failure, const Configuration& configuration)
{
    ServiceProblem problem = describe("open a session", status, failure, configuration);
    std::string empty;
    for (const char* const key : {"app_key", "duid", "model_id", "country"}) {
        if (configuration.value(key).empty()) {
            empty += fmt::format("{}{}", empty.empty() ? "" : ", ", key);
        }
    }
    if (empty.empty()) {
        return problem;
    }
    return {problem.what(), fmt::format("these settings are empty: {}; set them with --set NAME=VALUE", empty)};
}

}  // namespace W::host
