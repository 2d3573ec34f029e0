// Handlers of auth/... and conf/..., except conf/genre.
#include <algorithm>

#include "Arguments.h"
#include "Digest.h"
#include "EndpointHandlers.h"
#include "Session.h"
#include "Upload.h"
#include "Viewer.h"

namespace corvaned {
namespace {

// Refuses a path; only a plain name is allowed.
void checkFilename(const std::string& name)
{
    const bool good = name.size() <= kLongestStored && name != "." && name != ".." &&
                      std::none_of(name.begin(), name.end(),
                                   [](unsigned char c) { return c < 0x20 || c == 0x7f || c == '/' || c == '\\'; });
    if (!good) {
        throw Refusal(
            ServiceCode::BadValue,
            "parameter 'filename' must be a plain name of at most 255 bytes, without '/' and control characters");
    }
}

}  // namespace

// Each request opens a new session. The user stays the same for the same device.
Json answerSeedkey(EndpointCall& call)
{
    const SessionLimits limits{call.settings.sessionLifetime, call.settings.sessionsPerDevice,
                               call.settings.newDevicesPerHour};
    const ViewerSession session =
        openSession(call.viewers, call.arguments.string("DUID"), call.request.remote, call.now, limits, call.removable);
    return {{"session",
             {{"id", session.id},
              {"user", {{"id", session.user}}},
              {"seedkey", session.seedkey},
              {"expired", formatUtc(session.expires)}}}};
}

Json answerLocaltime(EndpointCall& call)
{
    const Zone& zone = call.settings.zone;
    return {{"date", formatUtc(call.now)},
            {"localdate", zone.formatLocal(call.now)},
            {"timezone", zone.name()},
            {"difference", zone.formatOffset(call.now)}};
}

// The address never changes; the expiry makes clients ask again, in case the service has moved.
Json answerServer(EndpointCall& call)
{
    return {{"url", call.request.origin}, {"expired", formatUtc(call.now + kDay)}};
}

// The service collects no logs of clients, so it gives no address, and levels at which clients log nothing.
Json answerConfLog(EndpointCall&)
{
    Json events = Json::array();
    for (const char* name : {"tune", "search", "favorite", "like"}) {
        events.push_back({{"name", name}, {"loglevel", "0"}});
    }
    return {{"service",
             {{"name", "corvaned"},
              {"url", ""},
              {"queue_max", "0"},
              {"expiration", std::to_string(kDay)},
              {"loglevel", "0"},
              {"event", std::move(events)}}}};
}

// The rule is by age, as in most listings. It names the ratings that occur in the current guide.
Json answerCertRule(EndpointCall& call)
{
    std::string ratings;
    sqlite::Query rows(call.guide, "SELECT DISTINCT rating FROM airing WHERE rating <> '' ORDER BY rating LIMIT 100");
    while (rows.next()) {
        ratings.append(ratings.empty() ? "" : ",").append(rows.text(0));
    }
    return {{"service",
             {{"first_screen", "guide"},
              {"adult_default", "18"},
              {"bar_mode", "off"},
              {"bar_ratio", "0"},
              {"cert_type", "age"},
              {"rule", ratings},
              {"uptime_begin", "22:00"},
              {"uptime_end", "05:00"}}}};
}

Json answerUploadCheck(EndpointCall& call)
{
    constexpr std::size_t kShown = 8;
    return {{"url", call.request.origin + "/openapi/service/vorel/conf/upload"},
            {"filename", "channels-" + call.user.substr(0, kShown) + ".json"}};
}

Json answerUpload(EndpointCall& call)
{
    const std::string& filename = call.arguments.string("filename");
    checkFilename(filename);
    checkStored("filename", filename);
    if (call.request.body.empty()) {
        throw Refusal(ServiceCode::BadValue, "the file is empty; send its content as the body");
    }
    keepUpload(call.viewers, call.user, {filename, call.now, call.request.body});
    return Json::object();
}

Json answerLastUpload(EndpointCall& call)
{
    const std::optional<Upload> upload = findUpload(call.viewers, call.user);
    if (!upload) {
        throw Refusal(ServiceCode::NotFound, "this user has sent no file");
    }
    const Sha1 digest = sha1(upload->content);
    return {{"filename", upload->filename},
            {"received", formatUtc(upload->received)},
            {"size", std::to_string(upload->content.size())},
            {"sha1", hex(digest.data(), digest.size())}};
}

// Without a time, resets the history up to now.
Json answerReset(EndpointCall& call)
{
    viewer::resetHistory(call.viewers, call.user, call.arguments.number("timestamp", call.now));
    return Json::object();
}

}  // namespace corvaned
