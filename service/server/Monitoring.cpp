#include "Monitoring.h"

#include "Service.h"
#include "XmltvFeed.h"

namespace corvaned {
namespace {

constexpr std::string_view kHealth = "/healthz";
constexpr std::string_view kReadiness = "/readyz";
constexpr std::string_view kMetrics = "/metrics";

http::Reply plainReply(int status, std::string text)
{
    http::Reply reply;
    reply.status = status;
    reply.headers.set("Content-Type", "text/plain; charset=utf-8");
    reply.headers.set("Cache-Control", "no-store");
    reply.body = std::move(text);
    return reply;
}

}  // namespace

bool Monitoring::hasPath(std::string_view path)
{
    return path == kHealth || path == kReadiness || path == kMetrics;
}

http::Reply Monitoring::answer(const http::Request& request)
{
    const bool isMetrics = request.path == kMetrics;
    const KeyAccess open;
    if (std::optional<http::Reply> no =
            (isMetrics ? m_access : open).refusal(request, isMetrics ? "the metrics" : "the state")) {
        return std::move(*no);
    }
    if (isMetrics) {
        return metrics();
    }
    const std::string problem = request.path == kReadiness ? m_service.problem() : std::string();
    return plainReply(problem.empty() ? 200 : 503, problem.empty() ? "ok\n" : problem + "\n");
}

void Monitoring::count(std::string_view path, int status, std::chrono::steady_clock::duration took)
{
    const std::string_view known = Service::endpointPath(path);
    const bool isOwn = hasPath(path) || XmltvFeed::hasPath(path);
    m_requests.add(!known.empty() ? known : isOwn ? path : "other", status, took);
}

http::Reply Monitoring::metrics() const
{
    std::string page;
    for (const ServiceFigure& figure : m_service.figures()) {
        appendFigure(page, figure);
    }
    m_requests.appendTo(page);
    http::Reply reply = plainReply(200, std::move(page));
    reply.headers.set("Content-Type", "text/plain; version=0.0.4; charset=utf-8");
    return reply;
}

}  // namespace corvaned
