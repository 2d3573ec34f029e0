// Handlers of channel/... and browse/..., which answer from the guide (Guide.h).
#include <charconv>
#include <unordered_set>

#include "Arguments.h"
#include "EndpointHandlers.h"
#include "Guide.h"
#include "ReplyParts.h"

namespace corvaned {
namespace {

Json contentOf(const guide::Airing& airing)
{
    Json content = {{"id", std::to_string(airing.content)},
                    {"lang", airing.lang},
                    {"title", airing.title},
                    {"type", airing.type},
                    {"starttime", formatUtc(airing.start)},
                    {"duration", durationOf(airing.start, airing.stop)},
                    {"genres", genresOf(airing.genres)}};
    addImage(content, "poster", airing.image, "poster");
    return content;
}

}  // namespace

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
        addImage(entry, "station_img", channel.icon, "station");
        channels.push_back(std::move(entry));
    });
    return rsp;
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
            addImage(entry, "station_img", channel.icon, "station");
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

}  // namespace corvaned
