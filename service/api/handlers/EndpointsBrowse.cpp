// Handlers of browse/..., search/... and conf/genre: the guide by content, genre and person.
#include <algorithm>

#include "Arguments.h"
#include "Digest.h"
#include "EndpointHandlers.h"
#include "GenreGroups.h"
#include "GuideSearch.h"
#include "ReceivedChannels.h"
#include "ReplyParts.h"
#include "Viewer.h"

namespace corvaned {
namespace {

constexpr std::int64_t kHour = 3600;

guide::Page pageOf(const EndpointCall& call, std::int64_t usual)
{
    return {call.arguments.number("start"), call.arguments.number("num", usual)};
}

[[noreturn]] void refuseUnknown(const char* what)
{
    throw Refusal(ServiceCode::NotFound, std::string("the guide has no ") + what + " of that id");
}

// Adds the directors, and then everybody else who takes part, with their roles.
void addPeople(const EndpointCall& call, std::int64_t content, Json& object)
{
    Json directors = Json::array();
    Json castings = Json::array();
    guide::forEachCredit(call.guide, content, [&](const guide::Credit& credit) {
        Json person = {{"id", std::to_string(credit.person)}, {"name", credit.name}};
        if (credit.job == "director") {
            directors.push_back(std::move(person));
            return;
        }
        person["role"] = credit.role.empty() && credit.job != "actor" ? credit.job : credit.role;
        castings.push_back(std::move(person));
    });
    object["directors"] = std::move(directors);
    object["castings"] = std::move(castings);
}

}  // namespace

Json answerGuide(EndpointCall& call)
{
    constexpr std::int64_t kAllChannels = 1000000;
    const Instant from = call.arguments.number("timestamp", call.now);
    const Instant to = from + call.arguments.number("interval") * kHour;
    const std::vector<std::string>& wanted = call.arguments.list("channel");
    const std::string& number = call.arguments.string("chnum");
    const guide::Page page = pageOf(call, kAllChannels);
    Json channels = Json::array();
    std::int64_t place = 0;
    forEachReceivedChannel(call, [&](const guide::Channel& channel) {
        const std::string source = std::to_string(channel.source);
        const bool asked = wanted.empty() || wanted.front() == "all" ||
                           std::find(wanted.begin(), wanted.end(), source) != wanted.end();
        if (!asked || (!number.empty() && channel.number != number) || place++ < page.start ||
            place > page.start + page.count) {
            return;
        }
        Json entry = {{"source", source}, {"name", channel.name}, {"number", channel.number}};
        Json& contents = entry["content"] = Json::array();
        guide::window(
            call.guide, channel.source, from, to, call.arguments.string("lang"),
            [&](const guide::Programme& programme) {
                addParts(contents.emplace_back(), programme,
                         {Part::Id, Part::Lang, Part::Start, Part::Duration, Part::Title, Part::Poster, Part::Genres});
            });
        channels.push_back(std::move(entry));
    });
    return {{"channel", std::move(channels)}};
}

Json answerContentList(EndpointCall& call)
{
    constexpr std::int64_t kUsual = 100;
    const Instant from = call.arguments.number("timestamp", call.now);
    std::vector<std::int64_t> genres;
    for (const std::string& id : call.arguments.list("genre")) {
        genres.push_back(idOf(id).value_or(0));
    }
    Json contents = Json::array();
    guide::contents(call.guide, genres, from, from + 24 * kHour, pageOf(call, kUsual), call.arguments.string("lang"),
                    [&](const guide::Programme& programme) {
                        addParts(contents.emplace_back(), programme,
                                 {Part::Id, Part::Lang, Part::Title, Part::Type, Part::Genres, Part::Year,
                                  Part::Runtime, Part::Poster});
                    });
    return {{"content", std::move(contents)}};
}

Json answerContent(EndpointCall& call)
{
    const std::int64_t content = idOf(call.arguments.string("id")).value_or(-1);
    const std::string& lang = call.arguments.string("lang");
    Json detail;
    const auto describe = [&](const guide::Programme& programme) {
        addParts(detail, programme,
                 {Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Rating, Part::Type,
                  Part::Genres, Part::Year, Part::Runtime, Part::Poster});
        detail["summary"] = programme.description;
        detail["certificates"] = programme.rating;
    };
    if (!guide::nextAiring(call.guide, content, call.now, lang, describe)) {
        refuseUnknown("content");
    }
    addPeople(call, content, detail);
    Json& channels = detail["channel"] = Json::array();
    std::int64_t last = 0;
    guide::airingsOf(call.guide, content, idOf(call.arguments.string("sourceid")).value_or(0),
                     call.arguments.number("starttime", INT64_MIN), lang, [&](const guide::Programme& programme) {
                         if (programme.channel.source != last) {
                             last = programme.channel.source;
                             Json& channel = channels.emplace_back();
                             channel = {{"source", std::to_string(last)},
                                        {"dtv", std::to_string(last)},
                                        {"number", programme.channel.number},
                                        {"name", programme.channel.name}};
                             addImage(channel, "station_img", programme.channel.icon, "station");
                             channel["schedule"] = Json::array();
                         }
                         addParts(channels.back()["schedule"].emplace_back(), programme, {Part::Start, Part::Duration});
                     });
    return {{"content", std::move(detail)}};
}

Json answerSeries(EndpointCall& call)
{
    const std::int64_t series = guide::seriesOf(call.guide, idOf(call.arguments.string("id")).value_or(-1));
    if (series == 0) {
        refuseUnknown("series or episode");
    }
    Json rsp = {{"id", std::to_string(series)}, {"title", ""}, {"type", "series"}};
    Json seasons = Json::array();
    Json flat = Json::array();
    int startYear = 0;
    int endYear = 0;
    int season = 0;
    const std::int64_t source = idOf(call.arguments.string("sourceid")).value_or(0);
    guide::episodesOf(call.guide, series, source, call.now, call.arguments.string("lang"),
                      [&](const guide::Programme& programme) {
                          if (rsp["title"].get_ref<const std::string&>().empty()) {
                              rsp["title"] = programme.title;
                          }
                          if (!rsp.contains("poster")) {
                              addImage(rsp, "poster", programme.image, "poster");
                          }
                          if (programme.year > 0) {
                              startYear = startYear == 0 ? programme.year : std::min(startYear, programme.year);
                              endYear = std::max(endYear, programme.year);
                          }
                          Json episode = {{"source", std::to_string(programme.channel.source)},
                                          {"name", programme.channel.name},
                                          {"number", programme.channel.number}};
                          addParts(episode, programme, {Part::Start, Part::Id, Part::Title});
                          if (!programme.episodeTitle.empty()) {
                              episode["title"] = programme.episodeTitle;
                          }
                          addParts(episode, programme,
                                   {Part::SeasonSeq, Part::EpisodeSeq, Part::Rating, Part::Genres, Part::Year,
                                    Part::Duration, Part::ShortDesc, Part::Poster});
                          // Episodes of an unknown season come last.
                          if (programme.season != season) {
                              season = programme.season;
                              seasons.push_back({{"season_seq", std::to_string(season)}, {"episode", Json::array()}});
                          }
                          (seasons.empty() ? flat : seasons.back()["episode"]).push_back(std::move(episode));
                      });
    if (startYear > 0) {
        rsp["startyear"] = std::to_string(startYear);
        rsp["endyear"] = std::to_string(endYear);
    }
    rsp["season"] = std::move(seasons);
    rsp["episode"] = std::move(flat);
    return {{"series", std::move(rsp)}};
}

Json answerPerson(EndpointCall& call)
{
    const std::optional<guide::Person> person =
        guide::findPerson(call.guide, idOf(call.arguments.string("id")).value_or(-1));
    if (!person) {
        refuseUnknown("person");
    }
    Json contents = Json::array();
    for (const std::int64_t content : person->contents) {
        guide::nextAiring(call.guide, content, call.now, call.arguments.string("lang"),
                          [&](const guide::Programme& programme) {
                              addParts(contents.emplace_back(), programme, {Part::Id, Part::Title, Part::Type});
                          });
    }
    const viewer::VoteCount votes = viewer::countVotes(call.viewers, call.user, viewer::Subject::Person, person->id);
    return {{"person",
             {{"id", std::to_string(person->id)},
              {"name", person->name},
              {"occupation", person->job},
              {"like", std::to_string(votes.likes)},
              {"dislike", std::to_string(votes.dislikes)},
              {"content", std::move(contents)}}}};
}

Json answerSearch(EndpointCall& call)
{
    constexpr std::int64_t kUsual = 20;
    const std::string& exact = call.arguments.string("exact");
    const bool prefix = exact.empty() || exact == "no" || exact == "false" || exact == "0";
    if (const std::string problem = guide::searchProblem(call.arguments.string("q")); !problem.empty()) {
        throw Refusal(ServiceCode::BadValue, "parameter 'q' " + problem);
    }
    const guide::Found found = guide::search(call.guide, call.arguments.string("q"),
                                             prefix ? guide::Match::Prefix : guide::Match::Exact, pageOf(call, kUsual));
    Json contents = Json::array();
    for (const std::int64_t content : found.contents) {
        guide::nextAiring(
            call.guide, content, call.now, call.arguments.string("lang"), [&](const guide::Programme& programme) {
                Json& entry = contents.emplace_back();
                addParts(entry, programme,
                         {Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Type,
                          Part::Genres, Part::Year, Part::ShortDesc, Part::Start, Part::Duration, Part::Poster});
                entry["channel"] = {{"source", std::to_string(programme.channel.source)},
                                    {"number", programme.channel.number},
                                    {"name", programme.channel.name}};
            });
    }
    return {{"total", std::to_string(found.total)},
            {"start", std::to_string(call.arguments.number("start"))},
            {"content", std::move(contents)}};
}

Json answerGenre(EndpointCall& call)
{
    const std::vector<guide::Genre> genres = guide::genres(call.guide);
    Digest digest;
    Json list = Json::array();
    Json groups = Json::array();
    for (const guide::Genre& genre : genres) {
        const GenreGroup& group = genreGroupOf(genre.name);
        digest.add(genre.id);
        digest.add(genre.name);
        digest.add(group.name);
        list.push_back({{"id", std::to_string(genre.id)}, {"rep_id", group.id}, {"name", genre.name}});
    }
    for (const GenreGroup& group : genreGroups()) {
        groups.push_back({{"rep_id", group.id}, {"name", group.name}});
    }
    const std::string code = genres.empty() ? std::string() : digest.hex();
    const bool same = !code.empty() && call.arguments.string("checksum") == code;
    Json rsp = {{"checksum", {{"stat", same ? "old" : "new"}, {"code", code}}}};
    if (!same) {
        rsp["genre"] = std::move(list);
        rsp["rep_genre"] = std::move(groups);
    }
    return rsp;
}

}  // namespace corvaned
