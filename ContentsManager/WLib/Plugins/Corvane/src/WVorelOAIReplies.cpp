// The completions, in key order: the dispatcher, and one handler per command, which names its results and its parser.
// Delivery.h has their common parts.

#include "WVorelOAI.h"

#include <array>

#include "DebugPrint.h"
#include "Delivery.h"

namespace W {

using namespace vorel;

namespace {

// -- Dispatch

using Handling = UINT64 (*)(SESSION_STATUS, const HttpResponse&, VorelServiceCMD*, UINT64);

template <auto handler>
struct RouteOf;

template <class Command, UINT64 (*handler)(SESSION_STATUS, const HttpResponse&, Command*, UINT64)>
struct RouteOf<handler> {
    static constexpr unsigned int kKey = Command::kKey;

    static UINT64 call(SESSION_STATUS status, const HttpResponse& response, VorelServiceCMD* command, UINT64 reference)
    {
        return handler(status, response, static_cast<Command*>(command), reference);
    }
};

/// The routes of all handlers, each at its command's key.
template <auto... handlers>
constexpr std::array<Handling, sizeof...(handlers)> routes()
{
    unsigned int key = kFirstKey;
    if (!((RouteOf<handlers>::kKey == key++) && ...)) {
        throw "a handler is not at its command's key";
    }
    return {&RouteOf<handlers>::call...};
}

constexpr auto kRoutes =
    routes<&WVorelOAI::cbGetAuthSeedkeyDone, &WVorelOAI::cbGetGenreListDone, &WVorelOAI::cbGetConfLogDone,
           &WVorelOAI::cbGetLocalTimeDone, &WVorelOAI::cbResetHistoryDone, &WVorelOAI::cbGetServerUrlDone,
           &WVorelOAI::cbCheckUploadDone, &WVorelOAI::cbSendChannelDone, &WVorelOAI::cbGetCertificationRuleDone,
           &WVorelOAI::cbGetChannelListDone, &WVorelOAI::cbGetHeadendDone, &WVorelOAI::cbGetCityListDone,
           &WVorelOAI::cbGetCityListBrowseDone, &WVorelOAI::cbGetHeadendKorDone, &WVorelOAI::cbGetHeadendBrowseDone,
           &WVorelOAI::cbGetScheduleDone, &WVorelOAI::cbGetOnAirDone, &WVorelOAI::cbGetTodayURLDone,
           &WVorelOAI::cbGetFocusChannelDone, &WVorelOAI::cbGetLineupTestDone, &WVorelOAI::cbGetContentListDone,
           &WVorelOAI::cbGetContentDetailInfoDone, &WVorelOAI::cbGetGuideDone, &WVorelOAI::cbGetPersonDetailInfoDone,
           &WVorelOAI::cbGetSeriesDetailInfoDone, &WVorelOAI::cbSetFavoriteDone, &WVorelOAI::cbDeleteFavoriteDone,
           &WVorelOAI::cbGetFavoriteChannelDone, &WVorelOAI::cbGetFavoriteContentDone,
           &WVorelOAI::cbGetFavoriteChannelListDone, &WVorelOAI::cbGetFavoriteContentListDone,
           &WVorelOAI::cbSendTuneHistoryDone, &WVorelOAI::cbSendLikeDone, &WVorelOAI::cbGetLikeHistoryDone,
           &WVorelOAI::cbSaveHeadendDone, &WVorelOAI::cbLoadHeadendDone, &WVorelOAI::cbGetSmartChannelDone,
           &WVorelOAI::cbGetSmartPopularDone, &WVorelOAI::cbGetPopularChDone, &WVorelOAI::cbGetRelatedDone,
           &WVorelOAI::cbGetMissedDone, &WVorelOAI::cbGetCandidateMissedDone, &WVorelOAI::cbGetCombinationDone,
           &WVorelOAI::cbSearchEpgDone, &WVorelOAI::cbCheckAgreementDone, &WVorelOAI::cbConfirmAgreementDone,
           &WVorelOAI::cbSetAnonymAgreementDone, &WVorelOAI::cbRevocateAgreementDone, &WVorelOAI::cbDownloadDone>();
static_assert(kRoutes.size() == kOperationCount);

}  // namespace

UINT64 WVorelOAI::cbFnVorelRequestCompleted(SESSION_STATUS status, const HttpResponse& response,
                                            VorelServiceCMD* command, UINT64 reference)
{
    if (command == nullptr) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] ========= pCmd is NULL!!!!!!! \n", __func__, __LINE__);
        return reference;
    }
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit,
                              "[%s:%d]  ================ cbFnVorelRequestCompleted : uRequestRef = %llu\n", __func__,
                              __LINE__, reference);
    if (command->owner() == nullptr) {
        return reference;
    }
    const unsigned int key = command->getCMDKey();
    if (key < kFirstKey) {
        return 0;
    }
    if (!isOperation(key)) {
        return reference;
    }
    return kRoutes[key - kFirstKey](status, response, command, reference);
}

