// The operations of the Corvane live-television service: one virtual function per endpoint. The slots of the virtual
// table are part of the library's binary interface, so new operations are added at the end.
//
// Common to all request operations
// - They send a request and return at once: 0 if it was accepted, else a negative status, and nothing was sent. In
//   both cases the WRequestStatus has been written exactly once: the operation's key, the request's reference (0 if
//   refused) and the status.
// - The callback comes exactly once for an accepted request, never for a refused one. It runs on a thread of the host's
//   executor, possibly before the operation has returned. It may call any operation, cancel() and even destroyPlugin();
//   it must not unload the library. A null callback is allowed: the request is sent and its result is dropped.
// - A callback's arguments are: status, results, reference, user data. The results exist only during the callback.
//   After a failure they are empty, except for what had been read before it.
// - Statuses of any operation: -1 an argument or option is missing; -3 no service, or out of memory; -202 no session;
//   -59 getLocalTime() has not succeeded yet (operations marked "needs the server's time"). Statuses of any callback:
//   0; 600 cancelled; -56 the reply is not JSON; -57 it cannot be read; -9000 minus the service's error code; and the
//   statuses of failed exchanges. docs/statuses.md lists them all.
// - Strings are UTF-8 and go into the URL unescaped. Image sizes are the service's size numbers; 0 leaves the choice to
//   the service. `start` counts from 0; `num` is the maximum number of results, 0 (or as stated) for the default.
// - Times are seconds since 1970-01-01T00:00:00Z; 0 means "no time given".
//
// Unless stated otherwise: [any thread].
#pragma once

#include <list>
#include <map>
#include <string>

#include "WAbstractOAI.h"
#include "WContainer.h"
#include "WDateTime.h"
#include "WTypes.h"
#include "WVLChannel.h"
#include "WVLConcierge.h"
#include "WVLContent.h"
#include "WVLDownloadURL.h"
#include "WVLGenre.h"
#include "WVLHeadend.h"
#include "WVLPerson.h"
#include "WVLQuiz.h"
#include "WVLService.h"

#pragma GCC visibility push(default)
namespace W {

/// A callback: status, the results of its kind, the request's reference, the caller's user data.
template <class... Results>
using WResultCallback = void (*)(int status, Results... results, UINT64 reference, void* userData);

using AckCallback = WResultCallback<>;
using SessionCallback = WResultCallback<const WVLSession&>;
/// Genres, representative genres, checksum of the catalogue, and whether it changed.
using GenreListCallback =
    WResultCallback<const WContainer<WVLGenre>&, const WContainer<WVLRepGenre>&, const std::string&, bool>;
using LogCallback = WResultCallback<const WVLLog&>;
using LocaltimeCallback = WResultCallback<const WVLLocaltime&>;
/// Address, and the instant at which it expires.
using ServerUrlCallback = WResultCallback<const std::string&, const WDateTime&>;
/// Two strings: URL and file name, or status and confirmation.
using TwoTextsCallback = WResultCallback<const std::string&, const std::string&>;
using CertificationRuleCallback = WResultCallback<const WVLCertificationRule&>;
/// Channels, checksum of the line-up, and whether it changed.
using ChannelListCallback = WResultCallback<const WContainer<WVLChannel>&, const std::string&, bool>;
using HeadendListCallback = WResultCallback<const WContainer<WVLHeadend>&>;
/// State names by number, and the cities of each state under the same number.
using CityListCallback = WResultCallback<const std::map<int, std::string>&, const std::multimap<int, WVLCityCode>&>;
using CityCodesCallback = WResultCallback<const WContainer<WVLCityCode>&>;
using ContentListCallback = WResultCallback<const WContainer<WVLContent>&>;
using DownloadUrlsCallback = WResultCallback<const WContainer<WVLDownloadURL>&>;
using QuizCallback = WResultCallback<const WContainer<WVLQuiz>&>;
using PersonCallback = WResultCallback<const WVLPerson&>;
/// The series, and its episodes.
using SeriesCallback = WResultCallback<const WVLContent&, const WContainer<WVLContent>&>;
using ChannelCallback = WResultCallback<const WVLChannel&>;
using ContentCallback = WResultCallback<const WVLContent&>;
using ChannelsCallback = WResultCallback<const WContainer<WVLChannel>&>;
/// Sequence number of the entry.
using NumberCallback = WResultCallback<int>;
/// True if the type that was sent is "like".
using LikeCallback = WResultCallback<bool>;
/// Numbers of likes and dislikes, whether the viewer's like is one of them, and whether the viewer's dislike is.
using LikeHistoryCallback = WResultCallback<int, int, bool, bool>;
using HeadendCallback = WResultCallback<const WVLHeadend&>;
/// The programme itself (one record), its cast and crew, related titles.
using RelatedCallback =
    WResultCallback<const WContainer<WVLContent>&, const WContainer<WVLPerson>&, const WContainer<WVLContent>&>;
using ConciergeCallback = WResultCallback<const WVLConcierge&>;
/// The body of the reply, unchanged.
using TextCallback = WResultCallback<const std::string&>;
/// Provider and local path of the file.
using DownloadCallback = WResultCallback<const WContentProvider&, const std::string&>;

class WCorvaneOAI : public WAbstractOAI {
public:
    /// Asks for a request to be cancelled. Its callback still comes, exactly once: with status 600, or with the reply's
    /// status if the reply had already arrived.
    ///
    /// @param provider   the provider that issued the request; another one is refused
    /// @param reference  as written to the WRequestStatus when the request was accepted; never 0
    /// @return 600 marked; 700 marked before; -9 unknown or finished; -15 this kind cannot be cancelled;
    ///         -1 wrong provider; -202 no session; -3 no service. Only 600 changes anything.
    virtual int cancel(const WContentProvider& provider, unsigned long long reference) = 0;

