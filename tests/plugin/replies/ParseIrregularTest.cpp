// One test for each deliberate irregularity of the parsers, and for boundary values.

#include <climits>

#include <gtest/gtest.h>

#include "ParseCases.h"
#include "ParseSeams.h"
#include "Reply.h"
#include "VorelCommand.h"

namespace W::test {
namespace {

struct IrregularReplies : ::testing::Test {
    FakeHost host;
    WVorelOAI object;

    /// Parses the members of "rsp" after "stat".
    Results parse(const std::string& name, const std::string& payload, Outputs outputs = Outputs::Fresh)
    {
        Calling calling;
        calling.body = R"({"rsp":{"stat":"OK",)" + payload + "}}";
        calling.owner = &object;
        calling.outputs = outputs;
        host.forgetLines();
        clearings().clear();
        return parserCase(name).parse(calling);
    }

    /// The list that a parser with one container delivers.
    Shown listOf(const std::string& name, const std::string& payload)
    {
        const Results results = parse(name, payload);
        EXPECT_EQ(results.status, 0);
        return results.outputs.at("list").at("list");
    }
};

// -- Empty lists

struct EmptyList {
    const char* parser;
    const char* payload;
    int status;
    const char* line;  ///< null if none is printed
};

constexpr EmptyList kEmptyLists[] = {
    {"ChannelList", R"("checksum":{"stat":"new"},"channel":[])", -55, "[ParseChannelList] Channel size is zero."},
    {"Headend", R"("mso":[])", -55, "[ParseHeadend] Headend Data size is Zero"},
    {"HeadendKor", R"("mso":[])", -55, "[ParseHeadendKor] Headend Data Size is zero."},
    {"HeadendBrowse", R"("mso":[])", -55, "[ParseHeadendBrowse] Headend Data Size is zero."},
    {"CityList", R"("state":[])", 0, nullptr},
    {"CityListBrowse", R"("geo_level_1":[])", 0, nullptr},
    {"LineupTest", R"("quiz":[])", 0, nullptr},
    {"FavoriteChannelList", R"("channel":[])", 0, nullptr},
    {"FavoriteContentList", R"("content":[])", 0, nullptr},
    {"Schedule", R"("channel":[])", 0, "[ParseSchedule] Schedule Data size is zero."},
    {"OnAir", R"("channel":[])", 0, "[ParseOnAir] Channel Data size is zero."},
    {"ContentList", R"("content":[])", 0, "[ParseContentList] Content List size is zero."},
    {"Guide", R"("channel":[])", 0, nullptr},
    {"FocusChannel", R"("content":[])", -55, "[ParseFocusChannel] Contents Data size is zero."},
    {"Today", R"("VOREL_url":[])", -55, "[ParseToday] VOREL_url size is zero."},
    {"SmartPopular", R"("channel_guide":[])", -55, "[ParseGetSmartPopular] Smart Populer Data size is zero."},
    {"SmartChannel", R"("channel_guide":[])", -55, "[ParseGetSmartChannel] Smart Channel Data size is zero."},
    {"CandidateMissed", R"("candidate_missed":[])", 0, nullptr},
    {"Missed", R"("channel":[])", 0, nullptr},
    {"PopularCh", R"("channel":[])", 0, nullptr},
    {"GenreList", R"("checksum":{"stat":"new"},"genre":[])", -57, "[ParseGenreList] Genre size is zero"},
};

TEST_F(IrregularReplies, EmptyListsAreReportedAsEachParserDoes)
{
    for (const EmptyList& row : kEmptyLists) {
        SCOPED_TRACE(row.parser);
        const Results results = parse(row.parser, row.payload, Outputs::Filled);
        const std::vector<Line> lines = host.lines();
        EXPECT_EQ(results.status, row.status);
        std::size_t expected = 0;
        if (row.line != nullptr) {
            ASSERT_GT(lines.size(), expected);
            EXPECT_EQ(lines[expected].text, row.line);
            EXPECT_EQ(lines[expected].level, 8u);
            EXPECT_EQ(lines[expected].flags, 0u);
            ++expected;
        }
        if (row.status < 0) {
            ASSERT_GT(lines.size(), expected);
            EXPECT_EQ(lines[expected].level, 1u);
            EXPECT_NE(lines[expected].text.find("(" + std::to_string(row.status) + ")\tFILE:"), std::string::npos);
            ++expected;
        }
        EXPECT_EQ(lines.size(), expected);
        EXPECT_TRUE(clearings().empty());
        for (const auto& [name, output] : results.outputs.items()) {
            if (output.contains("count")) {
                EXPECT_EQ(output.at("count"), row.status < 0 ? 77 : 0) << "a failure leaves the list, " << name;
                EXPECT_EQ(output.at("list").size(), row.status < 0 ? 1u : 0u) << name;
            }
        }
    }
}

TEST_F(IrregularReplies, AnEmptyHeadendListHasTwoSpellings)
{
    parse("Headend", R"("mso":[])");
    EXPECT_EQ(host.lines()[0].text, "[ParseHeadend] Headend Data size is Zero");
    parse("HeadendKor", R"("mso":[])");
    EXPECT_EQ(host.lines()[0].text, "[ParseHeadendKor] Headend Data Size is zero.");
}

TEST_F(IrregularReplies, AnEmptyCatalogueIsMinus57AndAnEmptyLineUpMinus55)
{
    const Results genres = parse("GenreList", R"("checksum":{"stat":"new","code":"sum2"},"genre":[])");
    EXPECT_EQ(genres.status, -57);
    EXPECT_EQ(genres.outputs.at("changed"), true);
    EXPECT_EQ(genres.outputs.at("checksum"), "sum2");
    EXPECT_TRUE(host.texts(8).size() == 1 && host.texts(8)[0] == "[ParseGenreList] Genre size is zero");
    const Results channels = parse("ChannelList", R"("checksum":{"stat":"new","code":"sum2"},"channel":[])");
    EXPECT_EQ(channels.status, -55);
    EXPECT_EQ(channels.outputs.at("changed"), true);
    EXPECT_EQ(channels.outputs.at("checksum"), "sum2");
}

TEST_F(IrregularReplies, PopularIsMisspelledInTheSmartList)
{
    parse("SmartPopular", R"("channel_guide":[])");
    EXPECT_EQ(host.lines()[0].text, "[ParseGetSmartPopular] Smart Populer Data size is zero.");
}

TEST_F(IrregularReplies, MissingRepresentativeGenresAreNotAnError)
{
    const Results results = parse("GenreList", R"("checksum":{"stat":"new"},"genre":[{"id":"g"}],"rep_genre":[])");
    EXPECT_EQ(results.status, 0);
    EXPECT_EQ(results.outputs.at("genres").at("count"), 1);
    EXPECT_EQ(results.outputs.at("repGenres"), Shown::parse(R"({"count":0,"list":[]})"));
    EXPECT_EQ(
        host.texts(8),
        (std::vector<std::string>{"[ParseGenreList] [--VorelGetGenreListCMD::ParseGenreList] rep_genre size is zero"}));
}

// -- Exceptions

TEST_F(IrregularReplies, UnreadablePopularChannelsAreMinus16)
{
    EXPECT_EQ(parse("PopularCh", R"("channel":[5])").status, -16);
    EXPECT_EQ(parse("SmartPopular", R"("channel_guide":[5])").status, -57);
    EXPECT_EQ(parse("Missed", R"("channel":[5])").status, -57);
    // Only exceptions have this status; an error of the service has its own.
    Calling calling;
    calling.body = R"({"rsp":{"stat":"FAIL","err":{"code":{}}}})";
    EXPECT_EQ(parserCase("PopularCh").parse(calling).status, -57);
}

TEST_F(IrregularReplies, OutputsAreClearedBetweenTheExceptionLineAndTheErrorLine)
{
    for (const ParserCase& row : parserCases()) {
        SCOPED_TRACE(row.name);
        clearings().clear();
        host.forgetLines();
        Calling calling;
        calling.body = R"({"rsp":5})";
        calling.owner = &object;
        const Results results = row.parse(calling);
        std::size_t containers = 0;
        for (const Shown& output : results.outputs) {
            containers += output.contains("count") ? 1 : 0;
        }
        if (row.onException == OutputsOnException::Passes) {
            containers = 0;
        }
        EXPECT_EQ(clearings(), std::vector<std::size_t>(containers, 1));
        EXPECT_EQ(host.lines().size(), row.onException == OutputsOnException::Passes ? 0u : 2u);
    }
}

TEST_F(IrregularReplies, TheConciergeIsEmptiedBeforeTheExceptionLine)
{
    VorelGetCombinationCMD command(nullptr, nullptr, &object, WContentProvider());
    WVLConcierge concierge;
    concierge.setPersonalized(std::list<WVLCombination>(2));
    bool wasEmpty = false;
    const Hooked hooked(ExceptionHook([&] { wasEmpty = concierge.getPersonalized().empty(); }));
    const std::string body = R"({"rsp":{"stat":"OK","concierge":{"personalized":{"tv":[5]}}}})";
    EXPECT_EQ(command.ParseCombination(body, {}, concierge), -57);
    EXPECT_TRUE(wasEmpty);
}

TEST_F(IrregularReplies, DetailsAndSeriesCatchNoException)
{
    VorelGetContentDetailInfoCMD detail(nullptr, nullptr, &object, WContentProvider());
    VorelGetSeriesDetailInfoCMD series(nullptr, nullptr, &object, WContentProvider());
    WContainer<WVLContent> list;
    WVLContent record;
    const std::string body = R"({"rsp":{"stat":"OK","content":5,"series":5}})";
    EXPECT_THROW(detail.ParseContentDetailInfo(body, {}, list), std::exception);
    EXPECT_THROW(series.ParseSeriesDetailInfo(body, {}, record, list, 0), std::exception);
    EXPECT_EQ(list.getCount(), 0);
}

TEST_F(IrregularReplies, MapsKeepTheirEntriesAfterAnException)
{
    const Results results = parse("CityList", R"("state":[{"name":"a","city":[{"code":"c"},5]},{"name":"b"}])");
    EXPECT_EQ(results.status, -57);
    EXPECT_EQ(results.outputs, Shown::parse(R"({"states":[{"key":0,"name":"a"}],"cities":[{"key":0,"code":"c"}]})"));
}

TEST_F(IrregularReplies, ExistingStatesKeepTheirNames)
{
    const Results results =
        parse("CityList", R"("state":[{"name":"a","city":[{"code":"c"}]},{"name":"b"}])", Outputs::Filled);
    EXPECT_EQ(results.outputs, Shown::parse(R"({"states":[{"key":0,"name":"before"},{"key":1,"name":"b"}],
                                               "cities":[{"key":0},{"key":0,"code":"c"}]})"));
}

// -- Fields

TEST_F(IrregularReplies, TheFavoriteChannelReadsItsNameBeforeDtv)
{
    const Results results = parse("FavoriteChannel", R"("channel":{"source":"s","name":"n","dtv":{},"number":"1"})");
    EXPECT_EQ(results.status, -57);
    EXPECT_EQ(results.outputs.at("channel"), Shown::parse(R"({"source":"s","name":"n"})"));
}

TEST_F(IrregularReplies, FavoriteChannelsHaveNoImageIndex)
{
    const std::string image = R"({"url":"u","type":"t","index":"i","width":"1","height":"2"})";
    EXPECT_EQ(listOf("FavoriteChannelList", R"("channel":[{"station_img":)" + image + "}]"),
              Shown::parse(R"([{"stationImage":{"url":"u","type":"t","width":1,"height":2}}])"));
    EXPECT_EQ(parse("FavoriteChannel", R"("channel":{"station_img":)" + image + "}").outputs.at("channel"),
              Shown::parse(R"({"stationImage":{"url":"u","type":"t","index":"i","width":1,"height":2}})"));
}

TEST_F(IrregularReplies, AnUnchangedLineUpLeavesTheContainerAsItWas)
{
    for (const char* const stat : {"same", "New", "NEW", " new", ""}) {
        const std::string mark = std::string(R"("checksum":{"stat":")") + stat + R"(","code":"sum2"},)";
        const Results channels =
            parse("ChannelList", mark + R"("channel":[{"source":"s"}],"ACR":[{}])", Outputs::Filled);
        EXPECT_EQ(channels.status, 0);
        EXPECT_EQ(channels.outputs, Shown::parse(R"({"changed":false,"checksum":"sum2",
                                                    "list":{"count":77,"list":[{"resourceID":"before"}]}})"));
        const Results genres = parse("GenreList", mark + R"("genre":[{"id":"g"}])", Outputs::Filled);
        EXPECT_EQ(genres.status, 0);
        EXPECT_EQ(genres.outputs, Shown::parse(R"({"changed":false,"checksum":"sum2",
                                                  "genres":{"count":77,"list":[{"resourceID":"before"}]},
                                                  "repGenres":{"count":77,"list":[{"resourceID":"before"}]}})"));
    }
}

struct PosterRow {
    const char* parser;
    ReadWhen when;
    const char* before;  ///< the JSON before the poster's value
    const char* after;
};

constexpr PosterRow kPosters[] = {
    {"Guide", ReadWhen::Always, R"("channel":[{"content":[{"poster":)", "}]}]"},
    {"FavoriteContentList", ReadWhen::Always, R"("content":[{"poster":)", "}]"},
    {"Schedule", ReadWhen::UrlPresent, R"("channel":[{"content":[{"poster":)", "}]}]"},
    {"ContentList", ReadWhen::UrlPresent, R"("content":[{"poster":)", "}]"},
    {"FocusChannel", ReadWhen::UrlPresent, R"("content":[{"poster":)", "}]"},
    {"ContentDetailInfo", ReadWhen::UrlPresent, R"("content":{"poster":)", "}"},
    {"SmartPopular", ReadWhen::UrlNonEmpty, R"("channel_guide":[{"content":{"poster":)", "}}]"},
    {"SmartChannel", ReadWhen::UrlNonEmpty, R"("channel_guide":[{"content":{"poster":)", "}}]"},
    {"PopularCh", ReadWhen::UrlNonEmpty, R"("channel":[{"content":{"poster":)", "}}]"},
    {"OnAir", ReadWhen::HasMembers, R"("channel":[{"content":{"poster":)", "}}]"},
    {"Missed", ReadWhen::HasMembers, R"("channel":[{"content":{"poster":)", "}}]"},
    {"CandidateMissed", ReadWhen::HasMembers, R"("candidate_missed":[{"content":{"poster":)", "}}]"},
};

TEST_F(IrregularReplies, PostersAreReadAsEachParserTestsThem)
{
    for (const PosterRow& row : kPosters) {
        const auto isRead = [&](const char* poster) {
            const Shown list = listOf(row.parser, std::string(row.before) + poster + row.after);
            EXPECT_EQ(list.size(), 1u);
            return list.at(0).contains("poster");
        };
        SCOPED_TRACE(row.parser);
        EXPECT_EQ(isRead("null"), row.when == ReadWhen::Always);
        EXPECT_EQ(isRead("{}"), row.when == ReadWhen::Always);
        EXPECT_EQ(isRead(R"({"type":"t"})"), row.when == ReadWhen::Always || row.when == ReadWhen::HasMembers);
        EXPECT_EQ(isRead(R"({"url":null})"), row.when == ReadWhen::Always || row.when == ReadWhen::HasMembers);
        EXPECT_EQ(isRead(R"({"url":""})"), row.when != ReadWhen::UrlNonEmpty);
        EXPECT_TRUE(isRead(R"({"url":"u"})"));
    }
}

TEST_F(IrregularReplies, StationImagesAreReadAsEachParserTestsThem)
{
    EXPECT_EQ(listOf("ChannelList", R"("checksum":{"stat":"new"},"channel":[{"station_img":{"type":"t","width":"1"}},
                                       {"station_img":{"url":"","type":"t"}},{"station_img":{"url":null,"type":"t"}}])"),
              Shown::parse(R"([{},{"stationImage":{"type":"t"}},{}])"));
    EXPECT_EQ(listOf("ContentDetailInfo",
                     R"("content":{"channel":[{"station_img":{"url":"","type":"t"}},{"station_img":{"url":"u"}}]})"),
              Shown::parse(R"([{},{"channel":{"stationImage":{"url":"u"}}}])"));
}

TEST_F(IrregularReplies, EveryProgrammeOfTheFocusHasTheSameChannel)
{
    VorelGetFocusChannelCMD command(nullptr, nullptr, &object, WContentProvider());
    WContainer<WVLContent> list;
    const std::string body = R"({"rsp":{"stat":"OK","source":"s","content":[{"source":"x"},{}]}})";
    EXPECT_EQ(command.ParseFocusChannel(body, {}, list, 0), 0);
    ASSERT_EQ(list.getData().size(), 2u);
    EXPECT_EQ(list.getData().front().getChannel().getSource(), "s");
    // Copies of a channel share its strings.
    EXPECT_EQ(&list.getData().front().getChannel().getName(), &list.getData().back().getChannel().getName());
}

TEST_F(IrregularReplies, AServerUrlTakesTheOffsetOfAValidSourceOnly)
{
    VorelGetServerUrlCMD command(nullptr, nullptr, &object, WContentProvider());
    const std::string good = R"({"rsp":{"stat":"OK","expired":"2026-11-21T01:30:00Z"}})";
    const std::string bad = R"({"rsp":{"stat":"OK","expired":"soon"}})";
    const WDateTime source = WDateTime::fromString("+09:00", WDateTime::FORMAT_OFFSET, WDateTime::TIMEZONE_NONE);
    std::string url;
    WDateTime expired;
    EXPECT_EQ(command.ParseServerUrl(good, {}, url, expired), 0);
    EXPECT_EQ(show(expired), Shown::parse(R"({"at":"2026-11-21T01:30:00Z","offset":"+00:00"})"));
    EXPECT_EQ(command.ParseServerUrl(good, source, url, expired), 0);
    EXPECT_EQ(show(expired), Shown::parse(R"({"at":"2026-11-21T01:30:00Z","offset":"+09:00"})"));
    // The source is tested, not the time that was read.
    EXPECT_EQ(command.ParseServerUrl(bad, source, url, expired), 0);
    EXPECT_EQ(show(expired), Shown::parse(R"({"offset":"+09:00"})"));
    EXPECT_EQ(command.ParseServerUrl(bad, {}, url, expired), 0);
    EXPECT_FALSE(expired.isValid());
}

TEST_F(IrregularReplies, AnInvalidClockTakesTheOffsetOfStartTimes)
{
    VorelGetGuideCMD command(nullptr, nullptr, &object, WContentProvider());
    WContainer<WVLContent> list;
    const std::string body = R"({"rsp":{"stat":"OK","channel":[{"content":[{"starttime":"2026-11-21T01:30:00Z"}]}]}})";
    EXPECT_EQ(command.ParseGuide(body, {}, list, 0), 0);
    EXPECT_EQ(show(list.getData().front().getStartTime()), Shown::parse(R"({"at":"2026-11-21T01:30:00Z"})"));
}

TEST_F(IrregularReplies, EpisodesOfSeasonsComeBeforeTheOthers)
{
    const std::string own = R"("episode":[{"id":"a"},{"id":"b"}])";
    const Results without = parse("SeriesDetailInfo", R"("series":{"season":[],)" + own + "}");
    EXPECT_EQ(without.outputs.at("episodes").at("count"), 2);
    EXPECT_EQ(host.texts(8), (std::vector<std::string>{"[ParseSeriesDetailInfo] season size = [0]\n",
                                                       "[ParseSeriesDetailInfo] episode size = [2]\n"}));
    const Results with = parse("SeriesDetailInfo", R"("series":{"season":[{"episode":[{"id":"c"}]},{}],)" + own + "}");
    EXPECT_EQ(with.outputs.at("episodes").at("list").size(), 1u);
    EXPECT_EQ(with.outputs.at("episodes").at("list").at(0).at("id"), "c");
    EXPECT_EQ(host.texts(8), (std::vector<std::string>{"[ParseSeriesDetailInfo] season size = [2]\n"}));
    const Results neither = parse("SeriesDetailInfo", R"("series":{})", Outputs::Filled);
    EXPECT_EQ(neither.status, 0);
    EXPECT_EQ(neither.outputs.at("episodes"), Shown::parse(R"({"count":0,"list":[]})"));
}

TEST_F(IrregularReplies, DeliversOneRecordPerAiring)
{
    const Shown list = listOf("ContentDetailInfo", R"("content":{"id":"i","vd_quality":"q","channel":[
        {"source":"a","schedule":[{"duration":"1"},{"duration":"2","vd_quality":"z"},{"duration":"3"}]},
        {"source":"b","schedule":[]}]})");
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list.at(1).at("videoQuality"), "z");
    EXPECT_FALSE(list.at(2).contains("videoQuality")) << "an airing without quality overrides too";
    EXPECT_EQ(list.at(3), Shown::parse(R"({"id":"i","videoQuality":"q","channel":{"source":"b"}})"));
}

