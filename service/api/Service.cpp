// What happens to every request: its endpoint is found in the table, keys and session are checked, its parameters read
// and the handler asked; whatever is thrown on the way becomes a reply.
#include "Endpoints.h"

#include <fmt/format.h>

#include <cstdio>

#include "Arguments.h"
#include "EndpointTable.h"
#include "ReplyParts.h"
#include "Session.h"

namespace corvaned {
namespace {

// Two weeks of some thousand channels in one language.
constexpr std::size_t kMostForSchedules = 128U << 20;

struct CodeRow {
    std::string_view text;
    int status;  // of HTTP
};

// In the order of ServiceCode.
constexpr CodeRow kCodes[] = {
    {"OK", 200},  {"100", 400}, {"101", 400}, {"102", 404}, {"103", 405}, {"105", 400},
    {"206", 401}, {"207", 401}, {"500", 500}, {"600", 401}, {"104", 404},
};
static_assert(std::size(kCodes) == static_cast<std::size_t>(ServiceCode::NotFound) + 1);

const CodeRow& rowOf(ServiceCode code)
{
    return kCodes[static_cast<std::size_t>(code)];
}

void checkAppKey(const ServiceSettings& settings, const Request& request, Access access)
{
    const std::string key = request.header("AppKey");
    if (settings.appKey && !sameSecret(key, *settings.appKey)) {
        throw Refusal(ServiceCode::AppKeyWrong, key.empty() ? "header 'AppKey' is missing"
                                                            : "the application key in header 'AppKey' is not valid");
    }
    if (access == Access::AppKey && key.empty()) {
        throw Refusal(ServiceCode::MissingValue, "header 'AppKey' is missing");
    }
}

std::string checkSession(const ServiceSettings& settings, sqlite::Connection& connection, const Request& request,
                         Instant now)
{
    std::string user;
    switch (checkToken(connection, request.header("Token"), settings.secret, now, user)) {
        case TokenCheck::Good:
            break;
        case TokenCheck::Malformed:
            throw Refusal(ServiceCode::TokenWrong, "header 'Token' is missing or not of the form SESSION+USER+DIGEST");
        case TokenCheck::Unknown:
            throw Refusal(ServiceCode::SessionUnknown,
                          "the session of header 'Token' is not known or has expired; ask for a new seed key");
        case TokenCheck::Wrong:
            throw Refusal(ServiceCode::TokenWrong, "header 'Token' does not fit its session and the shared secret");
    }
    return user;
}

}  // namespace

std::string_view codeText(ServiceCode code)
{
    return rowOf(code).text;
}

Reply failure(ServiceCode code, const std::string& message)
{
    const CodeRow& row = rowOf(code);
    return {row.status, code, textOf({{"rsp", {{"stat", "FAIL"}, {"err", {{"code", row.text}, {"msg", message}}}}}})};
}

Service::Service(Store& store, ServiceSettings settings)
    : m_store(store), m_settings(std::move(settings)), m_schedules(kMostForSchedules)
{}

Reply Service::answer(const Request& request)
{
    try {
        return answerChecked(request);
    } catch (const Refusal& refusal) {
        return failure(refusal.code(), refusal.what());
    } catch (const std::exception& fault) {
        fmt::print(stderr, "corvaned: {}: {}\n", request.path, fault.what());
        return failure(ServiceCode::Fault, "the service cannot answer now; its own log says why");
    }
}

Reply Service::answerChecked(const Request& request)
{
    const Route route = routeOf(request.method, properPath(request.path));
    const Endpoint& endpoint = route.endpoint;
    if (endpoint.access != Access::Open) {
        checkAppKey(m_settings, request, endpoint.access);
    }
    const Store::Lease lease = m_store.lease();
    const Instant now = m_settings.now();
    const std::string user =
        endpoint.access == Access::Session ? checkSession(m_settings, *lease, request, now) : std::string();
    const Arguments arguments(endpoint.parameters, request, route.segment);
    Call call{m_settings, *lease, arguments, request, m_schedules, now, user};
    std::string body = R"({"rsp":{"stat":"OK")";
    endpoint.handler(call, body);
    body += "}}";
    return {rowOf(ServiceCode::Ok).status, ServiceCode::Ok, std::move(body)};
}

}  // namespace corvaned
