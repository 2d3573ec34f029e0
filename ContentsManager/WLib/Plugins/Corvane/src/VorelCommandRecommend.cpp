// Commands of the recommendations: for the viewer, missed and related programmes, and the concierge.

#include "VorelCommand.h"

#include "Lists.h"
#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

constexpr Field<WVLChannel> kSource[] = {{"source", &WVLChannel::setSource}};

constexpr Field<WVLContent> kRecommendType[] = {{"rec_type", &WVLContent::setRecommendType}};

constexpr Field<WVLChannel> kNumberAndName[] = {
    {"number", &WVLChannel::setNumber},
    {"name", &WVLChannel::setName},
};

constexpr Field<WVLChannel> kSourceAndNumber[] = {
    {"source", &WVLChannel::setSource},
    {"number", &WVLChannel::setNumber},
};

constexpr Field<WVLContent> kSmartItem[] = {
    {"timeslot", &WVLContent::setTimeslot},
    {"sequence", &WVLContent::setSequence},
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
};

constexpr Field<WVLContent> kSmartContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"season_seq", &WVLContent::setSeasonNum},
    {"episode_seq", &WVLContent::setEpisodeNum},
    {"title", &WVLContent::setTitle},
    {"year", &WVLContent::setYear},
    {"type", &WVLContent::setType},
    {"missed", &WVLContent::setMissedCH},
    {"cert_flag", &WVLContent::setCerti_flag},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kMissedItem[] = {
    {"starttime", &WVLContent::setStartTime},
    {"duration", &WVLContent::setDuration},
};

constexpr Field<WVLContent> kMissedContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"ep_title", &WVLContent::setEpisodeTitle},
    {"ep_number", &WVLContent::setEpisodeNum},
    {"year", &WVLContent::setYear},
    {"type", &WVLContent::setType},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kPopularContent[] = {
    {"id", &WVLContent::setID},         {"lang", &WVLContent::setLang}, {"title", &WVLContent::setTitle},
    {"year", &WVLContent::setYear},     {"type", &WVLContent::setType}, {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kRelatedEpisode[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"year", &WVLContent::setYear},
    {"type", &WVLContent::setType},
    {"cert_flag", &WVLContent::setCerti_flag},
    {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster},
    {"rating", &WVLContent::setRating},
    {"vod", &WVLContent::setVod},
};

constexpr Field<WVLPerson> kCastAndCrew[] = {
    {"id", &WVLPerson::setID},
    {"name", &WVLPerson::setName},
    {"role", &WVLPerson::setRole},
};

/// Has no certification flag, unlike the episode itself.
constexpr Field<WVLContent> kRelatedContent[] = {
    {"id", &WVLContent::setID},         {"lang", &WVLContent::setLang},     {"title", &WVLContent::setTitle},
    {"year", &WVLContent::setYear},     {"type", &WVLContent::setType},     {"genres", &WVLContent::setGenrelist},
    {"poster", &WVLContent::setPoster}, {"rating", &WVLContent::setRating}, {"vod", &WVLContent::setVod},
};

constexpr Field<WVLCombination> kCombinationTv[] = {
    {"source", &WVLCombination::setSource},     {"starttime", &WVLCombination::setStartTime},
    {"duration", &WVLCombination::setDuration}, {"id", &WVLCombination::setID},
    {"title", &WVLCombination::setTitle},       {"cert_flag", &WVLCombination::setCerti_flag},
    {"genres", &WVLCombination::setGenrelist},  {"poster", &WVLCombination::setImages},
};

constexpr Field<WVLCombination> kCombinationMovie[] = {
    {"id", &WVLCombination::setID},
    {"title", &WVLCombination::setTitle},
    {"genres", &WVLCombination::setGenrelist},
    {"poster", &WVLCombination::setImages},
};

constexpr Field<WVLCombination> kCombinationApp[] = {
    {"id", &WVLCombination::setID},
    {"title", &WVLCombination::setTitle},
    {"category", &WVLCombination::setCategory},
};

enum CombinationType : unsigned {
    kTvProgramme = 1,
    kMovie = 2,
    kApplication = 3,
};

/// Smart channel and smart popular; only the former delivers the reason for the recommendation.
void readSmart(const Json::Value& element, bool readsType, const WDateTime& clock, std::list<WVLContent>& list)
{
    const ReadingRules rules{&clock, ImageTest::UrlNonEmpty, kImageWithoutSize};
    WVLContent& content = list.emplace_back();
    WVLChannel channel;
    readFields<WVLChannel>(element, kSource, channel);
    if (readsType) {
        readFields<WVLContent>(element, kRecommendType, content);
    }
    readFields<WVLChannel>(element, kNumberAndName, channel);
    content.setChannel(std::move(channel));
    readFields<WVLContent>(element, kSmartItem, content, rules);
    readFields<WVLContent>(member(element, "content"), kSmartContent, content, rules);
}

/// Missed and candidate missed.
void readMissed(const Json::Value& element, const WDateTime& clock, std::list<WVLContent>& list)
{
    const ReadingRules rules{&clock, ImageTest::HasMembers, kImageWithoutSize};
    WVLContent& content = list.emplace_back();
    WVLChannel channel;
    readFields<WVLChannel>(element, kSourceAndNumber, channel);
    content.setChannel(std::move(channel));
    readFields<WVLContent>(element, kMissedItem, content, rules);
    readFields<WVLContent>(member(element, "content"), kMissedContent, content, rules);
}

/// The four settings at the beginning of a query for recommendations.
constexpr Options kViewer = Country | Language | Headend | Device;

}  // namespace

