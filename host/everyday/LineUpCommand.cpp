// `corvane lineup`: finds the headend that serves the viewer's place; a quiz distinguishes similar headends. On a
// terminal the command asks for what the options do not give.
#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "EverydayGroups.h"
#include "ProgrammeCells.h"
#include "Question.h"
#include "Suggestion.h"

namespace W::host {

namespace {

bool equalsIgnoringCase(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](unsigned char x, unsigned char y) {
               return std::tolower(x) == std::tolower(y);
           });
}

std::string headendName(const Json& headend)
{
    for (const char* const key : {"MsoMbrName", "MsoName", "HeadendID"}) {
        if (!stringOf(headend, key).empty()) {
            return stringOf(headend, key);
        }
    }
    return {};
}

Table headendTable(const Json& headends)
{
    Table table;
    table.columns = {
        {"ID"}, {"Name", 8, 2}, {"Operator", 8, 2, 3}, {"Kind", 6, 2, 2}, {"City", 6, 2, 1}, {"Devices", 8, 3, 4}};
    for (const Json& headend : headends) {
        std::string devices;
        for (const Json& device : headend["DeviceList"]) {
            devices += fmt::format("{}{} {}", devices.empty() ? "" : ", ", stringOf(device, "DeviceType"),
                                   stringOf(device, "DeviceName"));
        }
        table.rows.push_back({stringOf(headend, "HeadendID"), headendName(headend), stringOf(headend, "MsoName"),
                              stringOf(headend, "MsoServiceType"), stringOf(headend, "HeadendCity"), devices});
    }
    return table;
}

// --- the place -------------------------------------------------------------------------------------------------------

/// Returns the index of the name or code that was given, or of the one that the person chooses.
/// @param what  as in "state"
std::size_t named(const char* what, const std::string& wanted, const std::vector<std::string>& names,
                  const std::vector<std::string>& codes)
{
    if (wanted.empty()) {
        return choose(fmt::format("Which {}?", what), names);
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (equalsIgnoringCase(names[i], wanted) || equalsIgnoringCase(codes[i], wanted)) {
            return i;
        }
    }
    std::string known;
    for (const std::string& name : names) {
        known += (known.empty() ? "" : ", ") + name;
    }
    throw ServiceProblem(fmt::format("the service has no {} \"{}\"{}", what, wanted, didYouMean(wanted, names)),
                         fmt::format("choose one of {}", known));
}

/// Headends of a city, by state and city.
Json headendsOfCity(OpenedService& service, const EverydayArguments& arguments)
{
    const Json results = service.operations().call("list the cities", "getCityList", Json::array());
    std::vector<std::string> states;
    std::vector<std::string> stateNumbers;
    for (const auto& [number, name] : results[0].items()) {
        states.push_back(name.get<std::string>());
        stateNumbers.push_back(number);
    }
    if (states.empty()) {
        throw ServiceProblem("the service has no list of cities", "look up a postal code with --postal-code CODE");
    }
    const std::size_t state = named("state", arguments.state, states, std::vector<std::string>(states.size()));
    std::vector<std::string> cities;
    std::vector<std::string> codes;
    for (const Json& entry : results[1]) {
        if (std::to_string(entry[0].get<int>()) == stateNumbers[state]) {
            cities.push_back(stringOf(entry[1], "Name"));
            codes.push_back(stringOf(entry[1], "Code"));
        }
    }
    const std::string& code = codes.at(named("city", arguments.city, cities, codes));
    return listOf(
        service.operations().call("list the line-ups of this city", "getHeadend_Kor", Json::array({code}))[0]);
}

