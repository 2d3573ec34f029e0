// The library as a host uses it: loaded, used and unloaded repeatedly. The leak sanitizer finds leaks; every build
// tests that the library is really unloaded.

#include <cstdio>
#include <functional>
#include <memory>
#include <tuple>
#include <typeinfo>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "Capture.h"
#include "FakeHost.h"
#include "KeptOutput.h"
#include "LoadedSymbol.h"
#include "ParseRecords.h"

namespace W::test {
namespace {

class Library {
public:
    Library() : m_handle(dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        EXPECT_NE(m_handle, nullptr) << dlerror();
        if (m_handle != nullptr) {
            create = reinterpret_cast<CreatePlugin>(dlsym(m_handle, "createPlugin"));
            destroy = reinterpret_cast<DestroyPlugin>(dlsym(m_handle, "destroyPlugin"));
        }
    }
    ~Library()
    {
        if (m_handle != nullptr) {
            dlclose(m_handle);
        }
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void* handle() const { return m_handle; }

    CreatePlugin create = nullptr;
    DestroyPlugin destroy = nullptr;

private:
    void* m_handle;
};

bool isLoaded()
{
    void* const handle = dlopen(CORVANE_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

TEST(Load, UseAndUnloadInALoop)
{
    FakeHost host;
    host.options = {{"vorel_country", "US"}, {"vorel_headend", "H1"}, {"vorel_app_key", "app"}};
    for (int round = 0; round < 100; ++round) {
        {
            const Library library;
            ASSERT_NE(library.create, nullptr);
            ASSERT_NE(library.destroy, nullptr);
            WPlugin* const plugin = library.create();
            ASSERT_NE(plugin, nullptr);
            auto& object = static_cast<WCorvaneOAI&>(*plugin);
            WVLSession session;
            session.setSessionID("S");
            session.setSeedKey("K");
            object.setAuthSeedkey(session);
            // One request is answered, one is outstanding when the object is destroyed.
            Counter answered;
            answered.accepted(object.getLocalTime(Counter::Callback(), &answered, answered.out));
            host.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
            Counter dropped;
            EXPECT_EQ(object.getSchedule(Counter::Callback(), {"a"}, 0, 1, {1}, &dropped, dropped.out), 0);
            library.destroy(plugin);
        }
        ASSERT_FALSE(isLoaded()) << "round " << round;
        host.forgetLines();
        host.sent.clear();
    }
}

// -- Records that outlive the library

/// Copies of the results of one callback.
class Kept {
public:
    virtual ~Kept() = default;
    virtual Shown shown() const = 0;
    virtual std::unique_ptr<Kept> copy() const = 0;
};

template <class... Results>
class KeptResults final : public Kept {
public:
    explicit KeptResults(const Results&... results) : m_results(results...) {}

    Shown shown() const override
    {
        Shown all = Shown::array();
        std::apply([&all](const auto&... result) { (all.push_back(show(result)), ...); }, m_results);
        return all;
    }
    std::unique_ptr<Kept> copy() const override { return std::make_unique<KeptResults>(*this); }

private:
    std::tuple<Results...> m_results;
};

/// Keeps copies of the results of a callback. Converts to any callback; the user data must be a unique_ptr<Kept>.
struct Keeping {
    template <class... Arguments>
    operator WCallback<Arguments...>() const
    {
        return [](int status, Arguments... arguments) {
            EXPECT_EQ(status, 0);
            const auto all = std::forward_as_tuple(arguments...);
            keep(all, std::make_index_sequence<sizeof...(Arguments) - 2>());
        };
    }

    template <class All, std::size_t... Index>
    static void keep(const All& all, std::index_sequence<Index...> /*results*/)
    {
        using Results = KeptResults<std::decay_t<std::tuple_element_t<Index, All>>...>;
        auto& kept = *static_cast<std::unique_ptr<Kept>*>(std::get<sizeof...(Index) + 1>(all));
        kept = std::make_unique<Results>(std::get<Index>(all)...);
    }
};

const Keeping kKeep;

struct KeptCall {
    const char* records;
    const char* reply;  ///< members of "rsp"
    std::function<int(WCorvaneOAI& object, void* kept, WRequestStatus& out)> call;
};

/// All record types that callbacks deliver, with values for all members that allocate memory.
const std::vector<KeptCall>& keptCalls()
{
    using Object = WCorvaneOAI&;
    using Out = WRequestStatus&;
    static const std::vector<KeptCall> kCalls = {
        {"WVLSession", R"("session":{"id":"a session that is long","user":{"id":"u"},"seedkey":"k"})",
         [](Object o, void* k, Out s) { return o.getAuthSeedkey(kKeep, k, s); }},
        {"WVLGenre, WVLRepGenre, WVLImage",
         R"("checksum":{"stat":"new","code":"c"},"genre":[{"id":"g","rep_id":"r","name":"a genre with a long name",
            "genre_img":{"url":"http://host/image.png","type":"t","index":"1"}}],
            "rep_genre":[{"rep_id":"r","name":"a representative genre"}])",
         [](Object o, void* k, Out s) { return o.getGenreList(kKeep, "", k, s); }},
        {"WVLLog, WVLEvent",
         R"("service":{"name":"log","url":"http://host/where/the/log/goes","event":[{"name":"an event of the log","loglevel":"3"}]})",
         [](Object o, void* k, Out s) { return o.getConfLog(kKeep, k, s); }},
        {"WVLLocaltime", R"("date":"2026-11-21T01:30:00Z","timezone":"a zone with a long name","difference":"+09:00")",
         [](Object o, void* k, Out s) { return o.getLocalTime(kKeep, k, s); }},
        {"WDateTime", R"("url":"http://host/of/the/service","expired":"2026-11-21T01:30:00Z")",
         [](Object o, void* k, Out s) { return o.getServerUrl(kKeep, k, s); }},
        {"WVLCertificationRule", R"("service":{"rule":"a rule that is long enough","cert_type":"t"})",
         [](Object o, void* k, Out s) { return o.getCertificationRule(kKeep, k, s); }},
        {"WVLChannel",
         R"("checksum":{"stat":"new","code":"c"},"channel":[{"source":"a source that is long","name":"One","alias":"1",
            "station_img":{"url":"http://host/station.png"}}],"ACR":[{"call_sign":"a call sign that is long"}])",
         [](Object o, void* k, Out s) { return o.getChannelList(kKeep, "", k, s); }},
        {"WVLHeadend, WVLDevice",
         R"("mso":[{"id":"m","name":"an operator with a long name","headend":{"id":"h"},"device":[{"type":"X","name":"a receiver, digital"}]}])",
         [](Object o, void* k, Out s) { return o.getHeadend_Kor(kKeep, "c", k, s); }},
        {"WVLCityCode in a map",
         R"("state":[{"name":"a state","city":[{"code":"c","name":"a city with a long name"}]}])",
         [](Object o, void* k, Out s) { return o.getCityList(kKeep, k, s); }},
        {"WVLCityCode", R"("geo_level_1":[{"code":"c","name":"a city with a long name"}])",
         [](Object o, void* k, Out s) { return o.getCityList_browse(kKeep, k, s); }},
        {"WVLContent",
         R"("channel":[{"source":"s1","name":"a channel with a long name","station_img":{"url":"http://host/s.png"},
            "content":[{"id":"1","title":"a programme with a long title","genres":[{"id":"g1"},{"id":"g2"}],
            "poster":{"url":"http://host/poster.png"}},{"id":"2"}]}])",
         [](Object o, void* k, Out s) { return o.getSchedule(kKeep, {"a"}, 0, 1, {1}, k, s); }},
        {"WVLDownloadURL", R"("VOREL_url":[{"time":"1-2","url":"http://host/today.json","filename":"today.json"}])",
         [](Object o, void* k, Out s) { return o.getTodayURL(kKeep, k, s); }},
        {"WVLQuiz, WVLAnswer",
         R"("quiz":[{"number":"1","answer":[{"name":"an answer that is long","headend":{"id":"h","city":"a city"}}]}])",
         [](Object o, void* k, Out s) { return o.getLineupTest(kKeep, "h", k, s); }},
        {"WVLContent with persons",
         R"("content":{"id":"1","title":"a programme with a long title","summary":"what it is about, at length",
            "directors":[{"id":"d","name":"a director with a name"}],"castings":[{"id":"c","role":"a role in the play"}],
            "channel":[{"source":"s","schedule":[{"duration":"30"},{"duration":"40"}]}]})",
         [](Object o, void* k, Out s) { return o.getContentDetailInfo(kKeep, "1", "", 0, k, s); }},
        {"WVLPerson",
         R"("person":{"id":"p","name":"a person with a long name","face_img":{"url":"http://host/face.png"}})",
         [](Object o, void* k, Out s) { return o.getPersonDetailInfo(kKeep, "p", k, s); }},
        {"WVLContent of a series",
         R"("series":{"id":"s","title":"a series with a long title","episode":[{"id":"e","title":"an episode, the first","number":"1"}]})",
         [](Object o, void* k, Out s) { return o.getSeriesDetailInfo(kKeep, "s", "", k, s); }},
        {"one WVLChannel",
         R"("channel":{"source":"s","name":"a channel with a long name","station_img":{"url":"http://h/s.png"}})",
         [](Object o, void* k, Out s) { return o.getFavoriteChannel(kKeep, "channel", "1", 0, k, s); }},
        {"one WVLContent",
         R"("content":{"id":"1","title":"a programme with a long title","poster":{"url":"http://h/p.png"}})",
         [](Object o, void* k, Out s) { return o.getFavoriteContent(kKeep, "content", "1", 0, k, s); }},
        {"one WVLHeadend", R"("headend":{"id":"a headend with a long id"},"device":{"type":"X"})",
         [](Object o, void* k, Out s) { return o.loadHeadend(kKeep, k, s); }},
        {"WVLContent and WVLPerson of a relation",
         R"("ot_episode":{"content":{"id":"1","title":"a programme with a long title"}},
            "castncrew":[{"id":"p","name":"a person with a long name"}],"related":[{"id":"2","rating":"5"}])",
         [](Object o, void* k, Out s) { return o.getRelatedContent(kKeep, "1", 0, k, s); }},
        {"WVLConcierge, WVLCombination",
         R"("concierge":{"personalized":{"tv":[{"id":"1","title":"a programme with a long title","genres":[{"id":"g"}],
            "poster":{"url":"http://host/p.png"}}],"apps":[{"id":"a","thumbnail":{"images":[{"url":"http://host/a.png"}]}}]}})",
         [](Object o, void* k, Out s) { return o.getCombination(kKeep, "fw", k, s); }},
    };
    return kCalls;
}