TEST_F(IrregularReplies, ApplicationsHaveType3)
{
    const Results results =
        parse("Combination", R"("concierge":{"personalized":{"tv":[],"movie":[],"apps":[{"id":"x"}]}})");
    EXPECT_EQ(results.outputs.at("concierge"), Shown::parse(R"({"personalized":[{"kind":3,"id":"x"}]})"));
}

TEST_F(IrregularReplies, AMissingRelatedEpisodeGivesAnEmptyRecord)
{
    const Results results = parse("Related", R"("x":"")");
    EXPECT_EQ(results.status, 0);
    EXPECT_EQ(results.outputs, Shown::parse(R"({"episode":{"count":1,"list":[{"poster":[{}]}]},
        "castAndCrew":{"count":0,"list":[]},"related":{"count":0,"list":[]}})"));
}

TEST_F(IrregularReplies, ALoadedHeadendHasExactlyOneDevice)
{
    EXPECT_EQ(parse("LoadHeadend", R"("x":"")").outputs.at("headend"), Shown::parse(R"({"devices":[{}]})"));
}

TEST_F(IrregularReplies, FlagsOfTheLikeHistoryAreExact)
{
    const auto flags = [&](const char* owned) {
        return parse("GetLikeHistory", std::string(R"("content":{"count":{"like":"12abc","dislike":"-3",)") +
                                           R"("like_owned":")" + owned + R"(","dis_owned":"yes"}})")
            .outputs;
    };
    EXPECT_EQ(flags("yes"), Shown::parse(R"({"like":12,"dislike":-3,"likeOwned":true,"dislikeOwned":true})"));
    EXPECT_EQ(flags("Yes").at("likeOwned"), false);
    EXPECT_EQ(flags("yes ").at("likeOwned"), false);
}

