// The request operations, in slot order. Each states its required arguments and the arguments of its command's MakeURL;
// everything else is in the operation's row (Operations.h) and in the frame (WVorelOAI.cpp).

#include "WVorelOAI.h"

#include <strings.h>

#include "DebugPrint.h"

namespace W {

using namespace vorel;

namespace {

bool isGiven(const std::string& text)
{
    return !text.empty();
}

bool isGiven(int number)
{
    return number != 0;
}

template <class Element>
bool isGiven(const std::list<Element>& list)
{
    return !list.empty();
}

/// True if every argument has a value: strings and lists are not empty, numbers are not 0.
template <class... Arguments>
bool given(const Arguments&... arguments)
{
    return (isGiven(arguments) && ...);
}

bool isAbsoluteHttpUrl(const std::string& url)
{
    // Schemes are case-insensitive.
    return strncasecmp(url.c_str(), "http://", 7) == 0 || strncasecmp(url.c_str(), "https://", 8) == 0;
}

}  // namespace

int WVorelOAI::cancel(const WContentProvider& provider, unsigned long long reference)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [++ WVorelOAI::cancel Requested] uRequesetRef : %lld",
                              __func__, __LINE__, static_cast<long long>(reference));
    if (m_pService == nullptr) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] ========= m_pService is NULL!!!!!!! \n", __func__,
                                  __LINE__);
        return failed(status::kNoService, kObjectFile);
    }
    if (!m_pService->IsAvailableSession()) {
        CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] ========= Session is not available!!!!!!! \n", __func__,
                                  __LINE__);
        return failed(status::kNoSession, kObjectFile);
    }
    if (provider.getID() != m_provider.getID()) {
        return failed(status::kBadArgument, kObjectFile);
    }
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] [-- WVorelOAI::cancel Requested]", __func__, __LINE__);
    return m_pService->setCancelStatus(reference);
}

int WVorelOAI::getAuthSeedkey(SessionCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetAuthSeedkeyCMD>({userData, out}, done);
}

void WVorelOAI::setAuthSeedkey(const WVLSession& session)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] SessionID : %s", __func__, __LINE__,
                              session.getSessionID().c_str());
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] Seedkey : %s", __func__, __LINE__,
                              session.getSeedKey().c_str());
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] UserID : %s", __func__, __LINE__,
                              session.getUserID().c_str());
    try {
        if (m_pService != nullptr) {
            m_pService->setSessionInfo(session);
        }
    } catch (const std::exception&) {
        failed(status::kNoService, kObjectFile);
    }
}

int WVorelOAI::getGenreList(GenreListCallback done, const std::string& checksum, void* userData, WRequestStatus& out)
{
    return request<VorelGetGenreListCMD>({userData, out}, done, checksum);
}

int WVorelOAI::getConfLog(LogCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetConfLogCMD>({userData, out}, done);
}

int WVorelOAI::getLocalTime(LocaltimeCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetLocaltimeCMD>({userData, out}, done);
}

int WVorelOAI::resetHistory(AckCallback done, unsigned long time, void* userData, WRequestStatus& out)
{
    return request<VorelResetHistoryCMD>({userData, out}, done, time, serverTimeDifference());
}

int WVorelOAI::getServerUrl(ServerUrlCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetServerUrlCMD>({userData, out}, done);
}

int WVorelOAI::checkUpload(TwoTextsCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelCheckUploadCMD>({userData, out}, done);
}

// An upload goes to another address and sends a file, so the frame's steps are written out.
int WVorelOAI::sendChannel(AckCallback done, const std::string& url, const std::string& fileName, void* userData,
                           WRequestStatus& out)
{
    constexpr const Operation& row = operation(VorelSendChannelCMD::kKey);
    const CallContext call(userData, out, given(fileName));
    try {
        const ProviderOptions options(m_provider, row.reads);
        if (const WSTATUS refused = admit(row, options, call); refused != status::kOk) {
            return refuse(row, call, refused);
        }
        std::unique_ptr<VorelSendChannelCMD> command(new (std::nothrow)
                                                         VorelSendChannelCMD(done, userData, this, m_provider));
        if (command == nullptr) {
            return refuse(row, call, status::kNoService);
        }
        command->setUrl(isAbsoluteHttpUrl(url) ? url : m_pService->baseUrl());
        command->MakeURL(fileName, m_provider);
        std::string target = command->takeUrl();
        return send(row, options, call, std::move(command), std::move(target), options[ChannelInfoPath]);
    } catch (const std::exception& exception) {
        return refuse(row, call, exception);
    }
}