// -- Handlers

UINT64 WVorelOAI::cbGetAuthSeedkeyDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelGetAuthSeedkeyCMD* command, UINT64 reference)
{
    WVLSession session;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            VorelService& service = *command->owner()->service();
            const WSTATUS result = command->ParseSessionInfo(body, session);
            // A cancelled request neither stores nor delivers a session.
            if (service.isCancelledFirst(reference)) {
                session = WVLSession();
            } else if (result == status::kOk) {
                service.setSessionInfo(session);
            }
            return result;
        },
        session);
}

UINT64 WVorelOAI::cbGetGenreListDone(SESSION_STATUS status, const HttpResponse& response, VorelGetGenreListCMD* command,
                                     UINT64 reference)
{
    WContainer<WVLGenre> genres;
    WContainer<WVLRepGenre> repGenres;
    std::string checksum;
    bool changed = false;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseGenreList(body, genres, repGenres, checksum, changed, reference);
        },
        genres, repGenres, checksum, changed);
}

UINT64 WVorelOAI::cbGetConfLogDone(SESSION_STATUS status, const HttpResponse& response, VorelGetConfLogCMD* command,
                                   UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetConfLogCMD::ParseConfLog);
}

UINT64 WVorelOAI::cbGetLocalTimeDone(SESSION_STATUS status, const HttpResponse& response, VorelGetLocaltimeCMD* command,
                                     UINT64 reference)
{
    WVLLocaltime localtime;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            const WSTATUS result = command->ParseLocaltime(body, localtime);
            if (result == status::kOk) {
                command->owner()->setServerTimeDifference(localtime.getDifference());
            }
            return result;
        },
        localtime);
}

UINT64 WVorelOAI::cbResetHistoryDone(SESSION_STATUS status, const HttpResponse& response, VorelResetHistoryCMD* command,
                                     UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command, &VorelResetHistoryCMD::ParseResetHistory);
}

UINT64 WVorelOAI::cbGetServerUrlDone(SESSION_STATUS status, const HttpResponse& response, VorelGetServerUrlCMD* command,
                                     UINT64 reference)
{
    std::string url;
    WDateTime expired;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseServerUrl(body, command->owner()->serverTimeDifference(), url, expired);
        },
        url, expired);
}

UINT64 WVorelOAI::cbCheckUploadDone(SESSION_STATUS status, const HttpResponse& response, VorelCheckUploadCMD* command,
                                    UINT64 reference)
{
    std::string url;
    std::string fileName;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) { return command->ParseCheckUpload(body, url, fileName); }, url, fileName);
}

UINT64 WVorelOAI::cbSendChannelDone(SESSION_STATUS status, const HttpResponse& response, VorelSendChannelCMD* command,
                                    UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command, &VorelSendChannelCMD::ParseSendChannel);
}

UINT64 WVorelOAI::cbGetCertificationRuleDone(SESSION_STATUS status, const HttpResponse& response,
                                             VorelGetCertificationRuleCMD* command, UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetCertificationRuleCMD::ParseCertificationRule);
}

