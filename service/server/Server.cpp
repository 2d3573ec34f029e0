#include "Server.h"

#include <chrono>

#include <fmt/format.h>

#include "Monitoring.h"
#include "XmltvFeed.h"

namespace corvaned {
namespace {

constexpr std::size_t kMostOfNote = 2000;  // bytes; a note may have an SQL statement

http::Reply refusal(int status, const std::string& message)
{
    http::Reply reply = failure(status < 500 ? ServiceCode::BadRequest : ServiceCode::Fault, message);
    reply.status = status;
    return reply;
}

// Parameters appended to a path would show what a viewer watches.
std::string_view withoutParameters(std::string_view path)
{
    return path.substr(0, path.find_first_of("&;?="));
}

}  // namespace

Server::Server(Service& service, const ServerSettings& settings, std::function<void(const std::string& line)> log)
    : m_log(std::move(log)),
      m_flood(settings.logLinesPerSecond),
      m_monitoring(settings.monitoring),
      m_http(settings.address, settings.tls, settings.limits, application(service, settings))
{}

http::HttpApplication Server::application(Service& service, const ServerSettings& settings)
{
    http::HttpApplication made;
    made.answer = [&service, feed = settings.feed, monitoring = settings.monitoring](const http::Request& request) {
        if (monitoring != nullptr && Monitoring::hasPath(request.path)) {
            return monitoring->answer(request);
        }
        return feed != nullptr && XmltvFeed::hasPath(request.path) ? feed->answer(request) : service.answer(request);
    };
    made.refuse = &refusal;
    made.log = [this](const http::AccessRecord& record) { logRequest(record); };
    made.report = [this](const std::string& line) { m_log("corvaned: " + line); };
    made.hooks = settings.hooks;
    return made;
}

void Server::reloadTls()
{
    try {
        m_http.reloadTls();
        m_log("corvaned: the certificate and its key were read again");
    } catch (const http::HttpSetupError& error) {
        m_log(fmt::format("corvaned: {}; the old certificate stays in use", error.what()));
    }
}

void Server::logRequest(const http::AccessRecord& record)
{
    if (m_monitoring != nullptr) {
        m_monitoring->count(record.path, record.status, record.took);
        // Load balancers and monitors ask about once a second.
        if (record.status == 200 && Monitoring::hasPath(record.path)) {
            return;
        }
    }
    std::uint64_t leftOut = 0;
    if (!m_flood.admit(record.remote, leftOut)) {
        return;
    }
    const std::string time = formatUtc(systemNow());
    if (leftOut > 0) {
        m_log(fmt::format("time={} remote={} lines_left_out={}", time, record.remote, leftOut));
    }
    std::string line = fmt::format("time={} remote={} method={} path={} status={} code={} bytes={} ms={:.2f}", time,
                                   record.remote, record.method.empty() ? "-" : record.method.substr(0, 20),
                                   http::quotedForLog(withoutParameters(record.path)), record.status,
                                   record.code.empty() ? "-" : record.code, record.bytes,
                                   std::chrono::duration<double, std::milli>(record.took).count());
    if (!record.note.empty()) {
        line += " note=" + http::quotedForLog(record.note, kMostOfNote);
    }
    m_log(line);
}

}  // namespace corvaned
