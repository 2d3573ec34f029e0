// One command per request: it holds callback, user data and owner, writes the request (MakeURL) and reads the reply
// (Parse...). VorelCommand<Family>.cpp has the commands of a family: field tables first, then each command's MakeURL
// and parser together.
//
// MakeURL appends to the URL, which holds the base address, and to the body; it reads the provider's settings.
// [the operation's thread]  A parser returns 0, 600 if the request was cancelled meanwhile, -56 if the reply is not
// JSON, -57 if it cannot be read, -55 if a required list is empty, or the service's negative error; after an error in
// the envelope nothing is written. `reference` is for the cancel test only.  [executor thread]
//
// The library exports these classes. Every exported constructor, destructor and operation is declared here and defined
// in a .cpp file: the compiler emits inline, implicit and inherited members only where they are used, and the set of
// exported names would depend on what it inlines. Inline members are not part of the interface and are not exported.
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>

#include "DebugPrint.h"
#include "LinkedList.h"
#include "WCorvaneOAI.h"

#pragma GCC visibility push(default)
namespace W {

class WVorelOAI;

namespace vorel {
class CommandRegistry;
class ProviderOptions;
class RequestQuery;
}  // namespace vorel

/// Base of all commands. A command serves one request and is destroyed exactly once, by its owner.
class VorelServiceCMD {
public:
    /// @param service  the plug-in object that created the command; not owned, may be null
    VorelServiceCMD(const WContentProvider& provider, void* userData, WVorelOAI* service);
    virtual ~VorelServiceCMD();
    VorelServiceCMD(const VorelServiceCMD&) = delete;
    VorelServiceCMD& operator=(const VorelServiceCMD&) = delete;

    /// ID of the provider for which the command runs.
    std::uint32_t getCPKey() const;
    /// Key of the command's kind, 3 to 51; 0xFFFFFFFF until a derived constructor has set it.
    std::uint32_t getCMDKey() const;
    void setCMDKey(unsigned int key);
    /// The provider's ID in the high 32 bits, the key in the low 32 bits.
    std::uint64_t getID() const;

    const std::string& url() const { return m_url; }
    /// Sets the address that MakeURL appends to.
    void setUrl(const std::string& url);
    const std::string& body() const { return m_body; }
    /// URL and body for the request, moved out: the command has none afterwards.
    std::string takeUrl() { return std::move(m_url); }
    std::string takeBody() { return std::move(m_body); }
    void* userData() const { return m_userData; }
    WVorelOAI* owner() const { return m_pService; }

    /// Whether the request has been cancelled; false without an owner or a service.
    bool isCancelled(UINT64 reference) const;

protected:
    // The results print the URL and BODY lines with the function and line of the caller, MakeURL.

    /// Appends a path and "?"; the parameters follow.
    vorel::RequestQuery urlQuery(std::string_view path, const vorel::ProviderOptions& options, vorel::Here here = {});
    /// Appends a path; the parameters go into the body.
    vorel::RequestQuery bodyQuery(std::string_view path, const vorel::ProviderOptions& options, vorel::Here here = {});
    /// Appends a string; settings are not used.
    vorel::RequestQuery urlOnly(std::string_view string, vorel::Here here = {});

    std::string m_url;
    std::string m_body;

private:
    std::uint32_t m_cpKey;
    std::uint32_t m_cmdKey = 0xFFFFFFFF;
    void* m_userData;
    WVorelOAI* m_pService;

    friend class vorel::CommandRegistry;
    vorel::Link<VorelServiceCMD> m_link;  ///< in the registry
    UINT64 m_ticket = 0;                  ///< of the registration; 0 while it is not registered
};

/// A command of one kind: its key and the caller's callback, which may be null.
template <unsigned int Key, class ResultCallback>
class VorelRequestCMD : public VorelServiceCMD {
public:
    static constexpr unsigned int kKey = Key;
    using Callback = ResultCallback;

    VorelRequestCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider)
        : VorelServiceCMD(provider, userData, service), m_done(done)
    {
        setCMDKey(Key);
    }

    Callback callback() const { return m_done; }

private:
    Callback m_done;
};