int WVorelOAI::getCertificationRule(CertificationRuleCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetCertificationRuleCMD>({userData, out}, done);
}

int WVorelOAI::getChannelList(ChannelListCallback done, const std::string& checksum, void* userData,
                              WRequestStatus& out)
{
    return request<VorelGetChannelListCMD>({userData, out}, done, checksum);
}

int WVorelOAI::getHeadend(HeadendListCallback done, const std::string& zipCode, void* userData, WRequestStatus& out)
{
    return request<VorelGetHeadendCMD>({userData, out}, done, zipCode);
}

int WVorelOAI::getCityList(CityListCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetCityListCMD>({userData, out}, done);
}

int WVorelOAI::getCityList_browse(CityCodesCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetCityListBrowseCMD>({userData, out}, done);
}

int WVorelOAI::getHeadend_Kor(HeadendListCallback done, const std::string& code, void* userData, WRequestStatus& out)
{
    return request<VorelGetHeadendKorCMD>({userData, out}, done, code);
}

int WVorelOAI::getHeadend_browse(HeadendListCallback done, const std::string& code, void* userData, WRequestStatus& out)
{
    return request<VorelGetHeadendBrowseCMD>({userData, out}, done, code);
}

int WVorelOAI::getSchedule(ContentListCallback done, const std::list<std::string>& sources, unsigned long start,
                           int interval, const std::list<int>& imageSizes, void* userData, WRequestStatus& out)
{
    return request<VorelGetScheduleCMD>({userData, out, given(sources, interval, imageSizes)}, done, sources, start,
                                        serverTimeDifference(), interval, imageSizes);
}

int WVorelOAI::getOnAir(ContentListCallback done, const std::list<std::string>& sources,
                        const std::list<int>& imageSizes, void* userData, WRequestStatus& out)
{
    return request<VorelGetOnAirCMD>({userData, out, given(sources, imageSizes)}, done, sources, imageSizes);
}

int WVorelOAI::getTodayURL(DownloadUrlsCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetTodayCMD>({userData, out}, done);
}

int WVorelOAI::getLineupTest(QuizCallback done, const std::string& headend, void* userData, WRequestStatus& out)
{
    return request<VorelGetLineupTestCMD>({userData, out}, done, headend);
}

int WVorelOAI::getFocusChannel(ContentListCallback done, const std::string& source, int imageSize, int num,
                               void* userData, WRequestStatus& out)
{
    return request<VorelGetFocusChannelCMD>({userData, out}, done, source, imageSize, num);
}

int WVorelOAI::getContentList(ContentListCallback done, const std::list<int>& genres, unsigned long time, int start,
                              int num, void* userData, WRequestStatus& out)
{
    return request<VorelGetContentListCMD>({userData, out, given(genres)}, done, genres, time, start, num,
                                           serverTimeDifference());
}

int WVorelOAI::getContentDetailInfo(ContentListCallback done, const std::string& contentId, const std::string& source,
                                    unsigned long startTime, void* userData, WRequestStatus& out)
{
    return request<VorelGetContentDetailInfoCMD>({userData, out, given(contentId)}, done, contentId, source, startTime,
                                                 serverTimeDifference());
}

int WVorelOAI::getGuide(ContentListCallback done, const std::string& channel, const std::string& channelNumber,
                        unsigned long time, int interval, int imageSize, int start, int num, void* userData,
                        WRequestStatus& out)
{
    return request<VorelGetGuideCMD>({userData, out}, done, channel, channelNumber, time, interval, imageSize, start,
                                     num, serverTimeDifference());
}

int WVorelOAI::getPersonDetailInfo(PersonCallback done, const std::string& personId, void* userData,
                                   WRequestStatus& out)
{
    return request<VorelGetPersonDetailInfoCMD>({userData, out, given(personId)}, done, personId);
}

int WVorelOAI::getSeriesDetailInfo(SeriesCallback done, const std::string& contentId, const std::string& source,
                                   void* userData, WRequestStatus& out)
{
    return request<VorelGetSeriesDetailInfoCMD>({userData, out, given(contentId)}, done, contentId, source);
}

int WVorelOAI::setFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                           WRequestStatus& out)
{
    return request<VorelSetFavoriteCMD>({userData, out}, done, type, id);
}

int WVorelOAI::deleteFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                              WRequestStatus& out)
{
    return request<VorelDeleteFavoriteCMD>({userData, out}, done, type, id);
}

