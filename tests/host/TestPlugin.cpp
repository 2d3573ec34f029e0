// Operations that record their arguments and deliver one sample of each result.
#include "TestPlugin.h"

#include <chrono>
#include <new>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "SampleRecords.h"
#include "WCorvaneOAI.h"

namespace W::host {
namespace {

TestPluginControl g_control;

template <class Value>
std::string written(const Value& value)
{
    if constexpr (std::is_arithmetic_v<Value> || std::is_same_v<Value, std::string>) {
        return fmt::format("{}", value);
    } else {
        return fmt::format("[{}]", fmt::join(value, ","));
    }
}

class TestPlugin final : public WCorvaneOAI {
public:
    TestPlugin()
    {
        m_provider = WContentProvider("Corvane", 14);
        ++g_control.objects;
    }
    ~TestPlugin() override
    {
        for (std::thread& thread : m_threads) {
            thread.join();
        }
        --g_control.objects;
    }

    int login(const std::string& id, const std::string& password, LoginCallback /*done*/, void* /*userData*/,
              WRequestStatus& /*out*/) override
    {
        noteCall("login", id, password);
        return status::kUnsupported;
    }
    int logout(LogoutCallback /*done*/, void* /*userData*/, WRequestStatus& /*out*/) override
    {
        noteCall("logout");
        return status::kUnsupported;
    }
    int retrieveExceptions(std::list<WException*>& /*exceptions*/) override
    {
        noteCall("retrieveExceptions");
        return status::kUnsupported;
    }
    int resolveException(WException* /*exception*/, ResolveCallback /*done*/, void* /*userData*/,
                         WRequestStatus& /*out*/) override
    {
        noteCall("resolveException");
        return status::kUnsupported;
    }
    int cancel(const WContentProvider& provider, unsigned long long reference) override
    {
        noteCall("cancel", reference);
        return provider.getID() == m_provider.getID() ? status::kCancelled : status::kBadArgument;
    }
    void setAuthSeedkey(const WVLSession& session) override
    {
        noteCall("setAuthSeedkey", session.getSessionID(), session.getUserID(), session.getSeedKey(),
                 session.getExpireTime().toString(), session.getExpireTime().offsetSeconds());
    }
    int getTodaySchedule(const std::string& path, WContainer<WVLContent>& result) override
    {
        noteCall("getTodaySchedule", path);
        if (g_control.behaviour == Behaviour::Refuse) {
            return status::kFileNotReadable;
        }
        fillSample(result);
        return status::kOk;
    }
    int download(const WContentProvider& provider, const std::string& url, const std::string& directory,
                 const std::string& fileName, DownloadCallback done, void* userData, WRequestStatus& out) override
    {
        if (provider.getID() != m_provider.getID()) {
            out.setWStatus(status::kWrongProvider);
            return status::kWrongProvider;
        }
        return run("download", done, userData, out, url, directory, fileName);
    }

