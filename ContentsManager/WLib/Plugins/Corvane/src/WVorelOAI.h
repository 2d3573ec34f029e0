// The plug-in object: the one implementation of WCorvaneOAI, which documents the operations. WVorelOAIRequests.cpp has
// the operations in slot order, WVorelOAIReplies.cpp the completions in key order, WVorelOAIFiles.cpp the operations on
// files, WVorelOAI.cpp the object's construction and destruction and the frame of the operations.
#pragma once

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>

#include "CommandOwner.h"
#include "CommandRegistry.h"
#include "Operations.h"
#include "VorelCommand.h"
#include "VorelService.h"
#include "WCorvaneOAI.h"

namespace W {

class WVorelOAI final : public WCorvaneOAI {
public:
    /// Does not report missing memory: every operation then returns -3.
    WVorelOAI();
    /// Ends all outstanding requests without running a callback, and waits for callbacks that run on other threads.
    ~WVorelOAI() override;

    int login(const std::string& id, const std::string& password, LoginCallback done, void* userData,
              WRequestStatus& out) override;
    int logout(LogoutCallback done, void* userData, WRequestStatus& out) override;
    int retrieveExceptions(std::list<WException*>& exceptions) override;
    int resolveException(WException* exception, ResolveCallback done, void* userData, WRequestStatus& out) override;