int WVorelOAI::getFavoriteChannel(ChannelCallback done, const std::string& type, const std::string& id, int imageSize,
                                  void* userData, WRequestStatus& out)
{
    return request<VorelGetFavoriteChannelCMD>({userData, out}, done, type, id, imageSize);
}

int WVorelOAI::getFavoriteContent(ContentCallback done, const std::string& type, const std::string& id, int imageSize,
                                  void* userData, WRequestStatus& out)
{
    return request<VorelGetFavoriteContentCMD>({userData, out}, done, type, id, imageSize);
}

int WVorelOAI::getFavoriteChannelList(ChannelsCallback done, const std::string& type, int imageSize,
                                      const std::string& order, const std::string& sort, int start, int num,
                                      void* userData, WRequestStatus& out)
{
    return request<VorelGetFavoriteChannelListCMD>({userData, out}, done, type, imageSize, order, sort, start, num);
}

int WVorelOAI::getFavoriteContentList(ContentListCallback done, const std::string& type, int imageSize,
                                      const std::string& order, const std::string& sort, int start, int num,
                                      void* userData, WRequestStatus& out)
{
    return request<VorelGetFavoriteContentListCMD>({userData, out}, done, type, imageSize, order, sort, start, num);
}

int WVorelOAI::sendTuneHistory(NumberCallback done, const std::string& ttid, const std::string& source, void* userData,
                               WRequestStatus& out)
{
    return request<VorelSendTuneHistoryCMD>({userData, out}, done, ttid, source);
}

int WVorelOAI::sendLike(LikeCallback done, const std::string& key, const std::string& value, const std::string& type,
                        void* userData, WRequestStatus& out)
{
    return request<VorelSendLikeCMD>({userData, out}, done, key, value, type);
}

int WVorelOAI::getLikeHistory(LikeHistoryCallback done, const std::string& key, const std::string& value,
                              void* userData, WRequestStatus& out)
{
    return request<VorelGetLikeHistoryCMD>({userData, out}, done, key, value);
}

int WVorelOAI::saveHeadend(AckCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelSaveHeadendCMD>({userData, out}, done);
}

int WVorelOAI::loadHeadend(HeadendCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelLoadHeadendCMD>({userData, out}, done);
}

int WVorelOAI::getSmartChannel(ContentListCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetSmartChannelCMD>({userData, out}, done);
}

int WVorelOAI::getSmartPopular(ContentListCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetSmartPopularCMD>({userData, out}, done);
}

int WVorelOAI::getPopularChannel(ContentListCallback done, int imageSize, int count, void* userData,
                                 WRequestStatus& out)
{
    return request<VorelGetPopularChCMD>({userData, out}, done, imageSize, count);
}

int WVorelOAI::getRelatedContent(RelatedCallback done, const std::string& ttid, int imageSize, void* userData,
                                 WRequestStatus& out)
{
    return request<VorelGetRelatedCMD>({userData, out}, done, ttid, imageSize);
}

int WVorelOAI::getMissedContent(ContentListCallback done, const std::string& order, void* userData, WRequestStatus& out)
{
    return request<VorelGetMissedCMD>({userData, out}, done, order);
}

int WVorelOAI::getCandidateMissedContent(ContentListCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelGetCandidateMissedCMD>({userData, out}, done);
}

int WVorelOAI::getCombination(ConciergeCallback done, const std::string& modelFirmwareCode, void* userData,
                              WRequestStatus& out)
{
    return request<VorelGetCombinationCMD>({userData, out}, done, modelFirmwareCode);
}

int WVorelOAI::searchEPG(TextCallback done, const std::string& query, const std::string& exact, int start, int num,
                         void* userData, WRequestStatus& out)
{
    return request<VorelSearchEpgCMD>({userData, out}, done, query, exact, start, num);
}

int WVorelOAI::checkAgreement(TwoTextsCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelCheckAgreementCMD>({userData, out}, done);
}

int WVorelOAI::confirmAgreement(AckCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelConfirmAgreementCMD>({userData, out}, done);
}

int WVorelOAI::setAnonymAgreement(AckCallback done, bool anonymous, void* userData, WRequestStatus& out)
{
    return request<VorelSetAnonymAgreementCMD>({userData, out}, done, anonymous);
}

int WVorelOAI::revocateAgreement(AckCallback done, void* userData, WRequestStatus& out)
{
    return request<VorelRevocateAgreementCMD>({userData, out}, done);
}

}  // namespace W
