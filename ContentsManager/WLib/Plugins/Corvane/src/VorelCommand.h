// One command per request: it holds what its reply needs (callback, user data, owner), writes the request
// (MakeURL) and reads the reply (Parse...). The families stand in VorelCommand<Family>.cpp: field tables first, then
// each command's MakeURL and parser together.
//
// MakeURL appends to the URL text, which holds the base address, and to the BODY text; the provider's settings are read
// in it. [the operation's thread]  A parser returns 0, 600 when the request was cancelled meanwhile, -56 when the text
// is not JSON, -57 when it cannot be read, -55 when a list that must not be empty is, or the service's negative error;
// on an error in the envelope nothing is written. `reference` serves the cancel test alone.  [executor thread]
#pragma once

#include "WCorvaneOAI.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <string_view>

#pragma GCC visibility push(default)
namespace W {

class WVorelOAI;

namespace vorel {
class ProviderOptions;
class Query;
struct Here;
}  // namespace vorel

/// What all commands share. Not reused for a second request; destroyed exactly once, by who holds it.
class VorelServiceCMD {
public:
    /// @param service  the plug-in object that created the command; not owned, may be null
    VorelServiceCMD(const WContentProvider& provider, void* userData, WVorelOAI* service);
    virtual ~VorelServiceCMD();
    VorelServiceCMD(const VorelServiceCMD&) = delete;
    VorelServiceCMD& operator=(const VorelServiceCMD&) = delete;

    /// ID of the provider for which the command runs.
    std::uint32_t getCPKey() const { return m_uCPKey; }
    /// Number of the kind, 3 to 51; 0xFFFFFFFF until a derived constructor has set it.
    std::uint32_t getCMDKey() const { return m_uCMDKey; }
    void setCMDKey(unsigned int key) { m_uCMDKey = key; }
    /// The provider's ID in the high half, the kind in the low one.
    std::uint64_t getID() const { return static_cast<std::uint64_t>(m_uCPKey) << 32 | m_uCMDKey; }

    const std::string& url() const { return m_sUrl; }
    void setUrl(std::string url) { m_sUrl = std::move(url); }
    const std::string& body() const { return m_sBody; }
    void* userData() const { return m_pUserData; }
    WVorelOAI* owner() const { return m_pService; }

    /// Whether the request has been cancelled; false without an owner or a service.
    bool isCancelled(UINT64 reference) const;

protected:
    /// Appends a path and "?" and writes the parameters behind it.
    vorel::Query urlQuery(std::string_view path, const vorel::ProviderOptions& options);
    /// Appends a path; the parameters go into the body.
    vorel::Query bodyQuery(std::string_view path, const vorel::ProviderOptions& options);
    /// Appends a text that is written without any setting.
    vorel::Query urlOnly(std::string_view text);

    std::string m_sUrl;
    std::string m_sBody;

private:
    std::uint32_t m_uCPKey;
    std::uint32_t m_uCMDKey = 0xFFFFFFFF;
    void* m_pUserData;
    WVorelOAI* m_pService;
};

/// A command of one kind: its number and its caller's callback, which may be null.
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
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetAuthSeedkeyCMD() override;
    void MakeURL();
    int ParseSessionInfo(const std::string& body, WVLSession& session);
};

class VorelGetConfLogCMD : public VorelRequestCMD<5, LogCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetConfLogCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseConfLog(const std::string& body, WVLLog& out);
};

class VorelGetLocaltimeCMD : public VorelRequestCMD<6, LocaltimeCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetLocaltimeCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseLocaltime(const std::string& body, WVLLocaltime& out);
};

class VorelResetHistoryCMD : public VorelRequestCMD<7, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelResetHistoryCMD() override;
    void MakeURL(unsigned long time, const WDateTime& clock, const WContentProvider& provider);
    int ParseResetHistory(const std::string& body);
};

class VorelGetServerUrlCMD : public VorelRequestCMD<8, ServerUrlCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetServerUrlCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// @param offsetSource  when it is valid, `expired` receives its offset
    int ParseServerUrl(const std::string& body, WDateTime offsetSource, std::string& url, WDateTime& expired);
};

class VorelCheckUploadCMD : public VorelRequestCMD<9, TwoTextsCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelCheckUploadCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCheckUpload(const std::string& body, std::string& url, std::string& fileName);
};