VorelGetSmartChannelCMD::VorelGetSmartChannelCMD(Callback done, void* userData, WVorelOAI* service,
                                                 const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetSmartChannelCMD::~VorelGetSmartChannelCMD() = default;

void VorelGetSmartChannelCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    urlQuery("recommend/smart_channel", options).countryIfSet().languageIfSet().headend().deviceOrN();
}

int VorelGetSmartChannelCMD::ParseGetSmartChannel(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                                  UINT64 reference)
{
    return readListReply(
        body, "channel_guide",
        {"VorelGetSmartChannelCMD::ParseGetSmartChannel", "Smart Channel Data size is zero.", status::kEmptyList},
        {*this, reference}, out,
        [&clock](const Json::Value& element, std::list<WVLContent>& list) { readSmart(element, true, clock, list); });
}

VorelGetSmartPopularCMD::VorelGetSmartPopularCMD(Callback done, void* userData, WVorelOAI* service,
                                                 const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetSmartPopularCMD::~VorelGetSmartPopularCMD() = default;

void VorelGetSmartPopularCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    urlQuery("recommend/smart_popular", options).countryIfSet().languageIfSet().headend().deviceOrN();
}

int VorelGetSmartPopularCMD::ParseGetSmartPopular(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                                  UINT64 reference)
{
    return readListReply(
        body, "channel_guide",
        {"VorelGetSmartPopularCMD::ParseGetSmartPopular", "Smart Populer Data size is zero.", status::kEmptyList},
        {*this, reference}, out,
        [&clock](const Json::Value& element, std::list<WVLContent>& list) { readSmart(element, false, clock, list); });
}