// -- Numbers

TEST(Number, IsTheLeadingDigitsClampedToInt)
{
    const struct {
        const char* text;
        int number;
    } rows[] = {
        {"", 0},
        {"x", 0},
        {"12abc", 12},
        {" 7", 7},
        {"-5", -5},
        {"+6", 6},
        {"0x10", 0},
        {"010", 10},
        {"1.9", 1},
        {"- 5", 0},
        {"1e3", 1},
        {"2147483647", INT_MAX},
        {"2147483648", INT_MAX},
        {"-2147483648", INT_MIN},
        {"-2147483649", INT_MIN},
        {"99999999999999999999", INT_MAX},
        {"-99999999999999999999", INT_MIN},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(vorel::toInt(row.text), row.number) << row.text;
        EXPECT_EQ(vorel::toInt(Json::Value(row.text)), row.number) << row.text;
    }
    EXPECT_EQ(vorel::toInt(Json::Value(42)), 42);
    EXPECT_EQ(vorel::toInt(Json::Value(4.7)), 4);
    EXPECT_EQ(vorel::toInt(Json::Value(true)), 0);
    EXPECT_EQ(vorel::toInt(Json::Value()), 0);
    EXPECT_EQ(vorel::toInt(Json::Value(std::string("12\0"
                                                   "3",
                                                   4))),
              12)
        << "digits end at a zero byte";
    EXPECT_THROW(vorel::toInt(Json::Value(Json::objectValue)), std::exception);
    EXPECT_THROW(vorel::toInt(Json::Value(Json::arrayValue)), std::exception);
}

