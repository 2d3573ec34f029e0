// The way of every request: finds its endpoint in the table, checks keys and session, reads the parameters and calls
// the handler. Turns any exception on the way into a reply.
#include "Service.h"

#include <cstdio>

#include <fmt/format.h>

#include "Arguments.h"
#include "EndpointTable.h"
#include "ReadySchedules.h"
#include "Session.h"

namespace corvaned {
namespace {

// Two weeks of some thousand channels in one language.
constexpr std::size_t kMostForSchedules = 128U << 20;

void checkAppKey(const ServiceSettings& settings, const http::Request& request, Access access)
{
    const std::string& key = request.header("AppKey");
    if (settings.appKey && !sameSecret(key, *settings.appKey)) {
        throw Refusal(ServiceCode::AppKeyWrong, key.empty() ? "header 'AppKey' is missing"
                                                            : "the application key in header 'AppKey' is not valid");
    }
    if (access == Access::AppKey && key.empty()) {
        throw Refusal(ServiceCode::MissingValue, "header 'AppKey' is missing");
    }
}

std::string checkSession(const ServiceSettings& settings, SessionCheck& sessions, const http::Request& request,
                         Instant now)
{
    std::string user;
    switch (sessions.check(request.header("Token"), settings.secret, now, user)) {
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

Service::Service(GuideFile& guide, ViewerStore& viewers, ServiceSettings settings)
    : m_guide(guide),
      m_viewers(viewers),
      m_settings(std::move(settings)),
      m_schedules(std::make_unique<ReadySchedules>(kMostForSchedules)),
      m_sessions(std::make_unique<SessionCheck>(viewers))
{}

Service::~Service() = default;

http::Reply Service::answer(const http::Request& request)
{
    try {
        return answerChecked(request);
    } catch (const Refusal& refusal) {
        return failure(refusal.code(), refusal.what());
    } catch (const sqlite::Interrupted& interrupted) {
        const bool late = interrupted.reason() == sqlite::Interrupted::Reason::TimeUp;
        return failure(
            ServiceCode::Unavailable, "the service takes too long to answer this; try again later",
            fmt::format("{}: {}", late ? "a statement took too long" : "the client has left", interrupted.what()));
    } catch (const TooManyDevices& many) {
        http::Reply reply = failure(ServiceCode::Unavailable, many.what());
        reply.headers.set("Retry-After", "3600");
        return reply;
    } catch (const StoreUnavailable& away) {
        return failure(ServiceCode::Unavailable, "the store of viewers' data does not answer; try again later",
                       away.what());
    } catch (const std::exception& fault) {
        return failure(ServiceCode::Fault, "the service cannot answer now; its own log says why", fault.what());
    }
}

std::string_view Service::endpointPath(std::string_view path)
{
    return corvaned::endpointPath(properPath(path));
}

std::string Service::problem()
{
    try {
        const GuideFile::Lease lease = m_guide.lease();
        sqlite::Query(*lease, "SELECT 1 FROM guide LIMIT 1").next();
        m_viewers.read(
            [](SqlConnection& connection) { SqlQuery(connection, "SELECT 1 AS one FROM session LIMIT 1").next(); });
        return {};
    } catch (const std::exception& fault) {
        return fault.what();
    }
}

ServiceFigures Service::figures()
{
    ServiceFigures all = {{"corvaned_ready", "Whether the service can answer requests (1) or not (0).",
                           ServiceFigure::MetricKind::Gauge, problem().empty() ? 1.0 : 0.0}};
    for (const ServiceFigures& some : {m_guide.figures(), m_viewers.figures()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

http::Reply Service::answerChecked(const http::Request& request)
{
    const Route route = routeOf(request.method, properPath(request.path));
    const Endpoint& endpoint = route.endpoint;
    if (endpoint.access != Access::Open) {
        checkAppKey(m_settings, request, endpoint.access);
    }
    const GuideFile::Lease lease = m_guide.lease();
    const sqlite::StatementLimit limit(*lease, m_settings.statementTime, [&request] { return request.isOver(); });
    const Instant now = m_settings.now();
    const std::string user =
        endpoint.access == Access::Session ? checkSession(m_settings, *m_sessions, request, now) : std::string();
    const Arguments arguments(endpoint.parameters, request, route.segment);
    EndpointCall call{m_settings, *lease, m_viewers, arguments, request, *m_schedules, now, m_clock.settled(now), user};
    std::string body = R"({"rsp":{"stat":"OK")";
    endpoint.handler(call, body);
    body += "}}";
    return success(std::move(body));
}

}  // namespace corvaned
