// `corvane show`, `corvane person` and `corvane series`.
#include <set>

#include <fmt/format.h>

#include "Counted.h"
#include "EverydayGroups.h"
#include "ProgrammeCells.h"

namespace W::host {

namespace {

constexpr int kManyLines = 1000;

/// Rows of a name and a value; rows without a value are left out.
class FactTable {
public:
    FactTable() { m_table.columns = {{"", TableColumn::kRigid}, {"", 16, kManyLines}}; }

    void add(const char* name, const std::string& value)
    {
        if (!value.empty()) {
            m_table.rows.push_back({name, value});
        }
    }
    Table take() { return std::move(m_table); }

private:
    Table m_table;
};

std::string positive(const Json& record, const char* key)
{
    const int number = record.value(key, 0);
    return number > 0 ? std::to_string(number) : std::string();
}

Table people(const Json& list)
{
    Table table;
    table.columns = {{"ID"}, {"Name", 8, 2}, {"Role", 6, 2, 1}};
    for (const Json& person : list) {
        const std::string role = stringOf(person, "Role");
        table.rows.push_back(
            {stringOf(person, "ID"), stringOf(person, "Name"), role.empty() ? stringOf(person, "Occupation") : role});
    }
    return table;
}

/// Names of a programme's genres.
std::string genreNames(OpenedService& service, const Json& programme)
{
    std::map<std::string, std::string> names;
    const Json results = service.operations().call("fetch the genres", "getGenreList", Json::array({""}));
    for (const Json& genre : listOf(results[0])) {
        names[stringOf(genre, "GenreID")] = stringOf(genre, "GenreName");
    }
    std::string text;
    for (const Json& genre : programme.value("Genrelist", Json::array())) {
        const std::string& name = names[stringOf(genre, "GenreID")];
        if (!name.empty()) {
            text += (text.empty() ? "" : ", ") + name;
        }
    }
    return text;
}

/// The results of getLikeHistory as an object.
Json fetchVotes(OpenedService& service, const char* key, const std::string& id)
{
    const Json results = service.operations().call("fetch the votes", "getLikeHistory", Json::array({key, id}));
    return {{"likes", results[0]}, {"dislikes", results[1]}, {"liked", results[2]}, {"disliked", results[3]}};
}

std::string shownVotes(const Json& votes)
{
    const auto likes = votes["likes"].get<std::size_t>();
    const auto dislikes = votes["dislikes"].get<std::size_t>();
    if (likes == 0 && dislikes == 0) {
        return {};
    }
    std::string text = fmt::format("{}, {}", counted(likes, "like"), counted(dislikes, "dislike"));
    if (votes["liked"].get<bool>()) {
        text += "; you like it";
    } else if (votes["disliked"].get<bool>()) {
        text += "; you dislike it";
    }
    return text;
}

std::string shownType(const std::string& type)
{
    return type == "movie" ? "film" : type == "program" ? "programme" : type;
}

Table episodes(const Json& list)
{
    Table table;
    table.columns = {{"Season", TableColumn::kRigid, 1, 2, true},
                     {"Episode", TableColumn::kRigid, 1, 1, true},
                     {"Title", 8, 3},
                     {"ID"}};
    for (const Json& episode : list) {
        const std::string title = stringOf(episode, "EpisodeTitle");
        table.rows.push_back({positive(episode, "SeasonNum"), positive(episode, "EpisodeNum"),
                              title.empty() ? stringOf(episode, "Title") : title, stringOf(episode, "ID")});
    }
    return table;
}

/// The airings of a programme.
Table airingTable(const Json& airings, const ShownTimes& times, const ChannelNames& names)
{
    Table table;
    table.columns = {{"When", 6, 2}, {"Channel", 6, 2}, {"Minutes", TableColumn::kRigid, 1, 1, true}, {}};
    for (const Json& airing : airings) {
        const auto begin = instantOf(airing["StartTime"]);
        if (begin) {
            const std::string source = stringOf(airing["Channel"], "Source");
            table.rows.push_back({times.cell(begin),
                                  {names.of(source), names.name(source)},
                                  positive(airing, "Duration"),
                                  {"", source}});
        }
    }
    return table;
}

FactTable programmeFacts(OpenedService& service, const Json& programme)
{
    FactTable facts;
    facts.add("Title", stringOf(programme, "Title"));
    facts.add("Episode", stringOf(programme, "EpisodeTitle"));
    facts.add("Kind", shownType(stringOf(programme, "Type")));
    facts.add("Season", positive(programme, "SeasonNum"));
    facts.add("Number", positive(programme, "EpisodeNum"));
    facts.add("Year", positive(programme, "Year"));
    facts.add("Genre", genreNames(service, programme));
    const std::string rating = stringOf(programme, "Certification");
    facts.add("Rated", rating.empty() ? stringOf(programme, "Rating") : rating);
    const std::string summary = stringOf(programme, "Summary");
    facts.add("Summary", summary.empty() ? stringOf(programme, "ShortDesc") : summary);
    return facts;
}

}  // namespace

Report showProgramme(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    const std::string& id = arguments.id;
    OperationCaller& operations = service.operations();
    const UnknownThing unknown{fmt::format("there is no programme {} in the guide", id),
                               "\"corvane search WORDS\" shows the IDs of programmes"};
    const Json details =
        operations.call("show the programme", "getContentDetailInfo", Json::array({id, "", 0}), unknown);
    if (listOf(details[0]).empty()) {
        throw ServiceProblem(unknown.what, unknown.hint);
    }
    const Json& programme = listOf(details[0])[0];
    const Json related =
        operations.call("fetch related programmes", "getRelatedContent", Json::array({id, kImageSize}));
    const auto series = operations.callIfKnown("fetch the series", "getSeriesDetailInfo", Json::array({id, ""}));
    const Json votes = fetchVotes(service, "contentid", id);
    const ShownTimes times(service.now(), service.zone(output.zone));
    const ChannelNames names(service.channels());

    Report report;
    report.json = {{"airings", details[0]},
                   {"people", related[1]},
                   {"related", related[2]},
                   {"series", series ? (*series)[0] : Json()},
                   {"episodes", series ? (*series)[1] : Json()},
                   {"votes", votes}};
    FactTable facts = programmeFacts(service, programme);
    facts.add("Votes", shownVotes(votes));
    report.sections.push_back({"fact", "", facts.take(), "", ""});
    report.sections.push_back({"person", "Cast and crew", people(listOf(related[1])), "", ""});
    report.sections.push_back({"airing", "Airings", airingTable(listOf(details[0]), times, names), "", ""});
    if (series && listOf((*series)[1]).size() > 1) {
        report.sections.push_back(
            {"episode", "Series: " + stringOf((*series)[0], "Title"), episodes(listOf((*series)[1])), "", ""});
    }
    Table others;
    others.columns = {{"Title", 8, 3}, {"ID"}};
    for (const Json& other : listOf(related[2])) {
        others.rows.push_back({shownTitle(other), stringOf(other, "ID")});
    }
    report.sections.push_back({"related", "Related", std::move(others), "", ""});
    return report;
}

Report showPerson(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    const Json results =
        service.operations().call("show the person", "getPersonDetailInfo", Json::array({arguments.id}),
                                  UnknownThing{fmt::format("there is no person {} in the guide", arguments.id),
                                               "\"corvane show ID\" shows the IDs of a programme's cast and crew"});
    const Json& person = results[0];
    const Json votes = fetchVotes(service, "personid", arguments.id);
    FactTable facts;
    facts.add("Name", stringOf(person, "Name"));
    facts.add("Known for", stringOf(person, "Occupation"));
    facts.add("Born", stringOf(person, "Birthdate"));
    facts.add("Died", stringOf(person, "Deathdate"));
    facts.add("About", stringOf(person, "Biography"));
    facts.add("Votes", shownVotes(votes));
    Report report;
    report.json = {{"person", person}, {"votes", votes}};
    report.sections.push_back({"", "", facts.take(), "", ""});
    return report;
}

Report showSeries(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& /*output*/)
{
    const Json results = service.operations().call(
        "show the series", "getSeriesDetailInfo", Json::array({arguments.id, ""}),
        UnknownThing{fmt::format("there is no series {} in the guide, and no programme {} of a series", arguments.id,
                                 arguments.id),
                     "\"corvane show ID\" shows whether a programme belongs to a series"});
    Report report;
    report.json = {{"series", results[0]}, {"episodes", results[1]}};
    std::string years = positive(results[0], "StartYear");
    const std::string end = positive(results[0], "EndYear");
    years += end.empty() || end == years ? "" : "–" + end;
    report.sections.push_back({"", stringOf(results[0], "Title") + (years.empty() ? "" : fmt::format(" ({})", years)),
                               episodes(listOf(results[1])), "The guide has no episodes of this series.", ""});
    return report;
}

}  // namespace W::host
