// `corvane search`. The plug-in passes on the service's reply without parsing it, so it is parsed here, into the
// records that other commands show.
#include <cstdlib>
#include <sstream>

#include <fmt/format.h>

#include "EverydayGroups.h"
#include "ProgrammeCells.h"

namespace W::host {

namespace {

WVLContent readFound(const Json& found)
{
    WVLContent programme;
    programme.setID(stringOf(found, "id"));
    programme.setLang(stringOf(found, "lang"));
    programme.setTitle(stringOf(found, "title"));
    programme.setType(stringOf(found, "type"));
    programme.setEpisodeTitle(stringOf(found, "ep_title"));
    programme.setShortDesc(stringOf(found, "short_desc"));
    programme.setDuration(std::atoi(stringOf(found, "duration").c_str()));
    const std::string start = stringOf(found, "starttime");
    if (!start.empty()) {
        programme.setStartTime(WDateTime::fromString(start, WDateTime::FORMAT_DATETIME, WDateTime::TIMEZONE_UTC));
    }
    std::list<WVLGenre> genres;
    for (const Json& genre : found.value("genres", Json::array())) {
        genres.emplace_back().setGenreID(stringOf(genre, "id"));
    }
    programme.setGenrelist(std::move(genres));
    const Json channelFound = found.value("channel", Json::object());
    WVLChannel channel;
    channel.setSource(stringOf(channelFound, "source"));
    channel.setNumber(stringOf(channelFound, "number"));
    channel.setName(stringOf(channelFound, "name"));
    programme.setChannel(channel);
    return programme;
}

/// The reply's "rsp".
/// @throws ServiceProblem if it is a failure or cannot be read
Json readReply(const std::string& body, OpenedService& service)
{
    const Json reply = Json::parse(body, nullptr, false);
    const Configuration& configuration = service.runtime().configuration();
    if (!reply.is_object() || !reply.contains("rsp") || !reply["rsp"].is_object()) {
        throw describe("search the guide", status::kNotJson, {}, configuration);
    }
    Json rsp = reply["rsp"];
    if (stringOf(rsp, "stat") != "OK") {
        const Json error = rsp.value("err", Json::object());
        throw describe("search the guide", status::kServiceError - std::atoi(stringOf(error, "code").c_str()),
                       {0, fmt::format("code {}: {}", stringOf(error, "code"), stringOf(error, "msg"))}, configuration);
    }
    return rsp;
}

}  // namespace

Report searchGuide(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    std::string query;
    for (const std::string& word : arguments.words) {
        query += (query.empty() ? "" : " ") + word;
    }
    const Json results = service.operations().call(
        "search the guide", "searchEPG", Json::array({query, arguments.exact ? "yes" : "no", 0, arguments.limit}));
    const Json rsp = readReply(results[0].get<std::string>(), service);
    std::list<WVLContent> programmes;
    for (const Json& found : rsp.value("content", Json::array())) {
        programmes.push_back(readFound(found));
    }
    const std::size_t total = std::strtoul(stringOf(rsp, "total").c_str(), nullptr, 10);
    Report report;
    report.json = {{"query", query},
                   {"exact", arguments.exact},
                   {"total", std::max(total, programmes.size())},
                   {"programmes", toJson(programmes)}};
    Table table = programmeTable(report.json["programmes"], ShownTimes(service.now(), service.zone(output.zone)),
                                 ChannelNames(service.channels()));
    if (arguments.exact) {
        table.highlighted = {query};
    } else {
        std::istringstream words(query);
        for (std::string word; words >> word;) {
            table.highlighted.push_back(word);
        }
    }
    const bool isCut = total > programmes.size();
    report.sections.push_back(
        {"", "", std::move(table), fmt::format("Nothing in the guide matches \"{}\".", query), ""});
    if (isCut) {
        report.sections.push_back(
            {"", "", {}, "", fmt::format("{} of {} programmes; see more with --limit N.", programmes.size(), total)});
    }
    return report;
}

}  // namespace W::host