UINT64 WVorelOAI::cbGetChannelListDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelGetChannelListCMD* command, UINT64 reference)
{
    WContainer<WVLChannel> channels;
    std::string checksum;
    bool changed = false;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseChannelList(body, channels, checksum, changed, reference);
        },
        channels, checksum, changed);
}

UINT64 WVorelOAI::cbGetHeadendDone(SESSION_STATUS status, const HttpResponse& response, VorelGetHeadendCMD* command,
                                   UINT64 reference)
{
    return deliverList({status, response, reference}, command, &VorelGetHeadendCMD::ParseHeadend);
}

UINT64 WVorelOAI::cbGetCityListDone(SESSION_STATUS status, const HttpResponse& response, VorelGetCityListCMD* command,
                                    UINT64 reference)
{
    std::map<int, std::string> states;
    std::multimap<int, WVLCityCode> cities;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) { return command->ParseCityList(body, states, cities, reference); }, states,
        cities);
}

UINT64 WVorelOAI::cbGetCityListBrowseDone(SESSION_STATUS status, const HttpResponse& response,
                                          VorelGetCityListBrowseCMD* command, UINT64 reference)
{
    return deliverList({status, response, reference}, command, &VorelGetCityListBrowseCMD::ParseCityList);
}

UINT64 WVorelOAI::cbGetHeadendKorDone(SESSION_STATUS status, const HttpResponse& response,
                                      VorelGetHeadendKorCMD* command, UINT64 reference)
{
    return deliverList({status, response, reference}, command, &VorelGetHeadendKorCMD::ParseHeadendKor);
}

UINT64 WVorelOAI::cbGetHeadendBrowseDone(SESSION_STATUS status, const HttpResponse& response,
                                         VorelGetHeadendBrowseCMD* command, UINT64 reference)
{
    return deliverList({status, response, reference}, command, &VorelGetHeadendBrowseCMD::ParseHeadendBrowse);
}

UINT64 WVorelOAI::cbGetScheduleDone(SESSION_STATUS status, const HttpResponse& response, VorelGetScheduleCMD* command,
                                    UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetScheduleCMD::ParseSchedule);
}

UINT64 WVorelOAI::cbGetOnAirDone(SESSION_STATUS status, const HttpResponse& response, VorelGetOnAirCMD* command,
                                 UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetOnAirCMD::ParseOnAir);
}

UINT64 WVorelOAI::cbGetTodayURLDone(SESSION_STATUS status, const HttpResponse& response, VorelGetTodayCMD* command,
                                    UINT64 reference)
{
    WContainer<WVLDownloadURL> urls;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            const WSTATUS result = command->ParseToday(body, urls.data());
            if (result == status::kOk) {
                urls.setCount(static_cast<std::int32_t>(urls.getData().size()));
            } else {
                urls.clear();
            }
            return result;
        },
        urls);
}

UINT64 WVorelOAI::cbGetFocusChannelDone(SESSION_STATUS status, const HttpResponse& response,
                                        VorelGetFocusChannelCMD* command, UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetFocusChannelCMD::ParseFocusChannel);
}

UINT64 WVorelOAI::cbGetLineupTestDone(SESSION_STATUS status, const HttpResponse& response,
                                      VorelGetLineupTestCMD* command, UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetLineupTestCMD::ParseLineupTest);
}

UINT64 WVorelOAI::cbGetContentListDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelGetContentListCMD* command, UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetContentListCMD::ParseContentList);
}

UINT64 WVorelOAI::cbGetContentDetailInfoDone(SESSION_STATUS status, const HttpResponse& response,
                                             VorelGetContentDetailInfoCMD* command, UINT64 reference)
{
    WContainer<WVLContent> airings;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseContentDetailInfo(body, command->owner()->serverTimeDifference(), airings);
        },
        airings);
}

UINT64 WVorelOAI::cbGetGuideDone(SESSION_STATUS status, const HttpResponse& response, VorelGetGuideCMD* command,
                                 UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetGuideCMD::ParseGuide);
}

