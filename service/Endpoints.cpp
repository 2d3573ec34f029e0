// kEndpoints first: path, parameters, who may call, handler. The handlers follow in the order of the rows. Every scalar
// on the wire is a JSON string.
#include "Endpoints.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <unordered_set>
#include <vector>

#include "Arguments.h"
#include "Guide.h"
#include "Session.h"

namespace corvaned {
namespace {

using Json = nlohmann::ordered_json;

enum class Access {
    Open,     // anybody
    AppKey,   // who names an application key
    Session,  // who holds a session
};

// One request on its way through a handler.
struct Call {
    const ServiceSettings& settings;
    sqlite::Connection& connection;
    const Arguments& arguments;
    Instant now;
    std::string user;  // of the session, where the endpoint needs one
};

struct Endpoint {
    const char* method;
    std::string_view path;
    Access access;
    ParameterRules parameters;
    Json (*answer)(Call& call);  // what stands in "rsp" beside "stat"
};

Json answerSeedkey(Call& call);
Json answerLocaltime(Call& call);
Json answerGallery(Call& call);
Json answerSchedule(Call& call);

constexpr ParameterRule kSeedkeyParameters[] = {
    {"DUID", Place::Header, Kind::Text, Presence::Required},
};
constexpr ParameterRule kGalleryParameters[] = {
    {"checksum", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kScheduleParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::List, Presence::Required},
    {"starttime", Place::Query, Kind::Time, Presence::Optional},
    {"imagesize", Place::Query, Kind::Numbers, Presence::Optional},
    {"interval", Place::Query, Kind::Number, Presence::Required, 1, 744},
};

constexpr Endpoint kEndpoints[] = {
    {"GET", "/openapi/service/vorel/auth/seedkey", Access::AppKey, kSeedkeyParameters, answerSeedkey},
    {"GET", "/openapi/service/vorel/conf/localtime", Access::Open, {}, answerLocaltime},
    {"GET", "/openapi/service/vorel/channel/gallery", Access::Session, kGalleryParameters, answerGallery},
    {"GET", "/openapi/service/vorel/channel/schedule", Access::Session, kScheduleParameters, answerSchedule},
};

struct CodeRow {
    std::string_view text;
    int status;  // of HTTP
};

// In the order of ServiceCode.
constexpr CodeRow kCodes[] = {
    {"OK", 200},  {"100", 400}, {"101", 400}, {"102", 404}, {"103", 405},
    {"105", 400}, {"206", 401}, {"207", 401}, {"500", 500}, {"600", 401},
};
static_assert(std::size(kCodes) == static_cast<std::size_t>(ServiceCode::AppKeyWrong) + 1);

const CodeRow& rowOf(ServiceCode code)
{
    return kCodes[static_cast<std::size_t>(code)];
}

std::string written(const Json& rsp)
{
    // What a request held may come back in a message, so a text may be no UTF-8.
    return Json{{"rsp", rsp}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json imageOf(const guide::Image& image, const char* type)
{
    return {{"url", image.url},
            {"type", type},
            {"index", "0"},
            {"width", std::to_string(image.width)},
            {"height", std::to_string(image.height)}};
}

// A session's own id for its device comes with every answer, so nothing of it is kept here.
Json answerSeedkey(Call& call)
{
    const Session session =
        openSession(call.connection, call.arguments.text("DUID"), call.now, call.settings.sessionLifetime);
    return {{"session",
             {{"id", session.id},
              {"user", {{"id", session.user}}},
              {"seedkey", session.seedkey},
              {"expired", formatUtc(session.expires)}}}};
}

Json answerLocaltime(Call& call)
{
    const Zone& zone = call.settings.zone;
    return {{"date", formatUtc(call.now)},
            {"localdate", zone.formatLocal(call.now)},
            {"timezone", zone.name()},
            {"difference", zone.formatOffset(call.now)}};
}

Json answerGallery(Call& call)
{
    const sqlite::Transaction view(call.connection, sqlite::Transaction::Kind::Read);
    const std::string checksum = guide::lineupChecksum(call.connection);
    const bool same = !checksum.empty() && call.arguments.text("checksum") == checksum;
    Json rsp = {{"checksum", {{"stat", same ? "old" : "new"}, {"code", checksum}}}};
    if (same) {
        return rsp;
    }
    Json& channels = rsp["channel"] = Json::array();
    guide::forEachChannel(call.connection, [&](const guide::Channel& channel) {
        Json entry = {{"source", std::to_string(channel.source)},
                      {"dtv", std::to_string(channel.source)},
                      {"number", channel.number},
                      {"name", channel.name}};
        if (!channel.icon.url.empty()) {
            entry["station_img"] = imageOf(channel.icon, "station");
        }
        channels.push_back(std::move(entry));
    });
    return rsp;
}

Json contentOf(const guide::Airing& airing)
{
    Json genres = Json::array();
    for (std::string_view rest = airing.genres; !rest.empty();) {
        const std::string_view id = rest.substr(0, rest.find(','));
        genres.push_back({{"id", id}});
        rest.remove_prefix(std::min(id.size() + 1, rest.size()));
    }
    Json content = {{"id", std::to_string(airing.content)},
                    {"lang", airing.lang},
                    {"title", airing.title},
                    {"type", airing.type},
                    {"starttime", formatUtc(airing.start)},
                    {"duration", std::to_string((airing.stop - airing.start + 30) / 60)},
                    {"genres", std::move(genres)}};
    if (!airing.image.url.empty()) {
        content["poster"] = imageOf(airing.image, "poster");
    }
    return content;
}

Json answerSchedule(Call& call)
{
    const Instant from = call.arguments.number("starttime", call.now);
    const Instant to = from + call.arguments.number("interval") * 3600;
    const sqlite::Transaction view(call.connection, sqlite::Transaction::Kind::Read);
    Json channels = Json::array();
    std::unordered_set<std::int64_t> asked;
    for (const std::string& text : call.arguments.list("sourceid")) {
        // A channel that is not in the line-up, or no longer, is left out: clients keep old lists.
        std::int64_t source = 0;
        const std::from_chars_result read = std::from_chars(text.data(), text.data() + text.size(), source);
        if (read.ec != std::errc() || read.ptr != text.data() + text.size() || !asked.insert(source).second) {
            continue;
        }
        Json entry;
        const bool known = guide::findChannel(call.connection, source, [&](const guide::Channel& channel) {
            entry = {{"source", std::to_string(channel.source)}, {"name", channel.name}};
            if (!channel.icon.url.empty()) {
                entry["station_img"] = imageOf(channel.icon, "station");
            }
        });
        if (!known) {
            continue;
        }
        Json& contents = entry["content"] = Json::array();
        guide::forEachAiring(call.connection, source, from, to, call.arguments.text("lang"),
                             [&](const guide::Airing& airing) { contents.push_back(contentOf(airing)); });
        channels.push_back(std::move(entry));
    }
    return {{"channel", std::move(channels)}};
}

const Endpoint& endpointOf(const Request& request)
{
    const auto atPath = [&](const Endpoint& endpoint) { return endpoint.path == request.path; };
    const std::string_view asked = request.method;
    const std::string_view method = asked == "HEAD" ? "GET" : asked;
    const Endpoint* known = nullptr;
    for (const Endpoint& endpoint : kEndpoints) {
        if (!atPath(endpoint)) {
            continue;
        }
        if (endpoint.method == method) {
            return endpoint;
        }
        known = &endpoint;
    }
    if (known != nullptr) {
        throw Refusal(ServiceCode::WrongMethod,
                      fmt::format("{} does not take {:.20}; use {}", request.path, request.method, known->method));
    }
    throw Refusal(ServiceCode::UnknownPath,
                  fmt::format("this service has no {:.200}; its paths begin with /openapi/service/", request.path));
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
    return {row.status, code, written({{"stat", "FAIL"}, {"err", {{"code", row.text}, {"msg", message}}}})};
}

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
    const Endpoint& endpoint = endpointOf(request);
    if (endpoint.access != Access::Open) {
        checkAppKey(m_settings, request, endpoint.access);
    }
    const Store::Lease lease = m_store.lease();
    const Instant now = m_settings.now();
    const std::string user =
        endpoint.access == Access::Session ? checkSession(m_settings, *lease, request, now) : std::string();
    const Arguments arguments(endpoint.parameters, request);
    Call call{m_settings, *lease, arguments, now, user};
    Json rsp = {{"stat", "OK"}};
    rsp.update(endpoint.answer(call));
    return {rowOf(ServiceCode::Ok).status, ServiceCode::Ok, written(rsp)};
}

}  // namespace corvaned
