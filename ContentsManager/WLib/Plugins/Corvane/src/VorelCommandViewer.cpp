// Commands of the viewer: favourites, tuning history, likes.

#include "VorelCommand.h"

#include "Lists.h"
#include "ProviderOptions.h"
#include "Reply.h"
#include "RequestQuery.h"

namespace W {

using namespace vorel;

namespace {

/// Quirk: reads name before dtv, unlike the lists.
constexpr Field<WVLChannel> kFavoriteChannel[] = {
    {"source", &WVLChannel::setSource},
    {"name", &WVLChannel::setName},
    {"dtv", &WVLChannel::setDTV},
    {"number", &WVLChannel::setNumber},
    {"station_img", &WVLChannel::setStationImage},
};

constexpr Field<WVLChannel> kFavoriteListChannel[] = {
    {"source", &WVLChannel::setSource},
    {"dtv", &WVLChannel::setDTV},
    {"number", &WVLChannel::setNumber},
    {"name", &WVLChannel::setName},
    {"station_img", &WVLChannel::setStationImage},
};

constexpr Field<WVLContent> kFavoriteContent[] = {
    {"id", &WVLContent::setID},
    {"lang", &WVLContent::setLang},
    {"title", &WVLContent::setTitle},
    {"ep_title", &WVLContent::setEpisodeTitle},
    {"ep_number", &WVLContent::setEpisodeNum},
    {"type", &WVLContent::setType},
    {"poster", &WVLContent::setPoster},
};

constexpr Field<WVLContent> kFavoriteListContent[] = {
    {"id", &WVLContent::setID},     {"lang", &WVLContent::setLang}, {"title", &WVLContent::setTitle},
    {"year", &WVLContent::setYear}, {"type", &WVLContent::setType}, {"poster", &WVLContent::setPoster},
};

/// One favourite channel or programme. Quirk: only here an image size of 0 is written.
void writeFavorite(RequestQuery&& query, const std::string& type, const std::string& id, int imageSize)
{
    query.countryIfSet().text("&type=", type).text("&id=", id).number("&imagesize=", imageSize);
}

/// The favourite channels or programmes.
void writeFavoriteList(RequestQuery&& query, const std::string& type, int imageSize, const std::string& order,
                       const std::string& sort, int start, int num)
{
    query.countryIfSet()
        .numberIfSet("&imagesize=", imageSize)
        .text("&type=", type)
        .stringIfSet("&order=", order)
        .stringIfSet("&sort=", sort)
        .numberIfSet("&start=", start)
        .numberIfSet("&num=", num);
}

bool isYes(const Json::Value& value)
{
    return toString(value) == "yes";
}

}  // namespace

VorelSetFavoriteCMD::VorelSetFavoriteCMD(Callback done, void* userData, WVorelOAI* service,
                                         const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSetFavoriteCMD::~VorelSetFavoriteCMD() = default;

void VorelSetFavoriteCMD::MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    bodyQuery("user/favorite", options).countryIfSet().headend().deviceOrN().text("&type=", type).text("&id=", id);
}

int VorelSetFavoriteCMD::ParseSetFavorite(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelDeleteFavoriteCMD::VorelDeleteFavoriteCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelDeleteFavoriteCMD::~VorelDeleteFavoriteCMD() = default;

void VorelDeleteFavoriteCMD::MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    urlQuery("user/favorite", options).countryIfSet().headend().deviceOrN().text("&type=", type).text("&id=", id);
}

int VorelDeleteFavoriteCMD::ParseDeleteFavorite(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelGetFavoriteChannelCMD::VorelGetFavoriteChannelCMD(Callback done, void* userData, WVorelOAI* service,
                                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetFavoriteChannelCMD::~VorelGetFavoriteChannelCMD() = default;

void VorelGetFavoriteChannelCMD::MakeURL(const std::string& type, const std::string& id, int imageSize,
                                         const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    writeFavorite(urlQuery("user/favorite", options), type, id, imageSize);
}

int VorelGetFavoriteChannelCMD::ParseFavoriteChannel(const std::string& body, WVLChannel& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLChannel>(member(rsp, "channel"), kFavoriteChannel, out);
        return status::kOk;
    });
}

VorelGetFavoriteContentCMD::VorelGetFavoriteContentCMD(Callback done, void* userData, WVorelOAI* service,
                                                       const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetFavoriteContentCMD::~VorelGetFavoriteContentCMD() = default;

void VorelGetFavoriteContentCMD::MakeURL(const std::string& type, const std::string& id, int imageSize,
                                         const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    writeFavorite(urlQuery("user/favorite", options), type, id, imageSize);
}

int VorelGetFavoriteContentCMD::ParseFavoriteContent(const std::string& body, WVLContent& out)
{
    return readReply(body, [&](const Json::Value& rsp) {
        readFields<WVLContent>(member(rsp, "content"), kFavoriteContent, out);
        return status::kOk;
    });
}

VorelGetFavoriteChannelListCMD::VorelGetFavoriteChannelListCMD(Callback done, void* userData, WVorelOAI* service,
                                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetFavoriteChannelListCMD::~VorelGetFavoriteChannelListCMD() = default;

void VorelGetFavoriteChannelListCMD::MakeURL(const std::string& type, int imageSize, const std::string& order,
                                             const std::string& sort, int start, int num,
                                             const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    writeFavoriteList(urlQuery("user/favorite/list", options), type, imageSize, order, sort, start, num);
}

int VorelGetFavoriteChannelListCMD::ParseFavoriteChannelList(const std::string& body, WContainer<WVLChannel>& out,
                                                             UINT64 reference)
{
    // Quirk: reads no "index", unlike the channel list.
    ReadingRules rules;
    rules.imageFields = kImageWithoutIndex;
    return readListReply(body, "channel", {"VorelGetFavoriteChannelListCMD::ParseFavoriteChannelList"},
                         {*this, reference}, out, [&rules](const Json::Value& element, std::list<WVLChannel>& list) {
                             readFields<WVLChannel>(element, kFavoriteListChannel, list.emplace_back(), rules);
                         });
}

VorelGetFavoriteContentListCMD::VorelGetFavoriteContentListCMD(Callback done, void* userData, WVorelOAI* service,
                                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetFavoriteContentListCMD::~VorelGetFavoriteContentListCMD() = default;

void VorelGetFavoriteContentListCMD::MakeURL(const std::string& type, int imageSize, const std::string& order,
                                             const std::string& sort, int start, int num,
                                             const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    writeFavoriteList(urlQuery("user/favorite/list", options), type, imageSize, order, sort, start, num);
}

int VorelGetFavoriteContentListCMD::ParseFavoriteContentList(const std::string& body, WContainer<WVLContent>& out,
                                                             UINT64 reference)
{
    return readListReply(body, "content", {"VorelGetFavoriteContentListCMD::ParseFavoriteContentList"},
                         {*this, reference}, out, [](const Json::Value& element, std::list<WVLContent>& list) {
                             readFields<WVLContent>(element, kFavoriteListContent, list.emplace_back());
                         });
}

VorelSendTuneHistoryCMD::VorelSendTuneHistoryCMD(Callback done, void* userData, WVorelOAI* service,
                                                 const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSendTuneHistoryCMD::~VorelSendTuneHistoryCMD() = default;

void VorelSendTuneHistoryCMD::MakeURL(const std::string& ttid, const std::string& source,
                                      const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country | Headend | Device);
    bodyQuery("user/tune_history", options)
        .countryIfSet()
        .headend()
        .deviceOrN()
        .text("&ttid=", ttid)
        .text("&sourceid=", source);
}

int VorelSendTuneHistoryCMD::ParseSendTuneHistory(const std::string& body, int& sequence)
{
    return readReply(body, [&](const Json::Value& rsp) {
        sequence = toInt(member(rsp, "seq"));
        return status::kOk;
    });
}

VorelSendLikeCMD::VorelSendLikeCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelSendLikeCMD::~VorelSendLikeCMD() = default;

void VorelSendLikeCMD::MakeURL(const std::string& key, const std::string& value, const std::string& type,
                               const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    bodyQuery("user/like", options).countryIfSet().text("&", key).text("=", value).text("&type=", type);
    SetType(type);
}

const std::string& VorelSendLikeCMD::GetType() const
{
    return m_type;
}

void VorelSendLikeCMD::SetType(const std::string& type)
{
    m_type = type;
}

int VorelSendLikeCMD::ParseSendLike(const std::string& body)
{
    return readAcknowledgement(body);
}

VorelGetLikeHistoryCMD::VorelGetLikeHistoryCMD(Callback done, void* userData, WVorelOAI* service,
                                               const WContentProvider& provider)
    : VorelRequestCMD(done, userData, service, provider)
{}

VorelGetLikeHistoryCMD::~VorelGetLikeHistoryCMD() = default;

void VorelGetLikeHistoryCMD::MakeURL(const std::string& key, const std::string& value, const WContentProvider& provider)
{
    const ProviderOptions options(provider, Country);
    urlQuery("user/like", options).countryIfSet().text("&", key).text("=", value);
}

int VorelGetLikeHistoryCMD::ParseGetLikeHistory(const std::string& body, int& like, int& dislike, bool& likeOwned,
                                                bool& dislikeOwned)
{
    return readReply(body, [&](const Json::Value& rsp) {
        const Json::Value& count = member(member(rsp, "content"), "count");
        like = toInt(member(count, "like"));
        dislike = toInt(member(count, "dislike"));
        likeOwned = isYes(member(count, "like_owned"));
        dislikeOwned = isYes(member(count, "dis_owned"));
        return status::kOk;
    });
}

}  // namespace W
