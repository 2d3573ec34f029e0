// Handlers of channel/headend..., channel/lineup_test and user/..._headend (Lineup.h).
#include <fmt/format.h>

#include "Arguments.h"
#include "EndpointHandlers.h"
#include "Lineup.h"
#include "Viewer.h"

namespace corvaned {
namespace {

Json headendsJson(const std::vector<lineup::Headend>& headends)
{
    Json list = Json::array();
    for (const lineup::Headend& headend : headends) {
        Json devices = Json::array();
        for (const lineup::Device& device : headend.devices) {
            devices.push_back({{"type", device.type}, {"name", device.name}});
        }
        list.push_back({{"id", headend.operatorId},
                        {"name", headend.operatorName},
                        {"service_type", headend.serviceType},
                        {"satellite_enum", headend.satellite},
                        {"rf_device_type", headend.devices.empty() ? "" : headend.devices.front().type},
                        {"mbr_name", headend.name},
                        {"headend", {{"id", headend.id}, {"dtv", headend.id}, {"city", headend.city}}},
                        {"device", std::move(devices)}});
    }
    return {{"mso", std::move(list)}};
}

Json headendsByCode(EndpointCall& call)
{
    const std::string& code = call.arguments.string("code");
    if (code.empty()) {
        throw Refusal(ServiceCode::MissingValue, "parameter 'code' is missing; type=headend asks by a place's code");
    }
    return headendsJson(lineup::headendsAt(call.guide, code));
}

[[noreturn]] void refuseType(const EndpointCall& call, const char* lists)
{
    throw Refusal(ServiceCode::BadValue, fmt::format("parameter 'type' is '{:.60}'; it must be '{}' or 'headend'",
                                                     call.arguments.string("type"), lists));
}

}  // namespace

Json answerHeadend(EndpointCall& call)
{
    return headendsJson(lineup::headendsAtPostalCode(call.guide, call.arguments.string("zipcode")));
}

Json answerHeadendKor(EndpointCall& call)
{
    if (call.arguments.string("type") == "headend") {
        return headendsByCode(call);
    }
    if (call.arguments.string("type") != "city") {
        refuseType(call, "city");
    }
    Json states = Json::array();
    for (const lineup::Place& state : lineup::states(call.guide)) {
        Json cities = Json::array();
        for (const lineup::Place& city : lineup::citiesOf(call.guide, state.code)) {
            cities.push_back({{"code", city.code}, {"name", city.name}});
        }
        states.push_back({{"name", state.name}, {"city", std::move(cities)}});
    }
    return {{"state", std::move(states)}};
}

Json answerHeadendBrowse(EndpointCall& call)
{
    if (call.arguments.string("type") == "headend") {
        return headendsByCode(call);
    }
    if (call.arguments.string("type") != "list") {
        refuseType(call, "list");
    }
    Json places = Json::array();
    for (const lineup::Place& state : lineup::states(call.guide)) {
        places.push_back({{"code", state.code}, {"name", state.name}});
    }
    return {{"geo_level_1", std::move(places)}};
}

Json answerLineupTest(EndpointCall& call)
{
    const std::string& headend = call.arguments.string("headend");
    if (!headend.empty() && !lineup::isHeadend(call.guide, headend)) {
        throw Refusal(ServiceCode::NotFound, fmt::format("there is no headend '{:.60}'", headend));
    }
    Json questions = Json::array();
    for (const lineup::Question& question : lineup::quiz(call.guide, headend)) {
        Json answers = Json::array();
        for (const lineup::Answer& answer : question.answers) {
            const std::vector<lineup::Device>& devices = answer.headend.devices;
            answers.push_back({{"name", answer.channel.empty() ? "None" : answer.channel},
                               {"headend",
                                {{"id", answer.headend.id},
                                 {"dtv", answer.headend.id},
                                 {"city", answer.headend.city},
                                 {"device", devices.empty() ? "" : devices.front().type}}}});
        }
        const std::size_t dash = question.number.find_first_of("-.");
        questions.push_back({{"number", question.number},
                             {"major", question.number.substr(0, dash)},
                             {"minor", dash == std::string::npos ? "" : question.number.substr(dash + 1)},
                             {"ptc", ""},
                             {"answer", std::move(answers)}});
    }
    return {{"quiz", std::move(questions)}};
}

Json answerSaveHeadend(EndpointCall& call)
{
    const viewer::HeadendChoice choice{call.arguments.string("headend"), call.arguments.string("device")};
    checkStored("device", choice.device);
    if (!lineup::isHeadend(call.guide, choice.headend)) {
        throw Refusal(ServiceCode::NotFound, fmt::format("there is no headend '{:.60}'", choice.headend));
    }
    viewer::saveHeadend(call.viewers, call.user, choice);
    return Json::object();
}

// A user without a saved headend gets empty strings, which clients read as "not chosen yet".
Json answerLoadHeadend(EndpointCall& call)
{
    const viewer::HeadendChoice choice = viewer::loadHeadend(call.viewers, call.user).value_or(viewer::HeadendChoice{});
    return {{"headend", {{"id", choice.headend}}}, {"device", {{"type", choice.device}}}};
}

}  // namespace corvaned