WVLSession session()
{
    WVLSession opened;
    opened.setSessionID("S");
    opened.setSeedKey("K");
    return opened;
}

/// Reads the virtual table of a record. A copy gets the table of the program that makes it, so only records that the
/// library has made and handed over show where its tables are.
template <class Record>
void readTable(const Record& record)
{
    EXPECT_EQ(typeid(record), typeid(Record));
}

/// The same for all records in a container that the library has filled.
void readTables(const WContainer<WVLContent>& filled)
{
    for (const WVLContent& content : filled.getData()) {
        readTable(content);
        readTable(content.getChannel());
        for (const WVLGenre& genre : content.getGenrelist()) {
            readTable(genre);
        }
        for (const WVLImage& image : content.getPoster()) {
            readTable(image);
        }
    }
}

/// Records of all types, kept after the library has been unloaded.
struct Survivors {
    std::vector<std::unique_ptr<Kept>> kept;
    std::vector<Shown> shown;  ///< the same while the library was loaded
    WContainer<WVLContent> schedule;
    Shown shownSchedule;
};

void keepAll(FakeHost& host, const std::string& scheduleFile, Survivors& survivors)
{
    const Library library;
    ASSERT_NE(library.create, nullptr);
    WPlugin* const plugin = library.create();
    ASSERT_NE(plugin, nullptr);
    auto& object = static_cast<WCorvaneOAI&>(*plugin);
    object.setAuthSeedkey(session());
    for (const KeptCall& row : keptCalls()) {
        SCOPED_TRACE(row.records);
        WRequestStatus out;
        // The server's time, which some of them need.
        std::unique_ptr<Kept> clock;
        ASSERT_EQ(object.getLocalTime(kKeep, &clock, out), 0);
        host.answer(R"({"rsp":{"stat":"OK","difference":"+09:00"}})");
        std::unique_ptr<Kept>& kept = survivors.kept.emplace_back();
        ASSERT_EQ(row.call(object, &kept, out), 0);
        host.answer(std::string(R"({"rsp":{"stat":"OK",)") + row.reply + "}}");
        ASSERT_NE(kept, nullptr);
        survivors.shown.push_back(kept->shown());
    }
    ASSERT_EQ(object.getTodaySchedule(scheduleFile, survivors.schedule), 0);
    survivors.shownSchedule = show(survivors.schedule);
    library.destroy(plugin);
}