    int cancel(const WContentProvider& provider, unsigned long long reference) override;
    int getAuthSeedkey(SessionCallback done, void* userData, WRequestStatus& out) override;
    void setAuthSeedkey(const WVLSession& session) override;
    int getGenreList(GenreListCallback done, const std::string& checksum, void* userData, WRequestStatus& out) override;
    int getConfLog(LogCallback done, void* userData, WRequestStatus& out) override;
    int getLocalTime(LocaltimeCallback done, void* userData, WRequestStatus& out) override;
    int resetHistory(AckCallback done, unsigned long time, void* userData, WRequestStatus& out) override;
    int getServerUrl(ServerUrlCallback done, void* userData, WRequestStatus& out) override;
    int checkUpload(TwoTextsCallback done, void* userData, WRequestStatus& out) override;
    int sendChannel(AckCallback done, const std::string& url, const std::string& fileName, void* userData,
                    WRequestStatus& out) override;
    int getCertificationRule(CertificationRuleCallback done, void* userData, WRequestStatus& out) override;
    int getChannelList(ChannelListCallback done, const std::string& checksum, void* userData,
                       WRequestStatus& out) override;
    int getHeadend(HeadendListCallback done, const std::string& zipCode, void* userData, WRequestStatus& out) override;
    int getCityList(CityListCallback done, void* userData, WRequestStatus& out) override;
    int getCityList_browse(CityCodesCallback done, void* userData, WRequestStatus& out) override;
    int getHeadend_Kor(HeadendListCallback done, const std::string& code, void* userData, WRequestStatus& out) override;
    int getHeadend_browse(HeadendListCallback done, const std::string& code, void* userData,
                          WRequestStatus& out) override;
    int getSchedule(ContentListCallback done, const std::list<std::string>& sources, unsigned long start, int interval,
                    const std::list<int>& imageSizes, void* userData, WRequestStatus& out) override;
    int getOnAir(ContentListCallback done, const std::list<std::string>& sources, const std::list<int>& imageSizes,
                 void* userData, WRequestStatus& out) override;
    int getTodayURL(DownloadUrlsCallback done, void* userData, WRequestStatus& out) override;
    int getTodaySchedule(const std::string& path, WContainer<WVLContent>& result) override;
    int getLineupTest(QuizCallback done, const std::string& headend, void* userData, WRequestStatus& out) override;
    int getFocusChannel(ContentListCallback done, const std::string& source, int imageSize, int num, void* userData,
                        WRequestStatus& out) override;
    int getContentList(ContentListCallback done, const std::list<int>& genres, unsigned long time, int start, int num,
                       void* userData, WRequestStatus& out) override;
    int getContentDetailInfo(ContentListCallback done, const std::string& contentId, const std::string& source,
                             unsigned long startTime, void* userData, WRequestStatus& out) override;
    int getGuide(ContentListCallback done, const std::string& channel, const std::string& channelNumber,
                 unsigned long time, int interval, int imageSize, int start, int num, void* userData,
                 WRequestStatus& out) override;
    int getPersonDetailInfo(PersonCallback done, const std::string& personId, void* userData,
                            WRequestStatus& out) override;
    int getSeriesDetailInfo(SeriesCallback done, const std::string& contentId, const std::string& source,
                            void* userData, WRequestStatus& out) override;
    int setFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                    WRequestStatus& out) override;
    int deleteFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                       WRequestStatus& out) override;
    int getFavoriteChannel(ChannelCallback done, const std::string& type, const std::string& id, int imageSize,
                           void* userData, WRequestStatus& out) override;
    int getFavoriteContent(ContentCallback done, const std::string& type, const std::string& id, int imageSize,
                           void* userData, WRequestStatus& out) override;
    int getFavoriteChannelList(ChannelsCallback done, const std::string& type, int imageSize, const std::string& order,
                               const std::string& sort, int start, int num, void* userData,
                               WRequestStatus& out) override;
    int getFavoriteContentList(ContentListCallback done, const std::string& type, int imageSize,
                               const std::string& order, const std::string& sort, int start, int num, void* userData,
                               WRequestStatus& out) override;
    int sendTuneHistory(NumberCallback done, const std::string& ttid, const std::string& source, void* userData,
                        WRequestStatus& out) override;
    int sendLike(LikeCallback done, const std::string& key, const std::string& value, const std::string& type,
                 void* userData, WRequestStatus& out) override;
    int getLikeHistory(LikeHistoryCallback done, const std::string& key, const std::string& value, void* userData,
                       WRequestStatus& out) override;
    int saveHeadend(AckCallback done, void* userData, WRequestStatus& out) override;
    int loadHeadend(HeadendCallback done, void* userData, WRequestStatus& out) override;
    int getSmartChannel(ContentListCallback done, void* userData, WRequestStatus& out) override;
    int getSmartPopular(ContentListCallback done, void* userData, WRequestStatus& out) override;
    int getPopularChannel(ContentListCallback done, int imageSize, int count, void* userData,
                          WRequestStatus& out) override;
    int getRelatedContent(RelatedCallback done, const std::string& ttid, int imageSize, void* userData,
                          WRequestStatus& out) override;
    int getMissedContent(ContentListCallback done, const std::string& order, void* userData,
                         WRequestStatus& out) override;
    int getCandidateMissedContent(ContentListCallback done, void* userData, WRequestStatus& out) override;
    int getCombination(ConciergeCallback done, const std::string& modelFirmwareCode, void* userData,
                       WRequestStatus& out) override;
    int searchEPG(TextCallback done, const std::string& query, const std::string& exact, int start, int num,
                  void* userData, WRequestStatus& out) override;
    int checkAgreement(TwoTextsCallback done, void* userData, WRequestStatus& out) override;
    int confirmAgreement(AckCallback done, void* userData, WRequestStatus& out) override;
    int setAnonymAgreement(AckCallback done, bool anonymous, void* userData, WRequestStatus& out) override;
    int revocateAgreement(AckCallback done, void* userData, WRequestStatus& out) override;
    int download(const WContentProvider& provider, const std::string& url, const std::string& directory,
                 const std::string& fileName, DownloadCallback done, void* userData, WRequestStatus& out) override;

    // -- Commands  [any thread]

    /// Registers a command, which the registry then owns. One that is registered already stays registered once.
    void addCMD(VorelServiceCMD* command) { m_registry.add(command); }
    /// Destroys a registered command. Any other pointer is ignored; it is only compared.
    void cleanupCMD(VorelServiceCMD* command) { m_registry.destroy(command); }
    /// Destroys every registered command.
    void cleanupCMD() { m_registry.destroyAll(); }
    std::size_t commandCount() const { return m_registry.size(); }

    /// Fills a caller's record: key, reference, status, in this order.
    static void setWRequestStatus(unsigned int requestID, unsigned long long reference, int status,
                                  WRequestStatus& out);

    /// The transport; null if there was no memory for it.
    VorelService* service() const { return m_pService; }

    /// Difference between UTC and the service's local time; not valid before getLocalTime() has succeeded.
    WDateTime serverTimeDifference() const;
    void setServerTimeDifference(const WDateTime& difference);

    // -- Completions (WVorelOAIReplies.cpp)  [executor thread]

    /// Completion of every request: calls the handler of the command's key.
    /// @return the reference; 0 for the reserved keys 0 to 2
    static UINT64 cbFnVorelRequestCompleted(SESSION_STATUS status, const HttpResponse& response,
                                            VorelServiceCMD* command, UINT64 reference);

    // One handler per key. Each runs the command's callback once, unless it is null, and returns the reference.
    // `command->owner()` must not be null.

    template <class Command>
    using Handler = UINT64(SESSION_STATUS status, const HttpResponse& response, Command* command, UINT64 reference);

    static Handler<VorelGetAuthSeedkeyCMD> cbGetAuthSeedkeyDone;
    static Handler<VorelGetGenreListCMD> cbGetGenreListDone;
    static Handler<VorelGetConfLogCMD> cbGetConfLogDone;
    static Handler<VorelGetLocaltimeCMD> cbGetLocalTimeDone;
    static Handler<VorelResetHistoryCMD> cbResetHistoryDone;
    static Handler<VorelGetServerUrlCMD> cbGetServerUrlDone;
    static Handler<VorelCheckUploadCMD> cbCheckUploadDone;
    static Handler<VorelSendChannelCMD> cbSendChannelDone;
    static Handler<VorelGetCertificationRuleCMD> cbGetCertificationRuleDone;
    static Handler<VorelGetChannelListCMD> cbGetChannelListDone;
    static Handler<VorelGetHeadendCMD> cbGetHeadendDone;
    static Handler<VorelGetCityListCMD> cbGetCityListDone;
    static Handler<VorelGetCityListBrowseCMD> cbGetCityListBrowseDone;
    static Handler<VorelGetHeadendKorCMD> cbGetHeadendKorDone;
    static Handler<VorelGetHeadendBrowseCMD> cbGetHeadendBrowseDone;
    static Handler<VorelGetScheduleCMD> cbGetScheduleDone;
    static Handler<VorelGetOnAirCMD> cbGetOnAirDone;
    static Handler<VorelGetTodayCMD> cbGetTodayURLDone;
    static Handler<VorelGetFocusChannelCMD> cbGetFocusChannelDone;
    static Handler<VorelGetLineupTestCMD> cbGetLineupTestDone;
    static Handler<VorelGetContentListCMD> cbGetContentListDone;
    static Handler<VorelGetContentDetailInfoCMD> cbGetContentDetailInfoDone;
    static Handler<VorelGetGuideCMD> cbGetGuideDone;
    static Handler<VorelGetPersonDetailInfoCMD> cbGetPersonDetailInfoDone;
    static Handler<VorelGetSeriesDetailInfoCMD> cbGetSeriesDetailInfoDone;
    static Handler<VorelSetFavoriteCMD> cbSetFavoriteDone;
    static Handler<VorelDeleteFavoriteCMD> cbDeleteFavoriteDone;
    static Handler<VorelGetFavoriteChannelCMD> cbGetFavoriteChannelDone;
    static Handler<VorelGetFavoriteContentCMD> cbGetFavoriteContentDone;
    static Handler<VorelGetFavoriteChannelListCMD> cbGetFavoriteChannelListDone;
    static Handler<VorelGetFavoriteContentListCMD> cbGetFavoriteContentListDone;
    static Handler<VorelSendTuneHistoryCMD> cbSendTuneHistoryDone;
    static Handler<VorelSendLikeCMD> cbSendLikeDone;
    static Handler<VorelGetLikeHistoryCMD> cbGetLikeHistoryDone;
    static Handler<VorelSaveHeadendCMD> cbSaveHeadendDone;
    static Handler<VorelLoadHeadendCMD> cbLoadHeadendDone;
    static Handler<VorelGetSmartChannelCMD> cbGetSmartChannelDone;
    static Handler<VorelGetSmartPopularCMD> cbGetSmartPopularDone;
    static Handler<VorelGetPopularChCMD> cbGetPopularChDone;
    static Handler<VorelGetRelatedCMD> cbGetRelatedDone;
    static Handler<VorelGetMissedCMD> cbGetMissedDone;
    static Handler<VorelGetCandidateMissedCMD> cbGetCandidateMissedDone;
    static Handler<VorelGetCombinationCMD> cbGetCombinationDone;
    static Handler<VorelSearchEpgCMD> cbSearchEpgDone;
    static Handler<VorelCheckAgreementCMD> cbCheckAgreementDone;
    static Handler<VorelConfirmAgreementCMD> cbConfirmAgreementDone;
    static Handler<VorelSetAnonymAgreementCMD> cbSetAnonymAgreementDone;
    static Handler<VorelRevocateAgreementCMD> cbRevocateAgreementDone;
    static Handler<VorelDownloadCMD> cbDownloadDone;