class VorelSendChannelCMD : public VorelRequestCMD<10, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSendChannelCMD() override;
    void MakeURL(const std::string& fileName, const WContentProvider& provider);
    int ParseSendChannel(const std::string& body);
};

class VorelGetCertificationRuleCMD : public VorelRequestCMD<11, CertificationRuleCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetCertificationRuleCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCertificationRule(const std::string& body, WVLCertificationRule& out);
};

class VorelCheckAgreementCMD : public VorelRequestCMD<47, TwoTextsCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelCheckAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCheckAgreement(const std::string& body, std::string& agreed, std::string& confirmed);
};

class VorelConfirmAgreementCMD : public VorelRequestCMD<48, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelConfirmAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseConfirmAgreement(const std::string& body);
};

class VorelSetAnonymAgreementCMD : public VorelRequestCMD<49, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSetAnonymAgreementCMD() override;
    void MakeURL(bool anonymous, const WContentProvider& provider);
    int ParseSetAnonymAgreement(const std::string& body);
};

class VorelRevocateAgreementCMD : public VorelRequestCMD<50, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelRevocateAgreementCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseRevocateAgreement(const std::string& body);
};

// -- Channels, headends and cities (VorelCommandChannel.cpp)

class VorelGetChannelListCMD : public VorelRequestCMD<12, ChannelListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetChannelListCMD() override;
    void MakeURL(const std::string& checksum, const WContentProvider& provider);
    /// `checksum` and `changed` are written whenever the envelope is good, the channels only when they changed.
    int ParseChannelList(const std::string& body, WContainer<WVLChannel>& channels, std::string& checksum,
                         bool& changed, UINT64 reference);
};

class VorelGetHeadendCMD : public VorelRequestCMD<13, HeadendListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetHeadendCMD() override;
    void MakeURL(const std::string& zipCode, const WContentProvider& provider);
    int ParseHeadend(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetCityListCMD : public VorelRequestCMD<14, CityListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetCityListCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// Adds to both maps; entries that are there stay, also when it fails or is cancelled.
    int ParseCityList(const std::string& body, std::map<int, std::string>& states,
                      std::multimap<int, WVLCityCode>& cities, UINT64 reference);
};

class VorelGetCityListBrowseCMD : public VorelRequestCMD<15, CityCodesCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetCityListBrowseCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseCityList(const std::string& body, WContainer<WVLCityCode>& out, UINT64 reference);
};

class VorelGetHeadendKorCMD : public VorelRequestCMD<16, HeadendListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetHeadendKorCMD() override;
    void MakeURL(const std::string& code, const WContentProvider& provider);
    int ParseHeadendKor(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetHeadendBrowseCMD : public VorelRequestCMD<17, HeadendListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetHeadendBrowseCMD() override;
    void MakeURL(const std::string& code, const WContentProvider& provider);
    int ParseHeadendBrowse(const std::string& body, WContainer<WVLHeadend>& out, UINT64 reference);
};

class VorelGetLineupTestCMD : public VorelRequestCMD<22, QuizCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetLineupTestCMD() override;
    void MakeURL(const std::string& headend, const WContentProvider& provider);
    int ParseLineupTest(const std::string& body, WContainer<WVLQuiz>& out);
};

class VorelSaveHeadendCMD : public VorelRequestCMD<37, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSaveHeadendCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseSaveHeadend(const std::string& body);
};

class VorelLoadHeadendCMD : public VorelRequestCMD<38, HeadendCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelLoadHeadendCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseLoadHeadend(const std::string& body, WVLHeadend& out);
};

// -- The guide (VorelCommandGuide.cpp)

