// Handlers of recommend/... and concierge/... (Recommend.h).
#include <fmt/format.h>

#include "Arguments.h"
#include "EndpointHandlers.h"
#include "Recommend.h"
#include "ReplyParts.h"
#include "Viewer.h"

namespace corvaned {
namespace {

constexpr std::int64_t kChannels = 10;
constexpr std::int64_t kRelatedMost = 20;
constexpr std::int64_t kPersonalized = 10;

const char* nameOf(recommend::PickReason reason)
{
    switch (reason) {
        case recommend::PickReason::History:
            return "history";
        case recommend::PickReason::Popular:
            return "popular";
        case recommend::PickReason::OnNow:
            return "now";
    }
    return "";
}

Json channelOf(const guide::Channel& channel)
{
    return {{"source", std::to_string(channel.source)}, {"number", channel.number}, {"name", channel.name}};
}

Json channelGuide(EndpointCall& call, const std::vector<recommend::SlotPick>& picks)
{
    Json entries = Json::array();
    for (const recommend::SlotPick& pick : picks) {
        guide::airing(call.guide, pick.airing, call.arguments.string("lang"), [&](const guide::Programme& programme) {
            Json entry = channelOf(programme.channel);
            entry["rec_type"] = nameOf(pick.reason);
            entry["timeslot"] = std::to_string(pick.timeslot);
            entry["sequence"] = std::to_string(pick.sequence);
            addParts(entry, programme, {Part::Start, Part::Duration});
            addParts(entry["content"], programme,
                     {Part::Id, Part::Lang, Part::SeasonSeq, Part::EpisodeSeq, Part::Title, Part::Year, Part::Type,
                      Part::Rating, Part::Genres, Part::Poster});
            entries.push_back(std::move(entry));
        });
    }
    return {{"channel_guide", std::move(entries)}};
}

Json missedProgrammes(EndpointCall& call, recommend::Wish wish, recommend::MissedOrder order)
{
    Json entries = Json::array();
    for (const std::int64_t airing : recommend::missed(call.viewers, call.guide, call.user, call.now, wish, order)) {
        guide::airing(call.guide, airing, call.arguments.string("lang"), [&](const guide::Programme& programme) {
            Json entry = channelOf(programme.channel);
            addParts(entry, programme, {Part::Start, Part::Duration});
            addParts(entry["content"], programme,
                     {Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Year,
                      Part::Type, Part::Genres, Part::Poster});
            entries.push_back(std::move(entry));
        });
    }
    return entries;
}

recommend::MissedOrder missedOrder(const EndpointCall& call)
{
    constexpr struct {
        const char* name;
        recommend::MissedOrder order;
    } kOrders[] = {{"", recommend::MissedOrder::Time},
                   {"time", recommend::MissedOrder::Time},
                   {"title", recommend::MissedOrder::Title},
                   {"channel", recommend::MissedOrder::Channel}};
    const std::string& order = call.arguments.string("order");
    for (const auto& row : kOrders) {
        if (order == row.name) {
            return row.order;
        }
    }
    throw Refusal(ServiceCode::BadValue,
                  fmt::format("parameter 'order' is '{:.60}'; it must be 'time' or 'title' or 'channel'", order));
}

constexpr std::initializer_list<Part> kRelatedParts = {Part::Id,   Part::Lang,   Part::Title,  Part::Year,
                                                       Part::Type, Part::Rating, Part::Genres, Part::Poster};

}  // namespace

Json answerPopularChannels(EndpointCall& call)
{
    Json channels = Json::array();
    for (const std::int64_t source :
         recommend::popularChannels(call.viewers, call.guide, call.now, call.arguments.number("n", kChannels))) {
        Json entry;
        guide::findChannel(call.guide, source, [&](const guide::Channel& channel) { entry = channelOf(channel); });
        Json& content = entry["content"] = Json::object();
        guide::onAir(
            call.guide, source, call.now, call.arguments.string("lang"), [&](const guide::Programme& programme) {
                addParts(content, programme,
                         {Part::Id, Part::Lang, Part::Title, Part::Year, Part::Type, Part::Genres, Part::Poster});
            });
        channels.push_back(std::move(entry));
    }
    return {{"channel", std::move(channels)}};
}

Json answerSmartChannel(EndpointCall& call)
{
    return channelGuide(call, recommend::slotsOf(call.viewers, call.guide, call.user, call.settings.zone, call.now));
}

Json answerSmartPopular(EndpointCall& call)
{
    return channelGuide(call, recommend::slotsOfAll(call.viewers, call.guide, call.settings.zone, call.now));
}

Json answerMissed(EndpointCall& call)
{
    const recommend::MissedOrder order = missedOrder(call);
    return {{"channel", missedProgrammes(call, recommend::Wish::Followed, order)}};
}

Json answerCandidateMissed(EndpointCall& call)
{
    return {{"candidate_missed", missedProgrammes(call, recommend::Wish::Watched, recommend::MissedOrder::Time)}};
}

Json answerRelated(EndpointCall& call)
{
    const std::string& id = call.arguments.string("TTID");
    const std::string& lang = call.arguments.string("lang");
    const std::int64_t content = idOf(id).value_or(0);
    std::int64_t series = 0;
    Json episode = Json::object();
    if (!viewer::visitContent(call.viewers, call.guide, content, call.now, lang,
                              [&](const guide::Programme& programme) {
                                  series = programme.series;
                                  addParts(episode, programme, kRelatedParts);
                              })) {
        throw Refusal(ServiceCode::NotFound, fmt::format("the guide has no content '{:.60}'", id));
    }
    Json people = Json::array();
    guide::forEachCredit(call.guide, content, [&](const guide::Credit& credit) {
        people.push_back({{"id", std::to_string(credit.person)},
                          {"name", credit.name},
                          {"role", credit.role.empty() ? credit.job : credit.role}});
    });
    Json related = Json::array();
    for (const std::int64_t other : recommend::related(call.guide, content, series, call.now, kRelatedMost)) {
        guide::nextAiring(call.guide, other, call.now, lang, [&](const guide::Programme& programme) {
            addParts(related.emplace_back(), programme, kRelatedParts);
        });
    }
    return {{"ot_episode", {{"content", std::move(episode)}}},
            {"castncrew", std::move(people)},
            {"related", std::move(related)}};
}

Json answerCombination(EndpointCall& call)
{
    const std::string& lang = call.arguments.string("lang");
    Json television = Json::array();
    const recommend::PersonalChoice choice =
        recommend::personalChoice(call.viewers, call.guide, call.user, call.now, kPersonalized);
    for (const std::int64_t airing : choice.television) {
        guide::airing(call.guide, airing, lang, [&](const guide::Programme& programme) {
            Json& entry = television.emplace_back();
            entry["source"] = std::to_string(programme.channel.source);
            addParts(entry, programme,
                     {Part::Start, Part::Duration, Part::Id, Part::Title, Part::Rating, Part::Genres, Part::Poster});
        });
    }
    Json films = Json::array();
    for (const std::int64_t airing : choice.films) {
        guide::airing(call.guide, airing, lang, [&](const guide::Programme& programme) {
            addParts(films.emplace_back(), programme, {Part::Id, Part::Title, Part::Genres, Part::Poster});
        });
    }
    Json apps = Json::array();
    for (const recommend::App& app : recommend::apps(call.guide)) {
        Json images = Json::array();
        if (!app.imageUrl.empty()) {
            images.push_back(imageOf({app.imageUrl, app.imageWidth, app.imageHeight}, "thumbnail"));
        }
        apps.push_back({{"id", app.id},
                        {"title", app.title},
                        {"category", app.category},
                        {"thumbnail", {{"images", std::move(images)}}}});
    }
    return {
        {"concierge",
         {{"personalized", {{"tv", std::move(television)}, {"movie", std::move(films)}, {"apps", std::move(apps)}}}}}};
}

}  // namespace corvaned