// -- Session, configuration and terms (VorelCommandConfig.cpp)

class VorelGetAuthSeedkeyCMD : public VorelRequestCMD<3, SessionCallback> {
public:
    VorelGetAuthSeedkeyCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetAuthSeedkeyCMD() override;
    void MakeURL();
    int ParseSessionInfo(const std::string& body, WVLSession& session);
};

class VorelGetConfLogCMD : public VorelRequestCMD<5, LogCallback> {
public:
    VorelGetConfLogCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetConfLogCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseConfLog(const std::string& body, WVLLog& out);
};

class VorelGetLocaltimeCMD : public VorelRequestCMD<6, LocaltimeCallback> {
public:
    VorelGetLocaltimeCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetLocaltimeCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseLocaltime(const std::string& body, WVLLocaltime& out);
};

class VorelResetHistoryCMD : public VorelRequestCMD<7, AckCallback> {
public:
    VorelResetHistoryCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelResetHistoryCMD() override;
    void MakeURL(unsigned long time, const WDateTime& clock, const WContentProvider& provider);
    int ParseResetHistory(const std::string& body);
};

class VorelGetServerUrlCMD : public VorelRequestCMD<8, ServerUrlCallback> {
public:
    VorelGetServerUrlCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetServerUrlCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// @param offsetSource  when it is valid, `expired` receives its offset
    int ParseServerUrl(const std::string& body, WDateTime offsetSource, std::string& url, WDateTime& expired);
};

class VorelCheckUploadCMD : public VorelRequestCMD<9, TwoTextsCallback> {
public:
    VorelCheckUploadCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelCheckUploadCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCheckUpload(const std::string& body, std::string& url, std::string& fileName);
};

class VorelSendChannelCMD : public VorelRequestCMD<10, AckCallback> {
public:
    VorelSendChannelCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSendChannelCMD() override;
    void MakeURL(const std::string& fileName, const WContentProvider& provider);
    int ParseSendChannel(const std::string& body);
};

class VorelGetCertificationRuleCMD : public VorelRequestCMD<11, CertificationRuleCallback> {
public:
    VorelGetCertificationRuleCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetCertificationRuleCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCertificationRule(const std::string& body, WVLCertificationRule& out);
};

class VorelCheckAgreementCMD : public VorelRequestCMD<47, TwoTextsCallback> {
public:
    VorelCheckAgreementCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelCheckAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCheckAgreement(const std::string& body, std::string& agreed, std::string& confirmed);
};

class VorelConfirmAgreementCMD : public VorelRequestCMD<48, AckCallback> {
public:
    VorelConfirmAgreementCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelConfirmAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseConfirmAgreement(const std::string& body);
};

class VorelSetAnonymAgreementCMD : public VorelRequestCMD<49, AckCallback> {
public:
    VorelSetAnonymAgreementCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSetAnonymAgreementCMD() override;
    void MakeURL(bool anonymous, const WContentProvider& provider);
    int ParseSetAnonymAgreement(const std::string& body);
};

class VorelRevocateAgreementCMD : public VorelRequestCMD<50, AckCallback> {
public:
    VorelRevocateAgreementCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelRevocateAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseRevocateAgreement(const std::string& body);
};

// -- Channels, headends and cities (VorelCommandChannel.cpp)

class VorelGetChannelListCMD : public VorelRequestCMD<12, ChannelListCallback> {
public:
    VorelGetChannelListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetChannelListCMD() override;
    void MakeURL(const std::string& checksum, const WContentProvider& provider);
    /// `checksum` and `changed` are written whenever the envelope is good, the channels only when they changed.
    int ParseChannelList(const std::string& body, WContainer<WVLChannel>& channels, std::string& checksum,
                         bool& changed, UINT64 reference);
};