Json findHeadends(OpenedService& service, const EverydayArguments& arguments)
{
    std::string code = arguments.postalCode;
    if (code.empty() && arguments.state.empty()) {
        code = ask("Postal code (Enter to choose a city):");
    }
    Json headends =
        code.empty()
            ? headendsOfCity(service, arguments)
            : listOf(service.operations().call("look up this postal code", "getHeadend", Json::array({code}))[0]);
    if (headends.empty()) {
        throw ServiceProblem(code.empty() ? std::string("no line-up reaches this city")
                                          : fmt::format("the service has no line-up for the postal code {}", code),
                             "check it, or choose a city with --state STATE --city CITY");
    }
    return headends;
}

// --- the quiz --------------------------------------------------------------------------------------------------------

/// The answer to a question that was given as NUMBER=NAME; empty if none was.
std::string answerGiven(const EverydayArguments& arguments, const std::string& number)
{
    for (const std::string& answer : arguments.answers) {
        const std::size_t equals = answer.find('=');
        if (answer.substr(0, equals) == number) {
            return answer.substr(equals + 1);
        }
    }
    return {};
}

/// Keeps the headends that match what the viewer sees on some channel numbers.
Json askQuestions(OpenedService& service, const EverydayArguments& arguments, Json headends)
{
    const Json quiz = service.operations().call("fetch the questions", "getLineupTest",
                                                Json::array({stringOf(headends[0], "HeadendID")}));
    for (const Json& question : listOf(quiz[0])) {
        const std::string number = stringOf(question, "Number");
        std::vector<std::string> names;
        const auto isLeft = [&headends](const std::string& id) {
            return std::any_of(headends.begin(), headends.end(),
                               [&id](const Json& headend) { return stringOf(headend, "HeadendID") == id; });
        };
        for (const Json& answer : question["AnswerList"]) {
            const std::string name = stringOf(answer, "Name");
            if (isLeft(stringOf(answer, "HeadendId")) && std::find(names.begin(), names.end(), name) == names.end()) {
                names.push_back(name);
            }
        }
        if (headends.size() < 2 || names.size() < 2) {
            continue;
        }
        std::string given = answerGiven(arguments, number);
        if (given.empty() && !canAsk()) {
            continue;
        }
        if (given.empty()) {
            given = names[choose(fmt::format("What do you see on channel {}?", number), names)];
        } else if (std::none_of(names.begin(), names.end(),
                                [&given](const std::string& name) { return equalsIgnoringCase(name, given); })) {
            std::string known;
            for (const std::string& name : names) {
                known += (known.empty() ? "" : ", ") + name;
            }
            throw ServiceProblem(fmt::format("\"{}\" is not an answer to the question which channel is on {}{}", given,
                                             number, didYouMean(given, names)),
                                 fmt::format("answer with one of {}", known));
        }
        Json kept = Json::array();
        for (const Json& headend : headends) {
            const std::string id = stringOf(headend, "HeadendID");
            const Json& answers = question["AnswerList"];
            if (std::any_of(answers.begin(), answers.end(), [&](const Json& answer) {
                    return stringOf(answer, "HeadendId") == id && equalsIgnoringCase(stringOf(answer, "Name"), given);
                })) {
                kept.push_back(headend);
            }
        }
        headends = std::move(kept);
    }
    return headends;
}

/// One headend of several.
/// @throws ServiceProblem if the options do not decide which
Json chooseHeadend(OpenedService& service, const EverydayArguments& arguments, Json headends)
{
    if (!arguments.headend.empty()) {
        for (const Json& headend : headends) {
            if (equalsIgnoringCase(stringOf(headend, "HeadendID"), arguments.headend)) {
                return headend;
            }
        }
        throw ServiceProblem(fmt::format("line-up \"{}\" does not serve this place", arguments.headend),
                             "run the command without --headend to see those that do");
    }
    if (headends.size() > 1) {
        headends = askQuestions(service, arguments, std::move(headends));
    }
    if (headends.size() == 1) {
        return headends[0];
    }
    if (canAsk() && !headends.empty()) {
        std::vector<std::string> names;
        for (const Json& headend : headends) {
            names.push_back(fmt::format("{} ({}, {})", headendName(headend), stringOf(headend, "MsoName"),
                                        stringOf(headend, "MsoServiceType")));
        }
        return headends[choose("Which one is yours?", names)];
    }
    std::string ids;
    for (const Json& headend : headends) {
        ids += fmt::format("{}{} ({})", ids.empty() ? "" : ", ", stringOf(headend, "HeadendID"), headendName(headend));
    }
    throw ServiceProblem(fmt::format("several line-ups serve this place: {}", ids),
                         "choose one with --headend ID, or answer the questions with --answer NUMBER=NAME");
}