VorelGetPopularChCMD::VorelGetPopularChCMD(Callback done, void* userData, WVorelOAI* service,
                                           const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetPopularChCMD::~VorelGetPopularChCMD() = default;

void VorelGetPopularChCMD::MakeURL(int imageSize, int count, const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    urlQuery("recommend/popularch", options)
        .countryIfSet()
        .languageIfSet()
        .headend()
        .deviceOrN()
        .numberIfSet("&imagesize=", imageSize)
        .numberIfSet("&n=", count);
}

int VorelGetPopularChCMD::ParseGetPopularCh(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                            UINT64 reference)
{
    const ReadingRules rules{&clock, ImageTest::UrlNonEmpty};
    // Quirk: only here the status after an exception is -16.
    ListRules listRules{"VorelGetPopularChCMD::ParseGetPopularCh"};
    listRules.statusOfException = status::kWrongProvider;
    return readListReply(body, "channel", listRules, {*this, reference}, out,
                         [&rules](const Json::Value& element, std::list<WVLContent>& list) {
                             WVLContent& content = list.emplace_back();
                             WVLChannel channel;
                             readFields<WVLChannel>(element, kSourceAndNumber, channel);
                             content.setChannel(std::move(channel));
                             readFields<WVLContent>(member(element, "content"), kPopularContent, content, rules);
                         });
}

VorelGetRelatedCMD::VorelGetRelatedCMD(Callback done, void* userData, WVorelOAI* service,
                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetRelatedCMD::~VorelGetRelatedCMD() = default;

void VorelGetRelatedCMD::MakeURL(const std::string& ttid, int imageSize, const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    // Quirk: "TTID" in capitals, unlike the "ttid" of the tuning history.
    urlQuery("recommend/related", options)
        .countryIfSet()
        .languageIfSet()
        .headend()
        .deviceOrN()
        .text("&TTID=", ttid)
        .numberIfSet("&imagesize=", imageSize);
}

int VorelGetRelatedCMD::ParseGetRelated(const std::string& body, WContainer<WVLContent>& episode,
                                        WContainer<WVLPerson>& castAndCrew, WContainer<WVLContent>& related)
{
    return readReplyOrUndo(
        body,
        [&](const Json::Value& rsp) {
            std::list<WVLContent> one(1);
            readFields<WVLContent>(member(member(rsp, "ot_episode"), "content"), kRelatedEpisode, one.front());
            handOver(std::move(one), episode);
            handOver(readElements<WVLPerson>(member(rsp, "castncrew"), kCastAndCrew), castAndCrew);
            handOver(readElements<WVLContent>(member(rsp, "related"), kRelatedContent), related);
            return status::kOk;
        },
        [&] {
            episode.clear();
            castAndCrew.clear();
            related.clear();
        });
}

VorelGetMissedCMD::VorelGetMissedCMD(Callback done, void* userData, WVorelOAI* service,
                                     const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetMissedCMD::~VorelGetMissedCMD() = default;

void VorelGetMissedCMD::MakeURL(const std::string& order, const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    urlQuery("recommend/missed", options).countryIfSet().languageIfSet().headend().deviceOrN().text("&order=", order);
}

int VorelGetMissedCMD::ParseGetMissed(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                      UINT64 reference)
{
    return readListReply(
        body, "channel", {"VorelGetMissedCMD::ParseGetMissed"}, {*this, reference}, out,
        [&clock](const Json::Value& element, std::list<WVLContent>& list) { readMissed(element, clock, list); });
}

VorelGetCandidateMissedCMD::VorelGetCandidateMissedCMD(Callback done, void* userData, WVorelOAI* service,
                                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetCandidateMissedCMD::~VorelGetCandidateMissedCMD() = default;

void VorelGetCandidateMissedCMD::MakeURL(const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    urlQuery("recommend/candidate_missed", options).countryIfSet().languageIfSet().headend().deviceOrN();
}

int VorelGetCandidateMissedCMD::ParseGetCandidateMissed(const std::string& body, WContainer<WVLContent>& out,
                                                        WDateTime clock, UINT64 reference)
{
    return readListReply(
        body, "candidate_missed", {"VorelGetCandidateMissedCMD::ParseGetCandidateMissed"}, {*this, reference}, out,
        [&clock](const Json::Value& element, std::list<WVLContent>& list) { readMissed(element, clock, list); });
}

VorelGetCombinationCMD::VorelGetCombinationCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetCombinationCMD::~VorelGetCombinationCMD() = default;

void VorelGetCombinationCMD::MakeURL(const std::string& modelFirmwareCode, const WContentProvider& provider)
{
    const ProviderOptions options(provider, kViewer);
    // Quirk: the path has no common prefix, and there is no "&device=N".
    urlQuery("/openapi/service/concierge/combination", options)
        .country()
        .languageIfSet()
        .headendIfSet()
        .deviceIfSet()
        .text("&modelfirmcode=", modelFirmwareCode);
}

int VorelGetCombinationCMD::ParseCombination(const std::string& body, WDateTime clock, WVLConcierge& out)
{
    const ReadingRules rules{&clock, ImageTest::Always, kImageWithoutSize};
    const auto append = [&rules](const Json::Value& array, CombinationType type, Fields<WVLCombination> fields,
                                 std::list<WVLCombination>& list) {
        for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
            WVLCombination& entry = list.emplace_back();
            entry.setType(type);
            readFields(array[index], fields, entry, rules);
            if (type == kApplication) {
                entry.setImages(
                    readElements<WVLImage>(member(member(array[index], "thumbnail"), "images"), kImageWithoutIndex));
            }
        }
    };
    // Quirk: the suggestions are cleared before the exception is printed.
    ReplyRules replyRules;
    replyRules.onException = OnException::UndoThenPrint;
    return readReplyOrUndo(
        body,
        [&](const Json::Value& rsp) {
            const Json::Value& personalized = member(member(rsp, "concierge"), "personalized");
            std::list<WVLCombination> list;
            append(member(personalized, "tv"), kTvProgramme, kCombinationTv, list);
            append(member(personalized, "movie"), kMovie, kCombinationMovie, list);
            append(member(personalized, "apps"), kApplication, kCombinationApp, list);
            out.setPersonalized(std::move(list));
            return status::kOk;
        },
        [&out] { out.Reset(); }, replyRules);
}

}  // namespace W