class VorelGetHeadendCMD : public VorelRequestCMD<13, HeadendListCallback> {
public:
    VorelGetHeadendCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetHeadendCMD() override;
    void MakeURL(const std::string& zipCode, const WContentProvider& provider);
    int ParseHeadend(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetCityListCMD : public VorelRequestCMD<14, CityListCallback> {
public:
    VorelGetCityListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetCityListCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// Adds to both maps; existing entries stay, even if it fails or is cancelled.
    int ParseCityList(const std::string& body, std::map<int, std::string>& states,
                      std::multimap<int, WVLCityCode>& cities, UINT64 reference);
};

class VorelGetCityListBrowseCMD : public VorelRequestCMD<15, CityCodesCallback> {
public:
    VorelGetCityListBrowseCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetCityListBrowseCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCityList(const std::string& body, WContainer<WVLCityCode>& out, UINT64 reference);
};

class VorelGetHeadendKorCMD : public VorelRequestCMD<16, HeadendListCallback> {
public:
    VorelGetHeadendKorCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetHeadendKorCMD() override;
    void MakeURL(const std::string& code, const WContentProvider& provider);
    int ParseHeadendKor(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetHeadendBrowseCMD : public VorelRequestCMD<17, HeadendListCallback> {
public:
    VorelGetHeadendBrowseCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetHeadendBrowseCMD() override;
    void MakeURL(const std::string& code, const WContentProvider& provider);
    int ParseHeadendBrowse(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetLineupTestCMD : public VorelRequestCMD<22, QuizCallback> {
public:
    VorelGetLineupTestCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetLineupTestCMD() override;
    void MakeURL(const std::string& headend, const WContentProvider& provider);
    int ParseLineupTest(const std::string& body, WContainer<WVLQuiz>& out);
};

class VorelSaveHeadendCMD : public VorelRequestCMD<37, AckCallback> {
public:
    VorelSaveHeadendCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSaveHeadendCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseSaveHeadend(const std::string& body);
};

class VorelLoadHeadendCMD : public VorelRequestCMD<38, HeadendCallback> {
public:
    VorelLoadHeadendCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelLoadHeadendCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseLoadHeadend(const std::string& body, WVLHeadend& out);
};

// -- The guide (VorelCommandGuide.cpp)

class VorelGetScheduleCMD : public VorelRequestCMD<18, ContentListCallback> {
public:
    VorelGetScheduleCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetScheduleCMD() override;
    void MakeURL(const std::list<std::string>& sources, unsigned long start, const WDateTime& clock, int interval,
                 const std::list<int>& imageSizes, const WContentProvider& provider);
    int ParseSchedule(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetOnAirCMD : public VorelRequestCMD<19, ContentListCallback> {
public:
    VorelGetOnAirCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetOnAirCMD() override;
    void MakeURL(const std::list<std::string>& sources, const std::list<int>& imageSizes,
                 const WContentProvider& provider);
    int ParseOnAir(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetTodayCMD : public VorelRequestCMD<20, DownloadUrlsCallback> {
public:
    VorelGetTodayCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetTodayCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// Appends to the list.
    int ParseToday(const std::string& body, std::list<WVLDownloadURL>& out);
};

class VorelGetFocusChannelCMD : public VorelRequestCMD<21, ContentListCallback> {
public:
    VorelGetFocusChannelCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetFocusChannelCMD() override;
    void MakeURL(const std::string& source, int imageSize, int num, const WContentProvider& provider);
    int ParseFocusChannel(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetContentListCMD : public VorelRequestCMD<23, ContentListCallback> {
public:
    VorelGetContentListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetContentListCMD() override;
    void MakeURL(const std::list<int>& genres, unsigned long time, int start, int num, const WDateTime& clock,
                 const WContentProvider& provider);
    int ParseContentList(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetGuideCMD : public VorelRequestCMD<25, ContentListCallback> {
public:
    VorelGetGuideCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetGuideCMD() override;
    void MakeURL(const std::string& channel, const std::string& channelNumber, unsigned long time, int interval,
                 int imageSize, int start, int num, const WDateTime& clock, const WContentProvider& provider);
    int ParseGuide(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelSearchEpgCMD : public VorelRequestCMD<46, TextCallback> {
public:
    VorelSearchEpgCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSearchEpgCMD() override;
    void MakeURL(const std::string& query, const std::string& exact, int start, int num,
                 const WContentProvider& provider);
};

// -- Details (VorelCommandDetail.cpp)

class VorelGetGenreListCMD : public VorelRequestCMD<4, GenreListCallback> {
public:
    VorelGetGenreListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetGenreListCMD() override;
    void MakeURL(const std::string& checksum, const WContentProvider& provider);
    /// `checksum` and `changed` are written whenever the envelope is good, the genres only when they changed.
    int ParseGenreList(const std::string& body, WContainer<WVLGenre>& genres, WContainer<WVLRepGenre>& repGenres,
                       std::string& checksum, bool& changed, UINT64 reference);
};

class VorelGetContentDetailInfoCMD : public VorelRequestCMD<24, ContentListCallback> {
public:
    VorelGetContentDetailInfoCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetContentDetailInfoCMD() override;
    void MakeURL(const std::string& contentId, const std::string& source, unsigned long startTime,
                 const WDateTime& clock, const WContentProvider& provider);
    /// One record per airing. @throws what the JSON library throws
    int ParseContentDetailInfo(const std::string& body, WDateTime clock, WContainer<WVLContent>& out);
};

class VorelGetPersonDetailInfoCMD : public VorelRequestCMD<26, PersonCallback> {
public:
    VorelGetPersonDetailInfoCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetPersonDetailInfoCMD() override;
    void MakeURL(const std::string& personId, const WContentProvider& provider);
    int ParsePersonDetailInfo(const std::string& body, WVLPerson& out);
};

class VorelGetSeriesDetailInfoCMD : public VorelRequestCMD<27, SeriesCallback> {
public:
    VorelGetSeriesDetailInfoCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetSeriesDetailInfoCMD() override;
    void MakeURL(const std::string& contentId, const std::string& source, const WContentProvider& provider);
    /// @throws what the JSON library throws
    int ParseSeriesDetailInfo(const std::string& body, WDateTime clock, WVLContent& series,
                              WContainer<WVLContent>& episodes, UINT64 reference);
};

// -- The viewer's favourites, likes and history (VorelCommandViewer.cpp)

class VorelSetFavoriteCMD : public VorelRequestCMD<28, AckCallback> {
public:
    VorelSetFavoriteCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSetFavoriteCMD() override;
    void MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider);
    int ParseSetFavorite(const std::string& body);
};

class VorelDeleteFavoriteCMD : public VorelRequestCMD<29, AckCallback> {
public:
    VorelDeleteFavoriteCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelDeleteFavoriteCMD() override;
    void MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider);
    int ParseDeleteFavorite(const std::string& body);
};

class VorelGetFavoriteChannelCMD : public VorelRequestCMD<30, ChannelCallback> {
public:
    VorelGetFavoriteChannelCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetFavoriteChannelCMD() override;
    void MakeURL(const std::string& type, const std::string& id, int imageSize, const WContentProvider& provider);
    int ParseFavoriteChannel(const std::string& body, WVLChannel& out);
};

class VorelGetFavoriteContentCMD : public VorelRequestCMD<31, ContentCallback> {
public:
    VorelGetFavoriteContentCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetFavoriteContentCMD() override;
    void MakeURL(const std::string& type, const std::string& id, int imageSize, const WContentProvider& provider);
    int ParseFavoriteContent(const std::string& body, WVLContent& out);
};

class VorelGetFavoriteChannelListCMD : public VorelRequestCMD<32, ChannelsCallback> {
public:
    VorelGetFavoriteChannelListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetFavoriteChannelListCMD() override;
    void MakeURL(const std::string& type, int imageSize, const std::string& order, const std::string& sort, int start,
                 int num, const WContentProvider& provider);
    int ParseFavoriteChannelList(const std::string& body, WContainer<WVLChannel>& out, UINT64 reference);
};

class VorelGetFavoriteContentListCMD : public VorelRequestCMD<33, ContentListCallback> {
public:
    VorelGetFavoriteContentListCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetFavoriteContentListCMD() override;
    void MakeURL(const std::string& type, int imageSize, const std::string& order, const std::string& sort, int start,
                 int num, const WContentProvider& provider);
    int ParseFavoriteContentList(const std::string& body, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelSendTuneHistoryCMD : public VorelRequestCMD<34, NumberCallback> {
public:
    VorelSendTuneHistoryCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSendTuneHistoryCMD() override;
    void MakeURL(const std::string& ttid, const std::string& source, const WContentProvider& provider);
    int ParseSendTuneHistory(const std::string& body, int& sequence);
};

class VorelSendLikeCMD : public VorelRequestCMD<35, LikeCallback> {
public:
    VorelSendLikeCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelSendLikeCMD() override;
    /// Also stores the type, for GetType().
    void MakeURL(const std::string& key, const std::string& value, const std::string& type,
                 const WContentProvider& provider);
    int ParseSendLike(const std::string& body);

    /// The type that was sent; empty before MakeURL.
    const std::string& GetType() const;
    void SetType(const std::string& type);

private:
    std::string m_type;
};

class VorelGetLikeHistoryCMD : public VorelRequestCMD<36, LikeHistoryCallback> {
public:
    VorelGetLikeHistoryCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetLikeHistoryCMD() override;
    void MakeURL(const std::string& key, const std::string& value, const WContentProvider& provider);
    int ParseGetLikeHistory(const std::string& body, int& like, int& dislike, bool& likeOwned, bool& dislikeOwned);
};

// -- Recommendations (VorelCommandRecommend.cpp)

class VorelGetSmartChannelCMD : public VorelRequestCMD<39, ContentListCallback> {
public:
    VorelGetSmartChannelCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetSmartChannelCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetSmartChannel(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetSmartPopularCMD : public VorelRequestCMD<40, ContentListCallback> {
public:
    VorelGetSmartPopularCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetSmartPopularCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetSmartPopular(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetPopularChCMD : public VorelRequestCMD<41, ContentListCallback> {
public:
    VorelGetPopularChCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetPopularChCMD() override;
    void MakeURL(int imageSize, int count, const WContentProvider& provider);
    /// Quirk: returns -16 after an exception; its siblings return -57.
    int ParseGetPopularCh(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetRelatedCMD : public VorelRequestCMD<42, RelatedCallback> {
public:
    VorelGetRelatedCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetRelatedCMD() override;
    void MakeURL(const std::string& ttid, int imageSize, const WContentProvider& provider);
    int ParseGetRelated(const std::string& body, WContainer<WVLContent>& episode, WContainer<WVLPerson>& castAndCrew,
                        WContainer<WVLContent>& related);
};

class VorelGetMissedCMD : public VorelRequestCMD<43, ContentListCallback> {
public:
    VorelGetMissedCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetMissedCMD() override;
    void MakeURL(const std::string& order, const WContentProvider& provider);
    int ParseGetMissed(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetCandidateMissedCMD : public VorelRequestCMD<44, ContentListCallback> {
public:
    VorelGetCandidateMissedCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetCandidateMissedCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetCandidateMissed(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                UINT64 reference);
};

class VorelGetCombinationCMD : public VorelRequestCMD<45, ConciergeCallback> {
public:
    VorelGetCombinationCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelGetCombinationCMD() override;
    void MakeURL(const std::string& modelFirmwareCode, const WContentProvider& provider);
    int ParseCombination(const std::string& body, WDateTime clock, WVLConcierge& out);
};

// -- Files (VorelCommand.cpp)

/// A download: holds three strings and builds no URL.
class VorelDownloadCMD : public VorelServiceCMD {
public:
    static constexpr unsigned int kKey = 51;
    using Callback = DownloadCallback;

    VorelDownloadCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelDownloadCMD() override;
    /// Stores the three strings; URL and body of the base stay empty.
    void MakeURL(const std::string& url, const std::string& localPath, const std::string& fileName);

    /// Moves the path out: the callback may destroy the command.
    std::string takeLocalPath() { return std::move(m_localPath); }
    Callback callback() const { return m_done; }

private:
    std::string m_sourceUrl;
    std::string m_localPath;
    std::string m_fileName;
    Callback m_done;
};

}  // namespace W
#pragma GCC visibility pop