    /// Opens and stores a session. Only this operation, getLocalTime(), getServerUrl() and download() need none.
    /// @return -1 if the option "vorel_app_key" is empty
    virtual int getAuthSeedkey(SessionCallback done, void* userData, WRequestStatus& out) = 0;

    /// Replaces the stored session by one that the host has from elsewhere. Checks nothing.
    virtual void setAuthSeedkey(const WVLSession& session) = 0;

    /// Genre catalogue. If the service's checksum equals `checksum`, only the checksum and false are delivered.
    /// @param checksum  of the catalogue that the caller holds; empty for none
    virtual int getGenreList(GenreListCallback done, const std::string& checksum, void* userData,
                             WRequestStatus& out) = 0;

    /// How a device must report its log.
    virtual int getConfLog(LogCallback done, void* userData, WRequestStatus& out) = 0;

    /// The service's clock. Success stores the difference to UTC; the operations that need the server's time attach it
    /// to the times that they deliver. Needs no session.
    /// @return -1 if the option "vorel_country" or "vorel_headend" is empty
    virtual int getLocalTime(LocaltimeCallback done, void* userData, WRequestStatus& out) = 0;

    /// Deletes the viewer's history up to `time`; 0 for all of it.
    virtual int resetHistory(AckCallback done, unsigned long time, void* userData, WRequestStatus& out) = 0;

    /// Address of the service for this country. Needs no session. Sent to the option "vorel_server_url" if that is set.
    virtual int getServerUrl(ServerUrlCallback done, void* userData, WRequestStatus& out) = 0;

    /// Upload URL and file name, if the service wants the device's channel information.
    virtual int checkUpload(TwoTextsCallback done, void* userData, WRequestStatus& out) = 0;

    /// Uploads the file at the option "vorel_channelinfo_filepath".
    /// @param url       upload URL from checkUpload(). If it is not an absolute http or https URL, the file goes to the
    ///                  base URL.
    /// @param fileName  name of the file at the service; must not be empty
    /// @return -403 if the file cannot be opened
    virtual int sendChannel(AckCallback done, const std::string& url, const std::string& fileName, void* userData,
                            WRequestStatus& out) = 0;

    /// The rules for programmes with an age limit.
    /// @return -1 if the option "vorel_country" is empty
    virtual int getCertificationRule(CertificationRuleCallback done, void* userData, WRequestStatus& out) = 0;

    /// The line-up. If the service's checksum equals `checksum`, only the checksum and false are delivered.
    virtual int getChannelList(ChannelListCallback done, const std::string& checksum, void* userData,
                               WRequestStatus& out) = 0;

    /// Headends that serve a postal code, which is percent-encoded.
    virtual int getHeadend(HeadendListCallback done, const std::string& zipCode, void* userData,
                           WRequestStatus& out) = 0;

    /// States and their cities.
    virtual int getCityList(CityListCallback done, void* userData, WRequestStatus& out) = 0;

    /// Regions, for browsing.
    virtual int getCityList_browse(CityCodesCallback done, void* userData, WRequestStatus& out) = 0;