TEST(Load, RecordsOutliveTheLibrary)
{
    FakeHost host;
    host.options = {{"vorel_country", "US"}, {"vorel_headend", "H1"}, {"vorel_app_key", "app"}};
    const std::string path = ::testing::TempDir() + "corvane-outlives.json";
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::fputs(R"({"rsp":{"channel":[{"source":"s","name":"a channel with a long name","content":[
        {"id":"1","title":"a programme with a long title","genres":[{"id":"g"}],"poster":{"url":"http://host/p.png"},
         "short_desc":"what it is about"},{"id":"2"}]}]}})",
               file);
    std::fclose(file);

    Survivors survivors;
    keepAll(host, path, survivors);
    std::remove(path.c_str());
    ASSERT_FALSE(isLoaded());
    ASSERT_EQ(survivors.shown.size(), keptCalls().size());
    for (std::size_t index = 0; index < survivors.shown.size(); ++index) {
        SCOPED_TRACE(keptCalls()[index].records);
        const std::unique_ptr<Kept> copy = survivors.kept[index]->copy();
        EXPECT_EQ(survivors.kept[index]->shown(), survivors.shown[index]);
        survivors.kept[index].reset();
        EXPECT_EQ(copy->shown(), survivors.shown[index]);
    }
    for (const char* const nested : {"channel", "genres", "poster"}) {
        EXPECT_EQ(survivors.shownSchedule["list"].at(0).count(nested), 1u) << nested;
    }
    readTables(survivors.schedule);
    WContainer<WVLContent> copied(survivors.schedule);
    EXPECT_EQ(show(survivors.schedule), survivors.shownSchedule);
    survivors.schedule.clear();
    EXPECT_EQ(show(copied), survivors.shownSchedule);
    copied.data().front().setTitle("another title, long enough to be kept apart");
}

// -- The debug module

TEST(Load, RegistersItsDebugModule)
{
    FakeHost host;
    const Library library;
    EXPECT_EQ(host.options["registered module"], "CommonDebug");
}

TEST(Load, LinesOfLevelZeroGoStraightToTheOutput)
{
    FakeHost host;
    const Library library;
    using Print = void (*)(unsigned long level, unsigned long flags, const char* format, ...);
    const auto print =
        reinterpret_cast<Print>(loadedSymbol(library.handle(), "_ZN1W7CCDebug5PrintINS_9CWCCDebugEEEvmmPKcz"));
    ASSERT_NE(print, nullptr) << "the library has no such function";
    KeptOutput output;
    CCDebug::DebugIO = &output;
    print(0, 0, "line %d", 1);
    CCDebug::DebugIO = nullptr;
    EXPECT_EQ(output.text, "line 1\n");
    EXPECT_TRUE(host.lines().empty());
    print(1, 0, "to the host's module");
    EXPECT_EQ(host.lines().size(), 1u);
}

}  // namespace
}  // namespace W::test
