// `corvane favourites`, `like`, `dislike`, `unlike` and `watch`.
#include <fmt/format.h>

#include "EverydayGroups.h"
#include "FavouriteLists.h"
#include "ProgrammeCells.h"
#include "Terminal.h"

namespace W::host {

namespace {

UnknownThing unknownProgramme(const std::string& id)
{
    return {fmt::format("there is no programme {} in the guide", id),
            "\"corvane search WORDS\" shows the IDs of programmes"};
}

/// A report of one change: a sentence for people, and one line for scripts.
Report changed(std::vector<TableCell> line, std::string sentence, Json json)
{
    Report report;
    report.json = std::move(json);
    Table table;
    table.columns.resize(line.size());
    table.rows.push_back(std::move(line));
    report.sections.push_back({"", "", std::move(table), "", std::move(sentence)});
    return report;
}

Report listFavourites(OpenedService& service)
{
    const Json channels = fetchFavourites(service.operations(), Favourite::Channel);
    const Json programmes = fetchFavourites(service.operations(), Favourite::Programme);
    Table channelTable;
    channelTable.columns = {{"No", TableColumn::kRigid, 1, 0, true}, {"Name", 8, 2}, {"Source"}};
    // The reply has the numbers of the whole guide; those of the viewer's line-up may be others.
    const ChannelNames lineUp(service.session().fetchChannels());
    for (const Json& channel : listOf(channels)) {
        const std::string source = stringOf(channel, "Source");
        const std::string number = lineUp.number(source);
        channelTable.rows.push_back(
            {number.empty() ? stringOf(channel, "Number") : number, stringOf(channel, "Name"), source});
    }
    Table programmeTable;
    programmeTable.columns = {{"Title", 8, 3}, {"ID"}};
    for (const Json& programme : listOf(programmes)) {
        programmeTable.rows.push_back({shownTitle(programme), stringOf(programme, "ID")});
    }
    Report report;
    report.json = {{"channels", channels}, {"content", programmes}};
    report.sections.push_back({"channel", "Channels", std::move(channelTable), "No channel is a favourite yet.", ""});
    report.sections.push_back(
        {"content", "Programmes", std::move(programmeTable), "No programme is a favourite yet.", ""});
    return report;
}

Report vote(OpenedService& service, const EverydayArguments& arguments, const char* type, const char* sentence)
{
    const char* const kind = arguments.person ? "person" : "content";
    const UnknownThing unknown = arguments.person
                                     ? UnknownThing{fmt::format("there is no person {} in the guide", arguments.id),
                                                    "\"corvane show ID\" shows the IDs of a programme's cast and crew"}
                                     : unknownProgramme(arguments.id);
    service.operations().call("vote", "sendLike",
                              Json::array({arguments.person ? "personid" : "contentid", arguments.id, type}), unknown);
    return changed({type, kind, arguments.id}, sentence, {{"type", kind}, {"id", arguments.id}, {"vote", type}});
}

}  // namespace

Report favourites(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    if (arguments.action.empty()) {
        return listFavourites(service);
    }
    const bool adds = arguments.action == "add";
    std::string id = arguments.id;
    std::string name = "Programme " + id;
    std::optional<UnknownThing> unknown = unknownProgramme(id);
    if (arguments.kind == "channel") {
        std::list<WVLChannel> channels = service.channels();
        // A favourite that has left the line-up can still be removed by its source.
        if (adds || findChannel(channels, id) != channels.end()) {
            const WVLChannel channel = channelNamed(std::move(channels), id);
            id = channel.getSource();
            name = shownChannel(channel);
        } else {
            name = "Channel " + id;
        }
        unknown = UnknownThing{fmt::format("there is no channel {}", id), "\"corvane channels\" lists the channels"};
    }
    service.operations().call("change the favourites", adds ? "setFavorite" : "deleteFavorite",
                              Json::array({arguments.kind, id}), unknown);
    return changed({adds ? "added" : "removed", arguments.kind, id},
                   fmt::format("{} is {} a favourite.", name, adds ? "now" : "no longer"),
                   {{"type", arguments.kind}, {"id", id}, {"favourite", adds}});
}

Report like(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    return vote(service, arguments, "like", "Your vote is \"like\".");
}

Report dislike(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    return vote(service, arguments, "dislike", "Your vote is \"dislike\". Recommendations take it into account.");
}

Report unlike(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    return vote(service, arguments, "none", "Your vote is withdrawn.");
}

Report watchChannel(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    const WVLChannel channel = channelNamed(service.channels(), arguments.id);
    const std::string& source = channel.getSource();
    OperationCaller& operations = service.operations();
    const Json onAir =
        operations.call("ask what is on", "getOnAir", Json::array({Json::array({source}), Json::array({kImageSize})}));
    const Json programme = listOf(onAir[0]).empty() ? Json() : listOf(onAir[0])[0];
    const std::string id = programme.is_null() ? std::string() : stringOf(programme, "ID");
    const Json results = operations.call("record what you watch", "sendTuneHistory", Json::array({id, source}));
    const int sequence = results[0].get<int>();
    std::string sentence = fmt::format("Recorded: {}", shownChannel(channel));
    if (!programme.is_null()) {
        const ShownTimes times(service.now(), service.zone(output.zone));
        sentence +=
            fmt::format(", {} (since {})", shownTitle(programme), times.cell(instantOf(programme["StartTime"])).shown);
    }
    return changed({std::to_string(sequence), source, id}, printable(sentence),
                   {{"channel", toJson(channel)}, {"programme", programme}, {"sequence", sequence}});
}

}  // namespace W::host