    /// Headends of a city of getCityList().
    virtual int getHeadend_Kor(HeadendListCallback done, const std::string& code, void* userData,
                               WRequestStatus& out) = 0;

    /// Headends of a region of getCityList_browse().
    virtual int getHeadend_browse(HeadendListCallback done, const std::string& code, void* userData,
                                  WRequestStatus& out) = 0;

    /// Programmes of the given channels, channel by channel. Needs the server's time.
    /// @param sources     sources of the channels; not empty
    /// @param start       begin of the time window; 0 for the service's current time
    /// @param interval    length of the window in hours; not 0
    /// @param imageSizes  poster sizes; not empty
    virtual int getSchedule(ContentListCallback done, const std::list<std::string>& sources, unsigned long start,
                            int interval, const std::list<int>& imageSizes, void* userData, WRequestStatus& out) = 0;

    /// The current programmes. Needs the server's time.
    /// @param sources     not empty
    /// @param imageSizes  not empty
    virtual int getOnAir(ContentListCallback done, const std::list<std::string>& sources,
                         const std::list<int>& imageSizes, void* userData, WRequestStatus& out) = 0;

    /// Files with today's schedule, for download() and getTodaySchedule(). Needs the server's time.
    virtual int getTodayURL(DownloadUrlsCallback done, void* userData, WRequestStatus& out) = 0;

    /// Reads a schedule file on the device before it returns. Sends no request.
    /// @param path    of a regular file of at most 64 MiB
    /// @param result  receives every programme, channel by channel; unchanged on failure
    /// @return 0; -3 no service; -403 not readable; -56 not JSON; -57 no schedule
    virtual int getTodaySchedule(const std::string& path, WContainer<WVLContent>& result) = 0;

    /// The line-up quiz, whose answers identify the viewer's headend.
    virtual int getLineupTest(QuizCallback done, const std::string& headend, void* userData, WRequestStatus& out) = 0;

    /// The next programmes of one channel. Needs the server's time.
    virtual int getFocusChannel(ContentListCallback done, const std::string& source, int imageSize, int num,
                                void* userData, WRequestStatus& out) = 0;

    /// Programmes by genre. Needs the server's time.
    /// @param genres  not empty
    virtual int getContentList(ContentListCallback done, const std::list<int>& genres, unsigned long time, int start,
                               int num, void* userData, WRequestStatus& out) = 0;

    /// Details of a programme, once per airing. Needs the server's time.
    /// @param contentId  not empty
    /// @param source     selects the airings on one channel; may be empty
    /// @param startTime  selects one airing; 0 for all
    virtual int getContentDetailInfo(ContentListCallback done, const std::string& contentId, const std::string& source,
                                     unsigned long startTime, void* userData, WRequestStatus& out) = 0;

    /// A page of the guide around a channel. Needs the server's time.
    /// @param channel        source of the channel
    /// @param channelNumber  may be empty
    /// @param interval       in hours
    virtual int getGuide(ContentListCallback done, const std::string& channel, const std::string& channelNumber,
                         unsigned long time, int interval, int imageSize, int start, int num, void* userData,
                         WRequestStatus& out) = 0;

    /// A person of the cast or crew.
    /// @param personId  not empty
    virtual int getPersonDetailInfo(PersonCallback done, const std::string& personId, void* userData,
                                    WRequestStatus& out) = 0;

    /// A series and its episodes, season by season. Needs the server's time.
    /// @param contentId  not empty
    virtual int getSeriesDetailInfo(SeriesCallback done, const std::string& contentId, const std::string& source,
                                    void* userData, WRequestStatus& out) = 0;

    /// Makes a channel or programme a favourite.
    /// @param type  "channel" or "content"
    virtual int setFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                            WRequestStatus& out) = 0;