    int getAuthSeedkey(SessionCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getAuthSeedkey", done, userData, out);
    }
    int getGenreList(GenreListCallback done, const std::string& checksum, void* userData, WRequestStatus& out) override
    {
        return run("getGenreList", done, userData, out, checksum);
    }
    int getConfLog(LogCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getConfLog", done, userData, out);
    }
    int getLocalTime(LocaltimeCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getLocalTime", done, userData, out);
    }
    int resetHistory(AckCallback done, unsigned long time, void* userData, WRequestStatus& out) override
    {
        return run("resetHistory", done, userData, out, time);
    }
    int getServerUrl(ServerUrlCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getServerUrl", done, userData, out);
    }
    int checkUpload(TwoTextsCallback done, void* userData, WRequestStatus& out) override
    {
        return run("checkUpload", done, userData, out);
    }
    int sendChannel(AckCallback done, const std::string& url, const std::string& fileName, void* userData,
                    WRequestStatus& out) override
    {
        return run("sendChannel", done, userData, out, url, fileName);
    }
    int getCertificationRule(CertificationRuleCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getCertificationRule", done, userData, out);
    }
    int getChannelList(ChannelListCallback done, const std::string& checksum, void* userData,
                       WRequestStatus& out) override
    {
        return run("getChannelList", done, userData, out, checksum);
    }
    int getHeadend(HeadendListCallback done, const std::string& zipCode, void* userData, WRequestStatus& out) override
    {
        return run("getHeadend", done, userData, out, zipCode);
    }
    int getCityList(CityListCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getCityList", done, userData, out);
    }
    int getCityList_browse(CityCodesCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getCityList_browse", done, userData, out);
    }
    int getHeadend_Kor(HeadendListCallback done, const std::string& code, void* userData, WRequestStatus& out) override
    {
        return run("getHeadend_Kor", done, userData, out, code);
    }
    int getHeadend_browse(HeadendListCallback done, const std::string& code, void* userData,
                          WRequestStatus& out) override
    {
        return run("getHeadend_browse", done, userData, out, code);
    }
    int getSchedule(ContentListCallback done, const std::list<std::string>& sources, unsigned long start, int interval,
                    const std::list<int>& imageSizes, void* userData, WRequestStatus& out) override
    {
        return run("getSchedule", done, userData, out, sources, start, interval, imageSizes);
    }
    int getOnAir(ContentListCallback done, const std::list<std::string>& sources, const std::list<int>& imageSizes,
                 void* userData, WRequestStatus& out) override
    {
        return run("getOnAir", done, userData, out, sources, imageSizes);
    }
    int getTodayURL(DownloadUrlsCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getTodayURL", done, userData, out);
    }
    int getLineupTest(QuizCallback done, const std::string& headend, void* userData, WRequestStatus& out) override
    {
        return run("getLineupTest", done, userData, out, headend);
    }
    int getFocusChannel(ContentListCallback done, const std::string& source, int imageSize, int num, void* userData,
                        WRequestStatus& out) override
    {
        return run("getFocusChannel", done, userData, out, source, imageSize, num);
    }
    int getContentList(ContentListCallback done, const std::list<int>& genres, unsigned long time, int start, int num,
                       void* userData, WRequestStatus& out) override
    {
        return run("getContentList", done, userData, out, genres, time, start, num);
    }
    int getContentDetailInfo(ContentListCallback done, const std::string& contentId, const std::string& source,
                             unsigned long startTime, void* userData, WRequestStatus& out) override
    {
        return run("getContentDetailInfo", done, userData, out, contentId, source, startTime);
    }
    int getGuide(ContentListCallback done, const std::string& channel, const std::string& channelNumber,
                 unsigned long time, int interval, int imageSize, int start, int num, void* userData,
                 WRequestStatus& out) override
    {
        return run("getGuide", done, userData, out, channel, channelNumber, time, interval, imageSize, start, num);
    }
    int getPersonDetailInfo(PersonCallback done, const std::string& personId, void* userData,
                            WRequestStatus& out) override
    {
        return run("getPersonDetailInfo", done, userData, out, personId);
    }
    int getSeriesDetailInfo(SeriesCallback done, const std::string& contentId, const std::string& source,
                            void* userData, WRequestStatus& out) override
    {
        return run("getSeriesDetailInfo", done, userData, out, contentId, source);
    }
    int setFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                    WRequestStatus& out) override
    {
        return run("setFavorite", done, userData, out, type, id);
    }
    int deleteFavorite(AckCallback done, const std::string& type, const std::string& id, void* userData,
                       WRequestStatus& out) override
    {
        return run("deleteFavorite", done, userData, out, type, id);
    }
    int getFavoriteChannel(ChannelCallback done, const std::string& type, const std::string& id, int imageSize,
                           void* userData, WRequestStatus& out) override
    {
        return run("getFavoriteChannel", done, userData, out, type, id, imageSize);
    }
    int getFavoriteContent(ContentCallback done, const std::string& type, const std::string& id, int imageSize,
                           void* userData, WRequestStatus& out) override
    {
        return run("getFavoriteContent", done, userData, out, type, id, imageSize);
    }
    int getFavoriteChannelList(ChannelsCallback done, const std::string& type, int imageSize, const std::string& order,
                               const std::string& sort, int start, int num, void* userData,
                               WRequestStatus& out) override
    {
        return run("getFavoriteChannelList", done, userData, out, type, imageSize, order, sort, start, num);
    }
    int getFavoriteContentList(ContentListCallback done, const std::string& type, int imageSize,
                               const std::string& order, const std::string& sort, int start, int num, void* userData,
                               WRequestStatus& out) override
    {
        return run("getFavoriteContentList", done, userData, out, type, imageSize, order, sort, start, num);
    }
    int sendTuneHistory(NumberCallback done, const std::string& ttid, const std::string& source, void* userData,
                        WRequestStatus& out) override
    {
        return run("sendTuneHistory", done, userData, out, ttid, source);
    }
    int sendLike(LikeCallback done, const std::string& key, const std::string& value, const std::string& type,
                 void* userData, WRequestStatus& out) override
    {
        return run("sendLike", done, userData, out, key, value, type);
    }
    int getLikeHistory(LikeHistoryCallback done, const std::string& key, const std::string& value, void* userData,
                       WRequestStatus& out) override
    {
        return run("getLikeHistory", done, userData, out, key, value);
    }
    int saveHeadend(AckCallback done, void* userData, WRequestStatus& out) override
    {
        return run("saveHeadend", done, userData, out);
    }
    int loadHeadend(HeadendCallback done, void* userData, WRequestStatus& out) override
    {
        return run("loadHeadend", done, userData, out);
    }
    int getSmartChannel(ContentListCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getSmartChannel", done, userData, out);
    }
    int getSmartPopular(ContentListCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getSmartPopular", done, userData, out);
    }
    int getPopularChannel(ContentListCallback done, int imageSize, int count, void* userData,
                          WRequestStatus& out) override
    {
        return run("getPopularChannel", done, userData, out, imageSize, count);
    }
    int getRelatedContent(RelatedCallback done, const std::string& ttid, int imageSize, void* userData,
                          WRequestStatus& out) override
    {
        return run("getRelatedContent", done, userData, out, ttid, imageSize);
    }
    int getMissedContent(ContentListCallback done, const std::string& order, void* userData,
                         WRequestStatus& out) override
    {
        return run("getMissedContent", done, userData, out, order);
    }
    int getCandidateMissedContent(ContentListCallback done, void* userData, WRequestStatus& out) override
    {
        return run("getCandidateMissedContent", done, userData, out);
    }
    int getCombination(ConciergeCallback done, const std::string& modelFirmwareCode, void* userData,
                       WRequestStatus& out) override
    {
        return run("getCombination", done, userData, out, modelFirmwareCode);
    }
    int searchEPG(TextCallback done, const std::string& query, const std::string& exact, int start, int num,
                  void* userData, WRequestStatus& out) override
    {
        return run("searchEPG", done, userData, out, query, exact, start, num);
    }
    int checkAgreement(TwoTextsCallback done, void* userData, WRequestStatus& out) override
    {
        return run("checkAgreement", done, userData, out);
    }
    int confirmAgreement(AckCallback done, void* userData, WRequestStatus& out) override
    {
        return run("confirmAgreement", done, userData, out);
    }
    int setAnonymAgreement(AckCallback done, bool anonymous, void* userData, WRequestStatus& out) override
    {
        return run("setAnonymAgreement", done, userData, out, anonymous);
    }
    int revocateAgreement(AckCallback done, void* userData, WRequestStatus& out) override
    {
        return run("revocateAgreement", done, userData, out);
    }

private:
    template <class... Arguments>
    static void noteCall(const char* name, const Arguments&... arguments)
    {
        const std::vector<std::string> texts{written(arguments)...};
        g_control.lastCall = fmt::format("{}({})", name, fmt::join(texts, ","));
    }