class VorelGetScheduleCMD : public VorelRequestCMD<18, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetScheduleCMD() override;
    void MakeURL(const std::list<std::string>& sources, unsigned long start, const WDateTime& clock, int interval,
                 const std::list<int>& imageSizes, const WContentProvider& provider);
    int ParseSchedule(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetOnAirCMD : public VorelRequestCMD<19, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetOnAirCMD() override;
    void MakeURL(const std::list<std::string>& sources, const std::list<int>& imageSizes,
                 const WContentProvider& provider);
    int ParseOnAir(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetTodayCMD : public VorelRequestCMD<20, DownloadUrlsCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetTodayCMD() override;
    void MakeURL(const WContentProvider& provider);
    /// Appends to the list.
    int ParseToday(const std::string& body, std::list<WVLDownloadURL>& out);
};

class VorelGetFocusChannelCMD : public VorelRequestCMD<21, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetFocusChannelCMD() override;
    void MakeURL(const std::string& source, int imageSize, int num, const WContentProvider& provider);
    int ParseFocusChannel(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetContentListCMD : public VorelRequestCMD<23, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetContentListCMD() override;
    void MakeURL(const std::list<int>& genres, unsigned long time, int start, int num, const WDateTime& clock,
                 const WContentProvider& provider);
    int ParseContentList(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelGetGuideCMD : public VorelRequestCMD<25, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetGuideCMD() override;
    void MakeURL(const std::string& channel, const std::string& channelNumber, unsigned long time, int interval,
                 int imageSize, int start, int num, const WDateTime& clock, const WContentProvider& provider);
    int ParseGuide(const std::string& body, WDateTime clock, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelSearchEpgCMD : public VorelRequestCMD<46, TextCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSearchEpgCMD() override;
    void MakeURL(const std::string& query, const std::string& exact, int start, int num,
                 const WContentProvider& provider);
};

// -- Details (VorelCommandDetail.cpp)

class VorelGetGenreListCMD : public VorelRequestCMD<4, GenreListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetGenreListCMD() override;
    void MakeURL(const std::string& checksum, const WContentProvider& provider);
    /// `checksum` and `changed` are written whenever the envelope is good, the genres only when they changed.
    int ParseGenreList(const std::string& body, WContainer<WVLGenre>& genres, WContainer<WVLRepGenre>& repGenres,
                       std::string& checksum, bool& changed, UINT64 reference);
};

class VorelGetContentDetailInfoCMD : public VorelRequestCMD<24, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetContentDetailInfoCMD() override;
    void MakeURL(const std::string& contentId, const std::string& source, unsigned long startTime,
                 const WDateTime& clock, const WContentProvider& provider);
    /// One record per airing. @throws what the JSON library throws
    int ParseContentDetailInfo(const std::string& body, WDateTime clock, WContainer<WVLContent>& out);
};

class VorelGetPersonDetailInfoCMD : public VorelRequestCMD<26, PersonCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetPersonDetailInfoCMD() override;
    void MakeURL(const std::string& personId, const WContentProvider& provider);
    int ParsePersonDetailInfo(const std::string& body, WVLPerson& out);
};

class VorelGetSeriesDetailInfoCMD : public VorelRequestCMD<27, SeriesCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetSeriesDetailInfoCMD() override;
    void MakeURL(const std::string& contentId, const std::string& source, const WContentProvider& provider);
    /// @throws what the JSON library throws
    int ParseSeriesDetailInfo(const std::string& body, WDateTime clock, WVLContent& series,
                              WContainer<WVLContent>& episodes, UINT64 reference);
};

// -- The viewer's favourites, likes and history (VorelCommandViewer.cpp)

class VorelSetFavoriteCMD : public VorelRequestCMD<28, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSetFavoriteCMD() override;
    void MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider);
    int ParseSetFavorite(const std::string& body);
};

class VorelDeleteFavoriteCMD : public VorelRequestCMD<29, AckCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelDeleteFavoriteCMD() override;
    void MakeURL(const std::string& type, const std::string& id, const WContentProvider& provider);
    int ParseDeleteFavorite(const std::string& body);
};

class VorelGetFavoriteChannelCMD : public VorelRequestCMD<30, ChannelCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetFavoriteChannelCMD() override;
    void MakeURL(const std::string& type, const std::string& id, int imageSize, const WContentProvider& provider);
    int ParseFavoriteChannel(const std::string& body, WVLChannel& out);
};

class VorelGetFavoriteContentCMD : public VorelRequestCMD<31, ContentCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetFavoriteContentCMD() override;
    void MakeURL(const std::string& type, const std::string& id, int imageSize, const WContentProvider& provider);
    int ParseFavoriteContent(const std::string& body, WVLContent& out);
};

class VorelGetFavoriteChannelListCMD : public VorelRequestCMD<32, ChannelsCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetFavoriteChannelListCMD() override;
    void MakeURL(const std::string& type, int imageSize, const std::string& order, const std::string& sort, int start,
                 int num, const WContentProvider& provider);
    int ParseFavoriteChannelList(const std::string& body, WContainer<WVLChannel>& out, UINT64 reference);
};

