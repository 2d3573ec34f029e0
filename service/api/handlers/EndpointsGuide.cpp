// Handlers of channel/..., which answer from the guide: what is on, by channel. Today's files are in TodayFiles.h.
#include <algorithm>
#include <unordered_set>
#include <vector>

#include "Arguments.h"
#include "EndpointHandlers.h"
#include "Guide.h"
#include "ReadySchedules.h"
#include "ReceivedChannels.h"
#include "ReplyParts.h"
#include "TodayFiles.h"

namespace corvaned {
namespace {

// The sources asked for, each once. Unknown ids are left out, because clients keep old lists.
std::vector<std::int64_t> askedSources(const EndpointCall& call, const char* parameter)
{
    std::vector<std::int64_t> sources;
    std::unordered_set<std::int64_t> asked;
    for (const std::string& id : call.arguments.list(parameter)) {
        if (const std::optional<std::int64_t> source = idOf(id); source && asked.insert(*source).second) {
            sources.push_back(*source);
        }
    }
    return sources;
}

}  // namespace

Json answerGallery(EndpointCall& call)
{
    const std::string checksum = receivedChecksum(call);
    const bool same = !checksum.empty() && call.arguments.string("checksum") == checksum;
    Json rsp = {{"checksum", {{"stat", same ? "old" : "new"}, {"code", checksum}}}};
    if (same) {
        return rsp;
    }
    Json& channels = rsp["channel"] = Json::array();
    Json recognised = Json::array();
    forEachReceivedChannel(call, [&](const guide::Channel& channel) {
        Json entry = {{"source", std::to_string(channel.source)},
                      {"dtv", std::to_string(channel.source)},
                      {"number", channel.number},
                      {"name", channel.name}};
        addImage(entry, "station_img", channel.icon, "station");
        channels.push_back(std::move(entry));
        // Clients can recognise a channel by its logo.
        if (!channel.icon.url.empty()) {
            recognised.push_back({{"source", std::to_string(channel.source)},
                                  {"dtv", std::to_string(channel.source)},
                                  {"name", channel.name},
                                  {"call_sign", channel.name}});
        }
    });
    rsp["ACR"] = std::move(recognised);
    return rsp;
}

void answerSchedule(EndpointCall& call, std::string& members)
{
    const Instant from = call.arguments.number("starttime", call.now);
    const Instant to = from + call.arguments.number("interval") * 3600;
    const std::string guide = guide::digest(call.guide);
    members += ",\"channel\":[";
    for (const std::int64_t source : askedSources(call, "sourceid")) {
        if (call.schedules.append(members, call.guide, guide, source, call.arguments.string("lang"), from, to)) {
            members += ",";
        }
    }
    if (members.back() == ',') {
        members.pop_back();
    }
    members += "]";
}

Json answerOnAir(EndpointCall& call)
{
    const std::string& lang = call.arguments.string("lang");
    Json channels = Json::array();
    const auto add = [&](std::int64_t source) {
        guide::onAir(call.guide, source, call.now, lang, [&](const guide::Programme& programme) {
            Json content;
            addParts(content, programme,
                     {Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Type,
                      Part::Start, Part::Duration, Part::Genres, Part::Poster});
            channels.push_back({{"source", std::to_string(source)},
                                {"dtv", std::to_string(source)},
                                {"name", programme.channel.name},
                                {"content", std::move(content)}});
        });
    };
    const std::vector<std::int64_t> asked = askedSources(call, "sourceid");
    if (call.arguments.string("sourceid").empty()) {
        forEachReceivedChannel(call, [&](const guide::Channel& channel) { add(channel.source); });
    }
    std::for_each(asked.begin(), asked.end(), add);
    return {{"channel", std::move(channels)}};
}

Json answerFocusChannel(EndpointCall& call)
{
    constexpr std::int64_t kUsual = 10;
    const std::int64_t source = idOf(call.arguments.string("sourceid")).value_or(0);
    Json rsp;
    const bool known = guide::findChannel(call.guide, source, [&](const guide::Channel& channel) {
        rsp = {{"source", std::to_string(channel.source)}, {"name", channel.name}};
        addImage(rsp, "station_img", channel.icon, "station");
    });
    if (!known) {
        throw Refusal(ServiceCode::NotFound, "the line-up has no channel of that 'sourceid'");
    }
    Json& contents = rsp["content"] = Json::array();
    guide::following(call.guide, source, call.now, call.arguments.number("num", kUsual), call.arguments.string("lang"),
                     [&](const guide::Programme& programme) {
                         Json& content = contents.emplace_back();
                         addParts(
                             content, programme,
                             {Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Type,
                              Part::Genres, Part::ShortDesc, Part::Start, Part::Duration, Part::Poster});
                     });
    return rsp;
}

Json answerToday(EndpointCall& call)
{
    Json files = Json::array();
    if (!guide::lineupChecksum(call.guide).empty()) {
        for (const TodayFile& file : todayFiles(call.settings.zone, call.now, call.arguments.string("lang"))) {
            const std::string name = file.name();
            files.push_back({{"time", std::to_string(file.fromHour) + "-" + std::to_string(file.toHour)},
                             {"url", call.request.origin + "/openapi/service/vorel/channel/today/" + name},
                             {"filename", name}});
        }
    }
    return {{"VOREL_url", std::move(files)}};
}

Json answerTodayFile(EndpointCall& call)
{
    const std::optional<TodayFile> file = TodayFile::parse(call.arguments.string("file"));
    if (!file) {
        throw Refusal(ServiceCode::NotFound, "there is no such file; channel/today lists those of today");
    }
    const auto [from, to] = file->window(call.settings.zone);
    Json channels = Json::array();
    guide::forEachChannel(call.guide, [&, from = from, to = to](const guide::Channel& channel) {
        Json entry = {{"source", std::to_string(channel.source)}, {"name", channel.name}, {"number", channel.number}};
        Json& contents = entry["content"] = Json::array();
        guide::window(call.guide, channel.source, from, to, file->lang, [&](const guide::Programme& programme) {
            // Each programme is in exactly one of the day's four files.
            if (programme.start < from && file->fromHour > 0) {
                return;
            }
            addParts(contents.emplace_back(), programme,
                     {Part::Id, Part::Lang, Part::Title, Part::Rating, Part::Start, Part::Duration, Part::Genres,
                      Part::Poster, Part::ShortDesc});
        });
        channels.push_back(std::move(entry));
    });
    return {{"channel", std::move(channels)}};
}

}  // namespace corvaned