std::string chooseDevice(const EverydayArguments& arguments, const Json& headend)
{
    const Json& devices = headend["DeviceList"];
    std::vector<std::string> names;
    std::vector<std::string> types;
    for (const Json& device : devices) {
        names.push_back(stringOf(device, "DeviceName"));
        types.push_back(stringOf(device, "DeviceType"));
    }
    if (!arguments.device.empty()) {
        return types.empty() ? arguments.device : types[named("device", arguments.device, names, types)];
    }
    if (types.size() > 1 && canAsk()) {
        return types[choose("How do you receive it?", names)];
    }
    return types.empty() ? std::string() : types.front();
}

Report savedLineUp(OpenedService& service)
{
    const Json results = service.operations().call("ask for the saved line-up", "loadHeadend", Json::array());
    const Json& saved = results[0];
    const Json& devices = saved["DeviceList"];
    const std::string id = stringOf(saved, "HeadendID");
    const std::string device = devices.empty() ? std::string() : stringOf(devices[0], "DeviceType");
    Report report;
    report.json = {{"saved", saved}};
    Table table;
    table.columns = {{"Line-up"}, {"Device"}};
    if (!id.empty()) {
        table.rows.push_back({id, device});
    }
    report.sections.push_back({"", "", std::move(table),
                               "No line-up is saved yet. Find yours with \"corvane lineup\" on a terminal, or with "
                               "--postal-code CODE.",
                               ""});
    return report;
}

}  // namespace

Report findLineUp(OpenedService& service, const EverydayArguments& arguments, const OutputOptions& output)
{
    const bool hasPlace = !arguments.postalCode.empty() || !arguments.state.empty();
    if (arguments.show || (!hasPlace && !canAsk())) {
        return savedLineUp(service);
    }
    if (!arguments.state.empty() && arguments.city.empty() && !canAsk()) {
        throw ServiceProblem("the city is missing", "name it with --city CITY");
    }
    const Json headends = findHeadends(service, arguments);
    if (canAsk() && arguments.headend.empty() && headends.size() > 1) {
        std::fputs(layOut(headendTable(headends), {output.columns(), output.hasColours()}).c_str(), stderr);
    }
    const Json headend = chooseHeadend(service, arguments, headends);
    const std::string id = stringOf(headend, "HeadendID");
    const std::string device = chooseDevice(arguments, headend);
    service.lineUp().choose(id, device);
    const std::size_t channels = service.session().fetchChannels().size();
    if (channels == 0) {
        throw ServiceProblem(fmt::format("the line-up {} ({}) carries no channel of the guide, so it was not saved",
                                         headendName(headend), id),
                             "choose another one, or ask the operator of the service to correct its channels");
    }
    service.operations().call("save the line-up", "saveHeadend", Json::array());
    Report report;
    report.json = {{"headend", headend}, {"device", device}, {"channels", channels}};
    Table table;
    table.columns = {{}, {}, {}, {}};
    table.rows.push_back({id, device, headendName(headend), std::to_string(channels)});
    report.sections.push_back(
        {"", "", std::move(table), "",
         fmt::format("{} ({}) is saved as your line-up{}. It has {} channel{} of the guide. The commands use it unless "
                     "the setting \"headend\" names another one.",
                     headendName(headend), id, device.empty() ? "" : fmt::format(", received with device {}", device),
                     channels, channels == 1 ? "" : "s")});
    return report;
}

}  // namespace W::host