    /// Deletes a favourite.
    virtual int deleteFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                               WRequestStatus& out) = 0;

    /// One favourite channel.
    virtual int getFavoriteChannel(ChannelCallback done, const std::string& type, const std::string& id, int imageSize,
                                   void* userData, WRequestStatus& out) = 0;

    /// One favourite programme.
    virtual int getFavoriteContent(ContentCallback done, const std::string& type, const std::string& id, int imageSize,
                                   void* userData, WRequestStatus& out) = 0;

    /// The favourite channels.
    /// @param order, sort  in the service's terms; empty for its default
    virtual int getFavoriteChannelList(ChannelsCallback done, const std::string& type, int imageSize,
                                       const std::string& order, const std::string& sort, int start, int num,
                                       void* userData, WRequestStatus& out) = 0;

    /// The favourite programmes; arguments as for the channels.
    virtual int getFavoriteContentList(ContentListCallback done, const std::string& type, int imageSize,
                                       const std::string& order, const std::string& sort, int start, int num,
                                       void* userData, WRequestStatus& out) = 0;

    /// Reports that the viewer tuned to a programme on a channel.
    virtual int sendTuneHistory(NumberCallback done, const std::string& ttid, const std::string& source, void* userData,
                                WRequestStatus& out) = 0;

    /// Reports that the viewer likes or dislikes something, which a key (such as "id") and its value identify.
    virtual int sendLike(LikeCallback done, const std::string& key, const std::string& value, const std::string& type,
                         void* userData, WRequestStatus& out) = 0;

    /// Numbers of likes and dislikes.
    virtual int getLikeHistory(LikeHistoryCallback done, const std::string& key, const std::string& value,
                               void* userData, WRequestStatus& out) = 0;

    /// Stores the configured headend at the service, for this viewer.
    virtual int saveHeadend(AckCallback done, void* userData, WRequestStatus& out) = 0;

    /// The headend stored at the service.
    virtual int loadHeadend(HeadendCallback done, void* userData, WRequestStatus& out) = 0;

    /// Programmes of the channels that suit the viewer at this time of day. Needs the server's time.
    virtual int getSmartChannel(ContentListCallback done, void* userData, WRequestStatus& out) = 0;

    /// Popular programmes that suit the viewer. Needs the server's time.
    virtual int getSmartPopular(ContentListCallback done, void* userData, WRequestStatus& out) = 0;

    /// Programmes on popular channels. Needs the server's time.
    /// @param count  maximum number of results; 0 for the default
    virtual int getPopularChannel(ContentListCallback done, int imageSize, int count, void* userData,
                                  WRequestStatus& out) = 0;

    /// A programme, its cast and crew, and related programmes. Needs the server's time.
    virtual int getRelatedContent(RelatedCallback done, const std::string& ttid, int imageSize, void* userData,
                                  WRequestStatus& out) = 0;

    /// Programmes that the viewer follows and missed. Needs the server's time.
    virtual int getMissedContent(ContentListCallback done, const std::string& order, void* userData,
                                 WRequestStatus& out) = 0;

    /// Programmes that the viewer may have missed. Needs the server's time.
    virtual int getCandidateMissedContent(ContentListCallback done, void* userData, WRequestStatus& out) = 0;

    /// The concierge's suggestions of programmes, films and applications. Needs the server's time.
    /// @param modelFirmwareCode  identifies the applications that the television can run
    virtual int getCombination(ConciergeCallback done, const std::string& modelFirmwareCode, void* userData,
                               WRequestStatus& out) = 0;

    /// Searches the guide; the reply is delivered without being parsed.
    /// @param exact  the service's term for exact matching; empty for its default
    /// @param start  left out when negative
    /// @param num    left out when not positive
    virtual int searchEPG(TextCallback done, const std::string& query, const std::string& exact, int start, int num,
                          void* userData, WRequestStatus& out) = 0;

    /// Whether the viewer agreed to the service's terms: status and confirmation.
    virtual int checkAgreement(TwoTextsCallback done, void* userData, WRequestStatus& out) = 0;

    /// Agrees to the terms.
    virtual int confirmAgreement(AckCallback done, void* userData, WRequestStatus& out) = 0;

    /// Switches anonymous use on or off.
    virtual int setAnonymAgreement(AckCallback done, bool anonymous, void* userData, WRequestStatus& out) = 0;

    /// Withdraws the agreement.
    virtual int revocateAgreement(AckCallback done, void* userData, WRequestStatus& out) = 0;

    /// Downloads a file. Needs no session.
    /// @param provider   must be this object's
    /// @param directory  for the file; not empty
    /// @param fileName   name of the file; if empty, the part of the URL after the last "/"
    /// @return -16 wrong provider. The callback's status is -403 if no file was written; a cancelled download leaves no
    ///         file. The callback gets this object's provider and the local path, even after a failure.
    virtual int download(const WContentProvider& provider, const std::string& url, const std::string& directory,
                         const std::string& fileName, DownloadCallback done, void* userData, WRequestStatus& out) = 0;
};

}  // namespace W
#pragma GCC visibility pop