class VorelGetFavoriteContentListCMD : public VorelRequestCMD<33, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetFavoriteContentListCMD() override;
    void MakeURL(const std::string& type, int imageSize, const std::string& order, const std::string& sort, int start,
                 int num, const WContentProvider& provider);
    int ParseFavoriteContentList(const std::string& body, WContainer<WVLContent>& out, UINT64 reference);
};

class VorelSendTuneHistoryCMD : public VorelRequestCMD<34, NumberCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSendTuneHistoryCMD() override;
    void MakeURL(const std::string& ttid, const std::string& source, const WContentProvider& provider);
    int ParseSendTuneHistory(const std::string& body, int& sequence);
};

class VorelSendLikeCMD : public VorelRequestCMD<35, LikeCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelSendLikeCMD() override;
    /// Also stores the type, for GetType().
    void MakeURL(const std::string& key, const std::string& value, const std::string& type,
                 const WContentProvider& provider);
    int ParseSendLike(const std::string& body);

    /// Which kind of like was sent; empty before MakeURL.
    const std::string& GetType() const { return m_sType; }
    void SetType(const std::string& type) { m_sType = type; }

private:
    std::string m_sType;
};

class VorelGetLikeHistoryCMD : public VorelRequestCMD<36, LikeHistoryCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetLikeHistoryCMD() override;
    void MakeURL(const std::string& key, const std::string& value, const WContentProvider& provider);
    int ParseGetLikeHistory(const std::string& body, int& like, int& dislike, bool& likeOwned, bool& dislikeOwned);
};

// -- Recommendations (VorelCommandRecommend.cpp)

class VorelGetSmartChannelCMD : public VorelRequestCMD<39, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetSmartChannelCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetSmartChannel(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetSmartPopularCMD : public VorelRequestCMD<40, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetSmartPopularCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetSmartPopular(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetPopularChCMD : public VorelRequestCMD<41, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetPopularChCMD() override;
    void MakeURL(int imageSize, int count, const WContentProvider& provider);
    /// Wanted: returns -16 where its siblings return -57.
    int ParseGetPopularCh(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetRelatedCMD : public VorelRequestCMD<42, RelatedCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetRelatedCMD() override;
    void MakeURL(const std::string& ttid, int imageSize, const WContentProvider& provider);
    int ParseGetRelated(const std::string& body, WContainer<WVLContent>& episode, WContainer<WVLPerson>& castAndCrew,
                        WContainer<WVLContent>& related);
};

class VorelGetMissedCMD : public VorelRequestCMD<43, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetMissedCMD() override;
    void MakeURL(const std::string& order, const WContentProvider& provider);
    int ParseGetMissed(const std::string& body, WContainer<WVLContent>& out, WDateTime clock, UINT64 reference);
};

class VorelGetCandidateMissedCMD : public VorelRequestCMD<44, ContentListCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetCandidateMissedCMD() override;
    void MakeURL(const WContentProvider& provider);
    int ParseGetCandidateMissed(const std::string& body, WContainer<WVLContent>& out, WDateTime clock,
                                UINT64 reference);
};

class VorelGetCombinationCMD : public VorelRequestCMD<45, ConciergeCallback> {
public:
    using VorelRequestCMD::VorelRequestCMD;
    ~VorelGetCombinationCMD() override;
    void MakeURL(const std::string& modelFirmwareCode, const WContentProvider& provider);
    int ParseCombination(const std::string& body, WDateTime clock, WVLConcierge& out);
};

// -- Files (VorelCommand.cpp)

/// A download: three texts instead of a URL to build.
class VorelDownloadCMD : public VorelServiceCMD {
public:
    static constexpr unsigned int kKey = 51;
    using Callback = DownloadCallback;

    VorelDownloadCMD(Callback done, void* userData, WVorelOAI* service, const WContentProvider& provider);
    ~VorelDownloadCMD() override;
    /// Stores the three texts; the URL and BODY texts of the base stay empty.
    void MakeURL(const std::string& url, const std::string& localPath, const std::string& fileName);

    const std::string& sourceUrl() const { return m_sSourceUrl; }
    const std::string& localPath() const { return m_sLocalPath; }
    /// Moves the path out, for a callback that the command may not outlive.
    std::string takeLocalPath() { return std::move(m_sLocalPath); }
    const std::string& fileName() const { return m_sFileName; }
    Callback callback() const { return m_done; }

private:
    std::string m_sSourceUrl;
    std::string m_sLocalPath;
    std::string m_sFileName;
    Callback m_done;
};

}  // namespace W
#pragma GCC visibility pop
