// The parameters, then the endpoints. If two rows fit a path, the upper one counts.
#include "EndpointTable.h"

#include <fmt/format.h>

#include "JsonTree.h"

namespace corvaned {
namespace {

// Sessions and configuration
constexpr ParameterRule kSeedkeyParameters[] = {
    {"DUID", ParameterPlace::Header, ParameterKind::String, Presence::Required},
};
constexpr ParameterRule kUploadParameters[] = {
    {"filename", ParameterPlace::Query, ParameterKind::String, Presence::Required},
};
constexpr ParameterRule kResetParameters[] = {
    {"timestamp", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
};

// Guide
constexpr ParameterRule kGalleryParameters[] = {
    {"checksum", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"headend", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kScheduleParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sourceid", ParameterPlace::Query, ParameterKind::List, Presence::Required},
    {"starttime", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
    {"imagesize", ParameterPlace::Query, ParameterKind::Numbers, Presence::Optional},
    {"interval", ParameterPlace::Query, ParameterKind::Number, Presence::Required, 1, 744},
};
constexpr ParameterRule kOnAirParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sourceid", ParameterPlace::Query, ParameterKind::List, Presence::Optional},
    {"headend", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"imagesize", ParameterPlace::Query, ParameterKind::Numbers, Presence::Optional},
};
constexpr ParameterRule kFocusChannelParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sourceid", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"num", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1, 1000},
};
constexpr ParameterRule kTodayParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kTodayFileParameters[] = {
    {"file", ParameterPlace::Path, ParameterKind::String, Presence::Required},
};
constexpr ParameterRule kGuideParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"channel", ParameterPlace::Query, ParameterKind::List, Presence::Optional},
    {"chnum", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"interval", ParameterPlace::Query, ParameterKind::Number, Presence::Required, 1, 744},
    {"headend", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"start", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"num", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1},
    {"timestamp", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
};
constexpr ParameterRule kContentListParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"genre", ParameterPlace::Query, ParameterKind::Numbers, Presence::Optional},
    {"timestamp", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
    {"start", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"num", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1, 1000},
};
constexpr ParameterRule kContentParameters[] = {
    {"id", ParameterPlace::Path, ParameterKind::String, Presence::Required},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sourceid", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"starttime", ParameterPlace::Query, ParameterKind::Time, Presence::Optional},
};
constexpr ParameterRule kSeriesParameters[] = {
    {"id", ParameterPlace::Path, ParameterKind::String, Presence::Required},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sourceid", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kPersonParameters[] = {
    {"id", ParameterPlace::Path, ParameterKind::String, Presence::Required},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kSearchParameters[] = {
    {"q", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"exact", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"start", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"num", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1, 200},
};
constexpr ParameterRule kGenreParameters[] = {
    {"checksum", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};

// Viewer
constexpr ParameterRule kFavoriteParameters[] = {
    {"type", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"id", ParameterPlace::Query, ParameterKind::Number, Presence::Required, 0, INT64_MAX},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kFavoriteListParameters[] = {
    {"type", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"order", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"sort", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"start", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"num", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kLikeParameters[] = {
    {"contentid", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"ttid", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"personid", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"sourceid", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"id", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"type", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kTuneParameters[] = {
    {"ttid", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 0, INT64_MAX},
    {"sourceid", ParameterPlace::Query, ParameterKind::Number, Presence::Required, 0, INT64_MAX},
};
constexpr ParameterRule kAnonymousParameters[] = {
    {"flag", ParameterPlace::Query, ParameterKind::String, Presence::Required},
};

// Line-up
constexpr ParameterRule kHeadendParameters[] = {
    {"zipcode", ParameterPlace::Query, ParameterKind::String, Presence::Required},
};
constexpr ParameterRule kPlaceParameters[] = {
    {"type", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"code", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kLineupTestParameters[] = {
    {"headend", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kSaveHeadendParameters[] = {
    {"headend", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"device", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};

// Recommendations
constexpr ParameterRule kRecommendParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kPopularParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
    {"n", ParameterPlace::Query, ParameterKind::Number, Presence::Optional, 1},
};
constexpr ParameterRule kMissedParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"order", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
};
constexpr ParameterRule kRelatedParameters[] = {
    {"lang", ParameterPlace::Query, ParameterKind::String, Presence::Optional},
    {"TTID", ParameterPlace::Query, ParameterKind::String, Presence::Required},
    {"imagesize", ParameterPlace::Query, ParameterKind::Number, Presence::Optional},
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

void Handler::operator()(EndpointCall& call, std::string& members) const
{
    if (m_writer != nullptr) {
        m_writer(call, members);
        return;
    }
    const Json object = m_tree(call);
    if (!object.empty()) {
        members += ",";
        members.append(serialize(object), 1);  // without its braces
        members.pop_back();
    }
}

void forEachEndpoint(const std::function<void(const Endpoint&)>& visit)
{
    for (const Endpoint& endpoint : kEndpoints) {
        visit(endpoint);
    }
}

std::string_view endpointPath(std::string_view path)
{
    for (const Endpoint& endpoint : kEndpoints) {
        std::string_view segment;
        if (fits(endpoint.path, path, segment)) {
            return endpoint.path;
        }
    }
    return {};
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