    template <class... Rest, class... Arguments>
    int run(const char* name, void (*done)(int, Rest...), void* userData, WRequestStatus& out,
            const Arguments&... arguments)
    {
        noteCall(name, arguments...);
        const bool refused = g_control.behaviour == Behaviour::Refuse;
        const UINT64 reference = refused ? 0 : ++m_reference;
        out.setRequestID(static_cast<unsigned int>(numberOf(name)));
        out.setReqRefernce(reference);
        out.setWStatus(refused ? status::kNoSession : status::kOk);
        if (refused) {
            return status::kNoSession;
        }
        const auto answer = [=] {
            deliver(done, reference, userData, std::make_index_sequence<sizeof...(Rest) - 2>());
        };
        if (g_control.behaviour == Behaviour::AtOnce) {
            answer();
        } else if (g_control.behaviour == Behaviour::Later) {
            m_threads.emplace_back([answer] {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));  // a service's latency
                answer();
            });
        }
        return status::kOk;
    }

    template <class... Rest, std::size_t... Index>
    static void deliver(void (*done)(int, Rest...), UINT64 reference, void* userData,
                        std::index_sequence<Index...> /*unused*/)
    {
        using Results = std::tuple<std::remove_cv_t<std::remove_reference_t<Rest>>...>;
        done(status::kOk, sample<std::tuple_element_t<Index, Results>>()..., reference, userData);
    }

    UINT64 m_reference = 0;
    std::vector<std::thread> m_threads;
};

}  // namespace
}  // namespace W::host

extern "C" W::WPlugin* createPlugin()
{
    return new (std::nothrow) W::host::TestPlugin();
}

extern "C" void destroyPlugin(W::WPlugin* plugin)
{
    delete plugin;
}

extern "C" W::host::TestPluginControl* testPluginControl()
{
    return &W::host::g_control;
}