UINT64 WVorelOAI::cbGetPersonDetailInfoDone(SESSION_STATUS status, const HttpResponse& response,
                                            VorelGetPersonDetailInfoCMD* command, UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetPersonDetailInfoCMD::ParsePersonDetailInfo);
}

UINT64 WVorelOAI::cbGetSeriesDetailInfoDone(SESSION_STATUS status, const HttpResponse& response,
                                            VorelGetSeriesDetailInfoCMD* command, UINT64 reference)
{
    WVLContent series;
    WContainer<WVLContent> episodes;
    // Quirk: misspelled in the lines about cancelling and exit, and only there.
    return deliver(
        {status, response, reference, "cbGetSeiresDetailInfoDone"}, command,
        [&](const std::string& body) {
            return command->ParseSeriesDetailInfo(body, command->owner()->serverTimeDifference(), series, episodes,
                                                  reference);
        },
        series, episodes);
}

UINT64 WVorelOAI::cbSetFavoriteDone(SESSION_STATUS status, const HttpResponse& response, VorelSetFavoriteCMD* command,
                                    UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command, &VorelSetFavoriteCMD::ParseSetFavorite);
}

UINT64 WVorelOAI::cbDeleteFavoriteDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelDeleteFavoriteCMD* command, UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command, &VorelDeleteFavoriteCMD::ParseDeleteFavorite);
}

UINT64 WVorelOAI::cbGetFavoriteChannelDone(SESSION_STATUS status, const HttpResponse& response,
                                           VorelGetFavoriteChannelCMD* command, UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetFavoriteChannelCMD::ParseFavoriteChannel);
}

UINT64 WVorelOAI::cbGetFavoriteContentDone(SESSION_STATUS status, const HttpResponse& response,
                                           VorelGetFavoriteContentCMD* command, UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelGetFavoriteContentCMD::ParseFavoriteContent);
}

UINT64 WVorelOAI::cbGetFavoriteChannelListDone(SESSION_STATUS status, const HttpResponse& response,
                                               VorelGetFavoriteChannelListCMD* command, UINT64 reference)
{
    return deliverList({status, response, reference}, command,
                       &VorelGetFavoriteChannelListCMD::ParseFavoriteChannelList);
}

UINT64 WVorelOAI::cbGetFavoriteContentListDone(SESSION_STATUS status, const HttpResponse& response,
                                               VorelGetFavoriteContentListCMD* command, UINT64 reference)
{
    return deliverList({status, response, reference}, command,
                       &VorelGetFavoriteContentListCMD::ParseFavoriteContentList);
}

UINT64 WVorelOAI::cbSendTuneHistoryDone(SESSION_STATUS status, const HttpResponse& response,
                                        VorelSendTuneHistoryCMD* command, UINT64 reference)
{
    int sequence = 0;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) { return command->ParseSendTuneHistory(body, sequence); }, sequence);
}

UINT64 WVorelOAI::cbSendLikeDone(SESSION_STATUS status, const HttpResponse& response, VorelSendLikeCMD* command,
                                 UINT64 reference)
{
    const bool isLike = command->GetType() == "like";
    return deliver(
        {status, response, reference}, command, [&](const std::string& body) { return command->ParseSendLike(body); },
        isLike);
}

UINT64 WVorelOAI::cbGetLikeHistoryDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelGetLikeHistoryCMD* command, UINT64 reference)
{
    int like = 0;
    int dislike = 0;
    bool likeOwned = false;
    bool dislikeOwned = false;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseGetLikeHistory(body, like, dislike, likeOwned, dislikeOwned);
        },
        like, dislike, likeOwned, dislikeOwned);
}

UINT64 WVorelOAI::cbSaveHeadendDone(SESSION_STATUS status, const HttpResponse& response, VorelSaveHeadendCMD* command,
                                    UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command, &VorelSaveHeadendCMD::ParseSaveHeadend);
}