private:
    /// This object, as its commands and transport see it.
    class Owner final : public vorel::CommandOwner {
    public:
        explicit Owner(WVorelOAI& object) : m_object(object) {}
        bool isCancelled(UINT64 reference) const override;
        void releaseCommand(VorelServiceCMD* command) override { m_object.m_registry.release(command); }

    private:
        WVorelOAI& m_object;
    };

    /// One call of an operation: the arguments that all operations have, and the operation's source line.
    struct CallContext {
        CallContext(void* pCallersData, WRequestStatus& callersRecord, bool argumentsGiven = true,
                    int operationLine = __builtin_LINE())
            : userData(pCallersData), out(callersRecord), given(argumentsGiven), line(operationLine)
        {}

        void* userData;
        WRequestStatus& out;
        bool given;  ///< no required argument is missing
        int line;
    };

    // The frame of an operation, in order: admit(), the command, its MakeURL, send(); refuse() after any failure.

    /// Runs an operation that sends one command.
    /// @param arguments  those of the command's MakeURL, without the provider
    template <class Command, class... Arguments>
    int request(const CallContext& call, typename Command::Callback done, const Arguments&... arguments);

    /// The checks before a command is made: service, session, arguments and options, clock.
    /// @return 0, or the status of the refusal, for which any line other than the error line has been printed
    WSTATUS admit(const vorel::Operation& operation, const vorel::ProviderOptions& options,
                  const CallContext& call) const;

    /// Registers the command and hands it to the transport, with the operation's headers and by its verb.
    /// @param filePath  of an upload or download
    /// @throws std::exception before anything has been registered
    int send(const vorel::Operation& operation, const vorel::ProviderOptions& options, const CallContext& call,
             std::unique_ptr<VorelServiceCMD> command, std::string url, const std::string& filePath = {});

    /// Ends a refused call: prints the error line and fills the status record.
    static int refuse(const vorel::Operation& operation, const CallContext& call, WSTATUS status);
    /// The same after an exception, with -3. An exception other than out-of-memory is printed first.
    static int refuse(const vorel::Operation& operation, const CallContext& call, const std::exception& exception);
    /// The operation's line about a missing service.
    static void printNoService(const vorel::Operation& operation, const CallContext& call);

    HeaderMap headers(const vorel::Operation& operation, const vorel::ProviderOptions& options) const;
    WSTATUS transport(vorel::Verb verb, VorelServiceCMD& command, const HeaderMap& headers, std::string url,
                      const std::string& filePath, unsigned long long& reference);

    VorelService* m_pService = nullptr;  ///< owned
    vorel::CommandRegistry m_registry;
    WDateTime m_serverTimeDifference;

    mutable std::mutex m_clockLock;  ///< m_serverTimeDifference
    Owner m_owner{*this};
    friend vorel::CommandOwner& vorel::ownerOf(WVorelOAI& object);
};

template <class Command, class... Arguments>
int WVorelOAI::request(const CallContext& call, typename Command::Callback done, const Arguments&... arguments)
{
    using vorel::ProviderOptions;
    constexpr const vorel::Operation& row = vorel::operation(Command::kKey);
    try {
        const ProviderOptions options(m_provider, row.reads);
        if (const WSTATUS refused = admit(row, options, call); refused != status::kOk) {
            return refuse(row, call, refused);
        }
        std::unique_ptr<Command> command(new (std::nothrow) Command(done, call.userData, this, m_provider));
        if (command == nullptr) {
            return refuse(row, call, status::kNoService);
        }
        const std::string& other = options[vorel::ServerUrl];
        command->setUrl(other.empty() ? m_pService->baseUrl() : other);
        if constexpr (std::is_invocable_v<decltype(&Command::MakeURL), Command&, const Arguments&...>) {
            command->MakeURL(arguments...);
        } else {
            command->MakeURL(arguments..., m_provider);
        }
        std::string url = command->takeUrl();
        return send(row, options, call, std::move(command), std::move(url));
    } catch (const std::exception& exception) {
        return refuse(row, call, exception);
    }
}

}  // namespace W
