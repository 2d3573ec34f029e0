// Handlers of user/... and agreement/..., which keep what a viewer does (Viewer.h).
#include <fmt/format.h>

#include "Arguments.h"
#include "EndpointHandlers.h"
#include "ReplyParts.h"
#include "Viewer.h"

namespace corvaned {
namespace {

using viewer::Subject;

constexpr std::int64_t kMost = INT32_MAX;

template <typename Value>
struct Word {
    const char* name;
    Value value;
};

constexpr Word<Subject> kFavoriteSubjects[] = {{"channel", Subject::Channel}, {"content", Subject::Content}};
constexpr Word<viewer::Vote> kVotes[] = {
    {"like", viewer::Vote::Like}, {"dislike", viewer::Vote::Dislike}, {"none", viewer::Vote::None}};
constexpr Word<viewer::FavoriteOrder> kOrders[] = {{"time", viewer::FavoriteOrder::Time},
                                                   {"title", viewer::FavoriteOrder::Title},
                                                   {"name", viewer::FavoriteOrder::Title},
                                                   {"number", viewer::FavoriteOrder::Number}};
constexpr Word<bool> kSorts[] = {{"asc", false}, {"desc", true}};
constexpr Word<bool> kFlags[] = {{"yes", true}, {"no", false}};

// The parameters that may name the target of a vote. If a request has several, the first row counts.
constexpr Word<Subject> kVoteTargets[] = {{"contentid", Subject::Content},
                                          {"ttid", Subject::Content},
                                          {"personid", Subject::Person},
                                          {"sourceid", Subject::Channel},
                                          {"id", Subject::Content}};

template <typename Value, std::size_t Count>
Value wordOf(const EndpointCall& call, const char* parameter, const Word<Value> (&words)[Count])
{
    const std::string& given = call.arguments.string(parameter);
    if (given.empty()) {
        throw Refusal(ServiceCode::MissingValue, fmt::format("parameter '{}' is missing", parameter));
    }
    std::string known;
    for (const Word<Value>& word : words) {
        if (given == word.name) {
            return word.value;
        }
        known += fmt::format("{}'{}'", known.empty() ? "" : " or ", word.name);
    }
    throw Refusal(ServiceCode::BadValue,
                  fmt::format("parameter '{}' is '{:.60}'; it must be {}", parameter, given, known));
}

struct NamedTarget {
    Subject subject;
    const char* parameter;
    std::int64_t number;
};

NamedTarget voteTarget(const EndpointCall& call)
{
    for (const Word<Subject>& word : kVoteTargets) {
        if (!call.arguments.string(word.name).empty()) {
            return {word.value, word.name, call.arguments.number(word.name)};
        }
    }
    throw Refusal(ServiceCode::MissingValue, "parameter 'contentid' is missing; 'personid' or 'sourceid' do as well");
}

NamedTarget favoriteTarget(const EndpointCall& call)
{
    return {wordOf(call, "type", kFavoriteSubjects), "id", call.arguments.number("id")};
}

[[noreturn]] void refuseUnknown(const NamedTarget& target)
{
    throw Refusal(ServiceCode::NotFound, fmt::format("parameter '{}' is '{}'; the guide has no such {}",
                                                     target.parameter, target.number, nameOf(target.subject)));
}

Json favoriteChannel(EndpointCall& call, std::int64_t source)
{
    Json entry;
    guide::findChannel(call.guide, source, [&](const guide::Channel& channel) {
        entry = {{"source", std::to_string(channel.source)},
                 {"dtv", std::to_string(channel.source)},
                 {"number", channel.number},
                 {"name", channel.name}};
        addImage(entry, "station_img", channel.icon, "station");
    });
    return entry;
}

constexpr std::initializer_list<Part> kFavoriteParts = {
    Part::Id, Part::Lang, Part::Title, Part::EpisodeTitle, Part::EpisodeNumber, Part::Year, Part::Type, Part::Poster};

Json favoriteOf(EndpointCall& call, const NamedTarget& target)
{
    if (target.subject == Subject::Channel) {
        return favoriteChannel(call, target.number);
    }
    Json entry;
    const std::string& lang = call.arguments.string("lang");
    const auto describe = [&](const guide::Programme& programme) { addParts(entry, programme, kFavoriteParts); };
    guide::describeContents(call.guide, {target.number}, lang, describe);
    if (entry.empty()) {
        viewer::visitContent(call.viewers, call.guide, target.number, call.now, lang, describe);
    }
    return entry;
}

}  // namespace

Json answerSetFavorite(EndpointCall& call)
{
    const NamedTarget target = favoriteTarget(call);
    if (!viewer::addFavorite(call.viewers, call.guide, call.user, target.subject, target.number, call.now)) {
        refuseUnknown(target);
    }
    return Json::object();
}

// Deleting a favourite that does not exist succeeds, so that retries are harmless.
Json answerDeleteFavorite(EndpointCall& call)
{
    const NamedTarget target = favoriteTarget(call);
    viewer::removeFavorite(call.viewers, call.user, target.subject, target.number);
    return Json::object();
}

Json answerFavorite(EndpointCall& call)
{
    const NamedTarget target = favoriteTarget(call);
    Json entry;
    if (viewer::isFavorite(call.viewers, call.user, target.subject, target.number)) {
        entry = favoriteOf(call, target);
    }
    if (entry.empty()) {
        throw Refusal(ServiceCode::NotFound, fmt::format("parameter 'id' is '{}'; the user has no such favourite {}",
                                                         target.number, nameOf(target.subject)));
    }
    return {{nameOf(target.subject), std::move(entry)}};
}

void answerFavoriteList(EndpointCall& call, std::string& members)
{
    const Subject subject = wordOf(call, "type", kFavoriteSubjects);
    const auto order =
        call.arguments.string("order").empty() ? viewer::FavoriteOrder::Time : wordOf(call, "order", kOrders);
    const bool descending = !call.arguments.string("sort").empty() && wordOf(call, "sort", kSorts);
    const std::vector<viewer::Favorite> favorites =
        viewer::favorites(call.viewers, call.guide, call.user, subject, order, descending,
                          call.arguments.number("start"), call.arguments.number("num", kMost));
    members += fmt::format(",\"{}\":[", nameOf(subject));
    const auto append = [&members](const auto& appendEntry) {
        members.append(members.back() == '[' ? "" : ",");
        appendEntry();
    };
    if (subject == Subject::Channel) {
        for (const viewer::Favorite& favorite : favorites) {
            append([&] { members.append(serialize(favoriteChannel(call, favorite.target))); });
        }
    } else {
        // In the order of the favourites, those that the guide has dropped as they are remembered.
        auto next = favorites.begin();
        const auto appendRemembered = [&] {
            append([&] { appendParts(members, next->content.programme(), kFavoriteParts); });
            ++next;
        };
        std::vector<std::int64_t> targets;
        targets.reserve(favorites.size());
        for (const viewer::Favorite& favorite : favorites) {
            targets.push_back(favorite.target);
        }
        guide::describeContents(call.guide, targets, call.arguments.string("lang"),
                                [&](const guide::Programme& programme) {
                                    while (next->target != programme.content) {
                                        appendRemembered();
                                    }
                                    append([&] { appendParts(members, programme, kFavoriteParts); });
                                    ++next;
                                });
        while (next != favorites.end()) {
            appendRemembered();
        }
    }
    members += ']';
}

Json answerSendLike(EndpointCall& call)
{
    const NamedTarget target = voteTarget(call);
    const viewer::Vote vote = wordOf(call, "type", kVotes);
    if (!viewer::castVote(call.viewers, call.guide, call.user, target.subject, target.number, vote, call.now)) {
        refuseUnknown(target);
    }
    return Json::object();
}

Json answerLikes(EndpointCall& call)
{
    const NamedTarget target = voteTarget(call);
    const viewer::VoteCount count = viewer::countVotes(call.viewers, call.user, target.subject, target.number);
    return {{"content",
             {{"count",
               {{"like", std::to_string(count.likes)},
                {"dislike", std::to_string(count.dislikes)},
                {"like_owned", count.own == viewer::Vote::Like ? "yes" : "no"},
                {"dis_owned", count.own == viewer::Vote::Dislike ? "yes" : "no"}}}}}};
}

Json answerTuneHistory(EndpointCall& call)
{
    const NamedTarget target{Subject::Channel, "sourceid", call.arguments.number("sourceid")};
    const std::int64_t seq =
        viewer::addTuning(call.viewers, call.guide, call.user, target.number, call.arguments.number("ttid"), call.now);
    if (seq == 0) {
        refuseUnknown(target);
    }
    return {{"seq", std::to_string(seq)}};
}

Json answerCheckAgreement(EndpointCall& call)
{
    const viewer::Agreement agreement = viewer::agreementOf(call.viewers, call.user);
    return {{"reg_info",
             {{"status", agreement.status},
              {"confirmed", agreement.status == viewer::kAgreed ? "yes" : "no"},
              {"anonymous", agreement.anonymous ? "yes" : "no"}}}};
}

Json answerConfirmAgreement(EndpointCall& call)
{
    viewer::setAgreement(call.viewers, call.user, viewer::kAgreed);
    return Json::object();
}

Json answerRevokeAgreement(EndpointCall& call)
{
    viewer::setAgreement(call.viewers, call.user, viewer::kRevoked);
    return Json::object();
}

Json answerAnonymousAgreement(EndpointCall& call)
{
    viewer::setAnonymous(call.viewers, call.user, wordOf(call, "flag", kFlags));
    return Json::object();
}

}  // namespace corvaned