UINT64 WVorelOAI::cbLoadHeadendDone(SESSION_STATUS status, const HttpResponse& response, VorelLoadHeadendCMD* command,
                                    UINT64 reference)
{
    return deliverRecord({status, response, reference}, command, &VorelLoadHeadendCMD::ParseLoadHeadend);
}

UINT64 WVorelOAI::cbGetSmartChannelDone(SESSION_STATUS status, const HttpResponse& response,
                                        VorelGetSmartChannelCMD* command, UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetSmartChannelCMD::ParseGetSmartChannel);
}

UINT64 WVorelOAI::cbGetSmartPopularDone(SESSION_STATUS status, const HttpResponse& response,
                                        VorelGetSmartPopularCMD* command, UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetSmartPopularCMD::ParseGetSmartPopular);
}

UINT64 WVorelOAI::cbGetPopularChDone(SESSION_STATUS status, const HttpResponse& response, VorelGetPopularChCMD* command,
                                     UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetPopularChCMD::ParseGetPopularCh);
}

UINT64 WVorelOAI::cbGetRelatedDone(SESSION_STATUS status, const HttpResponse& response, VorelGetRelatedCMD* command,
                                   UINT64 reference)
{
    WContainer<WVLContent> episode;
    WContainer<WVLPerson> castAndCrew;
    WContainer<WVLContent> related;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) { return command->ParseGetRelated(body, episode, castAndCrew, related); }, episode,
        castAndCrew, related);
}

UINT64 WVorelOAI::cbGetMissedDone(SESSION_STATUS status, const HttpResponse& response, VorelGetMissedCMD* command,
                                  UINT64 reference)
{
    return deliverContents({status, response, reference}, command, &VorelGetMissedCMD::ParseGetMissed);
}

UINT64 WVorelOAI::cbGetCandidateMissedDone(SESSION_STATUS status, const HttpResponse& response,
                                           VorelGetCandidateMissedCMD* command, UINT64 reference)
{
    return deliverContents({status, response, reference}, command,
                           &VorelGetCandidateMissedCMD::ParseGetCandidateMissed);
}

UINT64 WVorelOAI::cbGetCombinationDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelGetCombinationCMD* command, UINT64 reference)
{
    WVLConcierge concierge;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) {
            return command->ParseCombination(body, command->owner()->serverTimeDifference(), concierge);
        },
        concierge);
}

UINT64 WVorelOAI::cbSearchEpgDone(SESSION_STATUS status, const HttpResponse& response, VorelSearchEpgCMD* command,
                                  UINT64 reference)
{
    // Quirk: the body is delivered unchanged, whatever the status.
    return deliver(
        {status, response, reference}, command, [](const std::string& /*body*/) { return status::kOk; },
        response.getPayload());
}

UINT64 WVorelOAI::cbCheckAgreementDone(SESSION_STATUS status, const HttpResponse& response,
                                       VorelCheckAgreementCMD* command, UINT64 reference)
{
    std::string agreed;
    std::string confirmed;
    return deliver(
        {status, response, reference}, command,
        [&](const std::string& body) { return command->ParseCheckAgreement(body, agreed, confirmed); }, agreed,
        confirmed);
}

UINT64 WVorelOAI::cbConfirmAgreementDone(SESSION_STATUS status, const HttpResponse& response,
                                         VorelConfirmAgreementCMD* command, UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command,
                                  &VorelConfirmAgreementCMD::ParseConfirmAgreement);
}

UINT64 WVorelOAI::cbSetAnonymAgreementDone(SESSION_STATUS status, const HttpResponse& response,
                                           VorelSetAnonymAgreementCMD* command, UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command,
                                  &VorelSetAnonymAgreementCMD::ParseSetAnonymAgreement);
}

UINT64 WVorelOAI::cbRevocateAgreementDone(SESSION_STATUS status, const HttpResponse& response,
                                          VorelRevocateAgreementCMD* command, UINT64 reference)
{
    return deliverAcknowledgement({status, response, reference}, command,
                                  &VorelRevocateAgreementCMD::ParseRevocateAgreement);
}

}  // namespace W
