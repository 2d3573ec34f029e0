// The parameters, then the endpoints. If two rows fit a path, the upper one counts.
#include "EndpointTable.h"

#include <fmt/format.h>

#include "JsonTree.h"

namespace corvaned {
namespace {

// Sessions and configuration
constexpr ParameterRule kSeedkeyParameters[] = {
    {"DUID", Place::Header, Kind::Text, Presence::Required},
};
constexpr ParameterRule kUploadParameters[] = {
    {"filename", Place::Query, Kind::Text, Presence::Required},
};
constexpr ParameterRule kResetParameters[] = {
    {"timestamp", Place::Query, Kind::Time, Presence::Optional},
};

// Guide
constexpr ParameterRule kGalleryParameters[] = {
    {"checksum", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kScheduleParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::List, Presence::Required},
    {"starttime", Place::Query, Kind::Time, Presence::Optional},
    {"imagesize", Place::Query, Kind::Numbers, Presence::Optional},
    {"interval", Place::Query, Kind::Number, Presence::Required, 1, 744},
};
constexpr ParameterRule kOnAirParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::List, Presence::Optional},
    {"imagesize", Place::Query, Kind::Numbers, Presence::Optional},
};
constexpr ParameterRule kFocusChannelParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::Text, Presence::Required},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
    {"num", Place::Query, Kind::Number, Presence::Optional, 1, 1000},
};
constexpr ParameterRule kTodayParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kTodayFileParameters[] = {
    {"file", Place::Path, Kind::Text, Presence::Required},
};
constexpr ParameterRule kGuideParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"channel", Place::Query, Kind::List, Presence::Optional},
    {"chnum", Place::Query, Kind::Text, Presence::Optional},
    {"interval", Place::Query, Kind::Number, Presence::Required, 1, 744},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
    {"start", Place::Query, Kind::Number, Presence::Optional},
    {"num", Place::Query, Kind::Number, Presence::Optional, 1},
    {"timestamp", Place::Query, Kind::Time, Presence::Optional},
};
constexpr ParameterRule kContentListParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"genre", Place::Query, Kind::Numbers, Presence::Optional},
    {"timestamp", Place::Query, Kind::Time, Presence::Optional},
    {"start", Place::Query, Kind::Number, Presence::Optional},
    {"num", Place::Query, Kind::Number, Presence::Optional, 1, 1000},
};
constexpr ParameterRule kContentParameters[] = {
    {"id", Place::Path, Kind::Text, Presence::Required},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::Text, Presence::Optional},
    {"starttime", Place::Query, Kind::Time, Presence::Optional},
};
constexpr ParameterRule kSeriesParameters[] = {
    {"id", Place::Path, Kind::Text, Presence::Required},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"sourceid", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kPersonParameters[] = {
    {"id", Place::Path, Kind::Text, Presence::Required},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kSearchParameters[] = {
    {"q", Place::Query, Kind::Text, Presence::Required},
    {"exact", Place::Query, Kind::Text, Presence::Optional},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"start", Place::Query, Kind::Number, Presence::Optional},
    {"num", Place::Query, Kind::Number, Presence::Optional, 1, 200},
};
constexpr ParameterRule kGenreParameters[] = {
    {"checksum", Place::Query, Kind::Text, Presence::Optional},
};

// Viewer
constexpr ParameterRule kFavoriteParameters[] = {
    {"type", Place::Query, Kind::Text, Presence::Required},
    {"id", Place::Query, Kind::Number, Presence::Required, 0, INT64_MAX},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kFavoriteListParameters[] = {
    {"type", Place::Query, Kind::Text, Presence::Required},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
    {"order", Place::Query, Kind::Text, Presence::Optional},
    {"sort", Place::Query, Kind::Text, Presence::Optional},
    {"start", Place::Query, Kind::Number, Presence::Optional},
    {"num", Place::Query, Kind::Number, Presence::Optional},
    {"lang", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kLikeParameters[] = {
    {"contentid", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"ttid", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"personid", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"sourceid", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"id", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"type", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kTuneParameters[] = {
    {"ttid", Place::Query, Kind::Number, Presence::Optional, 0, INT64_MAX},
    {"sourceid", Place::Query, Kind::Number, Presence::Required, 0, INT64_MAX},
};
constexpr ParameterRule kAnonymousParameters[] = {
    {"flag", Place::Query, Kind::Text, Presence::Required},
};

// Line-up
constexpr ParameterRule kHeadendParameters[] = {
    {"zipcode", Place::Query, Kind::Text, Presence::Required},
};
constexpr ParameterRule kPlaceParameters[] = {
    {"type", Place::Query, Kind::Text, Presence::Required},
    {"code", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kLineupTestParameters[] = {
    {"headend", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kSaveHeadendParameters[] = {
    {"headend", Place::Query, Kind::Text, Presence::Required},
    {"device", Place::Query, Kind::Text, Presence::Optional},
};

// Recommendations
constexpr ParameterRule kRecommendParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kPopularParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
    {"n", Place::Query, Kind::Number, Presence::Optional, 1},
};
constexpr ParameterRule kMissedParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"order", Place::Query, Kind::Text, Presence::Optional},
};
constexpr ParameterRule kRelatedParameters[] = {
    {"lang", Place::Query, Kind::Text, Presence::Optional},
    {"TTID", Place::Query, Kind::Text, Presence::Required},
    {"imagesize", Place::Query, Kind::Number, Presence::Optional},
};

constexpr Endpoint kEndpoints[] = {
    // Sessions and configuration
    {"GET", "/openapi/service/vorel/auth/seedkey", Access::AppKey, kSeedkeyParameters, answerSeedkey},
    {"GET", "/openapi/service/vorel/conf/localtime", Access::Open, {}, answerLocaltime},
    {"GET", "/openapi/service/vorel/conf/server", Access::Open, {}, answerServer},
    {"GET", "/openapi/service/vorel/conf/log", Access::Session, {}, answerConfLog},
    {"GET", "/openapi/service/vorel/conf/cert_rule", Access::Session, {}, answerCertRule},
    {"GET", "/openapi/service/vorel/conf/upload_check", Access::Session, {}, answerUploadCheck},
    {"PUT", "/openapi/service/vorel/conf/upload", Access::Session, kUploadParameters, answerUpload},
    // For clients that were given no address to upload to.
    {"PUT", "/", Access::Session, kUploadParameters, answerUpload},
    {"GET", "/openapi/service/vorel/conf/upload", Access::Session, {}, answerLastUpload},
    {"PUT", "/openapi/service/vorel/conf/reset", Access::Session, kResetParameters, answerReset},
    // Guide
    {"GET", "/openapi/service/vorel/channel/gallery", Access::Session, kGalleryParameters, answerGallery},
    {"GET", "/openapi/service/vorel/channel/schedule", Access::Session, kScheduleParameters, answerSchedule},
    {"GET", "/openapi/service/vorel/channel/onair", Access::Session, kOnAirParameters, answerOnAir},
    {"GET", "/openapi/service/vorel/channel/focus_channel", Access::Session, kFocusChannelParameters,
     answerFocusChannel},
    {"GET", "/openapi/service/vorel/channel/today", Access::Session, kTodayParameters, answerToday},
    {"GET", "/openapi/service/vorel/channel/today/{}", Access::Open, kTodayFileParameters, answerTodayFile},
    {"GET", "/openapi/service/vorel/browse/guide", Access::Session, kGuideParameters, answerGuide},
    {"GET", "/openapi/service/vorel/browse/content/list", Access::Session, kContentListParameters, answerContentList},
    {"GET", "/openapi/service/vorel/browse/content/{}", Access::Session, kContentParameters, answerContent},
    {"GET", "/openapi/service/vorel/browse/content/{}/series", Access::Session, kSeriesParameters, answerSeries},
    {"GET", "/openapi/service/vorel/browse/person/{}", Access::Session, kPersonParameters, answerPerson},
    {"GET", "/openapi/service/vorel/search/epg_search", Access::Session, kSearchParameters, answerSearch},
    {"GET", "/openapi/service/vorel/conf/genre", Access::Session, kGenreParameters, answerGenre},
    // Viewer
    {"PUT", "/openapi/service/vorel/user/favorite", Access::Session, kFavoriteParameters, answerSetFavorite},
    {"DELETE", "/openapi/service/vorel/user/favorite", Access::Session, kFavoriteParameters, answerDeleteFavorite},
    {"GET", "/openapi/service/vorel/user/favorite", Access::Session, kFavoriteParameters, answerFavorite},
    {"GET", "/openapi/service/vorel/user/favorite/list", Access::Session, kFavoriteListParameters, answerFavoriteList},
    {"PUT", "/openapi/service/vorel/user/like", Access::Session, kLikeParameters, answerSendLike},
    {"GET", "/openapi/service/vorel/user/like", Access::Session, kLikeParameters, answerLikes},
    {"PUT", "/openapi/service/vorel/user/tune_history", Access::Session, kTuneParameters, answerTuneHistory},
    {"GET", "/openapi/service/vorel/agreement/check", Access::Session, {}, answerCheckAgreement},
    {"PUT", "/openapi/service/vorel/agreement/confirm", Access::Session, {}, answerConfirmAgreement},
    {"PUT", "/openapi/service/vorel/agreement/revocation", Access::Session, {}, answerRevokeAgreement},
    {"PUT", "/openapi/service/vorel/agreement/anonym", Access::Session, kAnonymousParameters, answerAnonymousAgreement},
    // Line-up
    {"GET", "/openapi/service/vorel/channel/headend", Access::Session, kHeadendParameters, answerHeadend},
    {"GET", "/openapi/service/vorel/channel/headend_kor", Access::Session, kPlaceParameters, answerHeadendKor},
    {"GET", "/openapi/service/vorel/channel/headend_browse", Access::Session, kPlaceParameters, answerHeadendBrowse},
    {"GET", "/openapi/service/vorel/channel/lineup_test", Access::Session, kLineupTestParameters, answerLineupTest},
    {"PUT", "/openapi/service/vorel/user/save_headend", Access::Session, kSaveHeadendParameters, answerSaveHeadend},
    {"GET", "/openapi/service/vorel/user/load_headend", Access::Session, {}, answerLoadHeadend},
    // Recommendations
    {"GET", "/openapi/service/vorel/recommend/popularch", Access::Session, kPopularParameters, answerPopularChannels},
    {"GET", "/openapi/service/vorel/recommend/smart_channel", Access::Session, kRecommendParameters,
     answerSmartChannel},
    {"GET", "/openapi/service/vorel/recommend/smart_popular", Access::Session, kRecommendParameters,
     answerSmartPopular},
    {"GET", "/openapi/service/vorel/recommend/missed", Access::Session, kMissedParameters, answerMissed},
    {"GET", "/openapi/service/vorel/recommend/candidate_missed", Access::Session, kRecommendParameters,
     answerCandidateMissed},
    {"GET", "/openapi/service/vorel/recommend/related", Access::Session, kRelatedParameters, answerRelated},
    {"GET", "/openapi/service/concierge/combination", Access::Session, kRecommendParameters, answerCombination},
};

// Whether the path fits the pattern; segment receives the part of the path at "{}".
bool fits(std::string_view pattern, std::string_view path, std::string_view& segment)
{
    const std::size_t gap = pattern.find("{}");
    if (gap == std::string_view::npos) {
        return path == pattern;
    }
    const std::string_view before = pattern.substr(0, gap);
    const std::string_view after = pattern.substr(gap + 2);
    if (path.size() <= before.size() + after.size() || path.substr(0, before.size()) != before ||
        path.substr(path.size() - after.size()) != after) {
        return false;
    }
    const std::string_view middle = path.substr(before.size(), path.size() - before.size() - after.size());
    if (middle.find('/') != std::string_view::npos) {
        return false;
    }
    segment = middle;
    return true;
}

}  // namespace

void Handler::operator()(Call& call, std::string& members) const
{
    if (m_text != nullptr) {
        m_text(call, members);
        return;
    }
    const Json object = m_tree(call);
    if (!object.empty()) {
        members += ",";
        members.append(jsonText(object), 1);  // without its braces
        members.pop_back();
    }
}

void forEachEndpoint(const std::function<void(const Endpoint&)>& visit)
{
    for (const Endpoint& endpoint : kEndpoints) {
        visit(endpoint);
    }
}

Route routeOf(std::string_view method, std::string_view path)
{
    const std::string_view asked = method == "HEAD" ? "GET" : method;
    std::string known;
    for (const Endpoint& endpoint : kEndpoints) {
        std::string_view segment;
        if (!fits(endpoint.path, path, segment)) {
            continue;
        }
        if (endpoint.method == asked) {
            return {endpoint, segment};
        }
        known += (known.empty() ? "" : " or ") + std::string(endpoint.method);
    }
    if (!known.empty()) {
        throw Refusal(ServiceCode::WrongMethod,
                      fmt::format("{:.200} does not take {:.20}; use {}", path, method, known));
    }
    throw Refusal(ServiceCode::UnknownPath,
                  fmt::format("this service has no {:.200}; its paths begin with /openapi/service/", path));
}

}  // namespace corvaned