struct Window {
    const char* text;
    int first;
    int second;
};

constexpr Window kWindows[] = {
    {"100-200", 100, 200},
    {"", 0, 0},
    {"-", 0, 0},
    {"x", 0, 0},
    {"100", 100, 0},
    {"100-", 100, 0},
    {"100-x", 100, 0},
    {"x-200", 0, 0},
    {"--5", 0, 0},
    {" 100- 200", 100, 200},
    {"100 -200", 100, 0},
    {"100--200", 100, -200},
    {"-1-2", -1, 2},
    {"+1-+2", 1, 2},
    {"100-200x", 100, 200},
    {"0x10-5", 0, 0},
    {"2147483647-2147483648", INT_MAX, INT_MAX},
    {"-99999999999999999999-99999999999999999999", INT_MIN, INT_MAX},
};

TEST_F(IrregularReplies, WindowsOfTodaysFilesAreScannedAsTwoNumbers)
{
    for (const Window& row : kWindows) {
        SCOPED_TRACE(row.text);
        const vorel::TimeSpan span = vorel::toTimeSpan(row.text);
        EXPECT_EQ(span.first, row.first);
        EXPECT_EQ(span.second, row.second);

        VorelGetTodayCMD command(nullptr, nullptr, &object, WContentProvider());
        std::list<WVLDownloadURL> list(1);
        EXPECT_EQ(
            command.ParseToday(
                std::string(R"({"rsp":{"stat":"OK","VOREL_url":[{"url":"u","time":")") + row.text + R"("}]}})", list),
            0);
        ASSERT_EQ(list.size(), 2u) << "appended in any case, after what is there";
        EXPECT_EQ(list.back().getStartTime(), static_cast<unsigned int>(row.first));
        EXPECT_EQ(list.back().getEndTime(), static_cast<unsigned int>(row.second));
        EXPECT_EQ(list.back().getURL(), "u");
    }
}

TEST_F(IrregularReplies, StringsKeepTheirBytes)
{
    const std::string nul("a\0b", 3);
    const Shown list = listOf("ContentList", R"("content":[{"id":")" + nul + R"(","title":"\u00e4\ud83d\ude00\n"}])");
    EXPECT_EQ(list.at(0).at("id"), nul);
    EXPECT_EQ(list.at(0).at("title"), "\xC3\xA4\xF0\x9F\x98\x80\n");
}

}  // namespace
}  // namespace W::test
