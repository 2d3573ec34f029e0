#include "ParseDeliveries.h"

namespace W::test {

namespace {

template <class Command>
std::unique_ptr<VorelServiceCMD> make(WVorelOAI* owner, Delivered* delivered)
{
    const WContentProvider provider = owner != nullptr ? owner->getContentProvider() : WContentProvider();
    typename Command::Callback done = nullptr;
    if (delivered != nullptr) {
        done = Delivered::RecordingCallback();
    }
    return std::make_unique<Command>(done, delivered, owner, provider);
}

}  // namespace

const std::vector<CommandKind>& kinds()
{
    static const std::vector<CommandKind> kKinds = {
        {3, "cbGetAuthSeedkeyDone", "SessionInfo", {"session"}, make<VorelGetAuthSeedkeyCMD>},
        {4,
         "cbGetGenreListDone",
         "GenreList",
         {"genres", "repGenres", "checksum", "changed"},
         make<VorelGetGenreListCMD>},
        {5, "cbGetConfLogDone", "ConfLog", {"log"}, make<VorelGetConfLogCMD>},
        {6, "cbGetLocalTimeDone", "Localtime", {"localtime"}, make<VorelGetLocaltimeCMD>},
        {7, "cbResetHistoryDone", "ParseResetHistory", {}, make<VorelResetHistoryCMD>},
        {8, "cbGetServerUrlDone", "ServerUrl", {"url", "expired"}, make<VorelGetServerUrlCMD>},
        {9, "cbCheckUploadDone", "CheckUpload", {"url", "fileName"}, make<VorelCheckUploadCMD>},
        {10, "cbSendChannelDone", "ParseSendChannel", {}, make<VorelSendChannelCMD>},
        {11, "cbGetCertificationRuleDone", "CertificationRule", {"rule"}, make<VorelGetCertificationRuleCMD>},
        {12, "cbGetChannelListDone", "ChannelList", {"list", "checksum", "changed"}, make<VorelGetChannelListCMD>},
        {13, "cbGetHeadendDone", "Headend", {"list"}, make<VorelGetHeadendCMD>},
        {14, "cbGetCityListDone", "CityList", {"states", "cities"}, make<VorelGetCityListCMD>},
        {15, "cbGetCityListBrowseDone", "CityListBrowse", {"list"}, make<VorelGetCityListBrowseCMD>},
        {16, "cbGetHeadendKorDone", "HeadendKor", {"list"}, make<VorelGetHeadendKorCMD>},
        {17, "cbGetHeadendBrowseDone", "HeadendBrowse", {"list"}, make<VorelGetHeadendBrowseCMD>},
        {18, "cbGetScheduleDone", "Schedule", {"list"}, make<VorelGetScheduleCMD>},
        {19, "cbGetOnAirDone", "OnAir", {"list"}, make<VorelGetOnAirCMD>},
        {20, "cbGetTodayURLDone", "Today", {"list"}, make<VorelGetTodayCMD>},
        {21, "cbGetFocusChannelDone", "FocusChannel", {"list"}, make<VorelGetFocusChannelCMD>},
        {22, "cbGetLineupTestDone", "LineupTest", {"list"}, make<VorelGetLineupTestCMD>},
        {23, "cbGetContentListDone", "ContentList", {"list"}, make<VorelGetContentListCMD>},
        {24, "cbGetContentDetailInfoDone", "ContentDetailInfo", {"list"}, make<VorelGetContentDetailInfoCMD>},
        {25, "cbGetGuideDone", "Guide", {"list"}, make<VorelGetGuideCMD>},
        {26, "cbGetPersonDetailInfoDone", "PersonDetailInfo", {"person"}, make<VorelGetPersonDetailInfoCMD>},
        {27,
         "cbGetSeriesDetailInfoDone",
         "SeriesDetailInfo",
         {"series", "episodes"},
         make<VorelGetSeriesDetailInfoCMD>},
        {28, "cbSetFavoriteDone", "ParseSetFavorite", {}, make<VorelSetFavoriteCMD>},
        {29, "cbDeleteFavoriteDone", "ParseDeleteFavorite", {}, make<VorelDeleteFavoriteCMD>},
        {30, "cbGetFavoriteChannelDone", "FavoriteChannel", {"channel"}, make<VorelGetFavoriteChannelCMD>},
        {31, "cbGetFavoriteContentDone", "FavoriteContent", {"content"}, make<VorelGetFavoriteContentCMD>},
        {32, "cbGetFavoriteChannelListDone", "FavoriteChannelList", {"list"}, make<VorelGetFavoriteChannelListCMD>},
        {33, "cbGetFavoriteContentListDone", "FavoriteContentList", {"list"}, make<VorelGetFavoriteContentListCMD>},
        {34, "cbSendTuneHistoryDone", "SendTuneHistory", {"sequence"}, make<VorelSendTuneHistoryCMD>},
        // Its result does not come from the reply.
        {35, "cbSendLikeDone", "ParseSendLike", {}, make<VorelSendLikeCMD>},
        {36,
         "cbGetLikeHistoryDone",
         "GetLikeHistory",
         {"like", "dislike", "likeOwned", "dislikeOwned"},
         make<VorelGetLikeHistoryCMD>},
        {37, "cbSaveHeadendDone", "ParseSaveHeadend", {}, make<VorelSaveHeadendCMD>},
        {38, "cbLoadHeadendDone", "LoadHeadend", {"headend"}, make<VorelLoadHeadendCMD>},
        {39, "cbGetSmartChannelDone", "SmartChannel", {"list"}, make<VorelGetSmartChannelCMD>},
        {40, "cbGetSmartPopularDone", "SmartPopular", {"list"}, make<VorelGetSmartPopularCMD>},
        {41, "cbGetPopularChDone", "PopularCh", {"list"}, make<VorelGetPopularChCMD>},
        {42, "cbGetRelatedDone", "Related", {"episode", "castAndCrew", "related"}, make<VorelGetRelatedCMD>},
        {43, "cbGetMissedDone", "Missed", {"list"}, make<VorelGetMissedCMD>},
        {44, "cbGetCandidateMissedDone", "CandidateMissed", {"list"}, make<VorelGetCandidateMissedCMD>},
        {45, "cbGetCombinationDone", "Combination", {"concierge"}, make<VorelGetCombinationCMD>},
        {46, "cbSearchEpgDone", nullptr, {}, make<VorelSearchEpgCMD>},
        {47, "cbCheckAgreementDone", "CheckAgreement", {"status", "confirmed"}, make<VorelCheckAgreementCMD>},
        {48, "cbConfirmAgreementDone", "ParseConfirmAgreement", {}, make<VorelConfirmAgreementCMD>},
        {49, "cbSetAnonymAgreementDone", "ParseSetAnonymAgreement", {}, make<VorelSetAnonymAgreementCMD>},
        {50, "cbRevocateAgreementDone", "ParseRevocateAgreement", {}, make<VorelRevocateAgreementCMD>},
        {51, "cbDownloadDone", nullptr, {}, make<VorelDownloadCMD>},
    };
    return kKinds;
}

const CommandKind& kindOf(unsigned int key)
{
    return kinds().at(key - 3);
}

UINT64 complete(VorelServiceCMD& command, SESSION_STATUS session, HTTP_RESPONSE_CODE code, const std::string& body,
                UINT64 reference)
{
    HttpResponse response;
    response.setHttpResponseCode(code);
    response.setPayload(body);
    return WVorelOAI::cbFnVorelRequestCompleted(session, response, &command, reference);
}

}  // namespace W::test
