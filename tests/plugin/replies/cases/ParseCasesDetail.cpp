// Rows of the parsers of genres, programmes with their airings, persons and series.

#include "ParseCases.h"

#include "VorelCommand.h"

namespace W::test {

namespace {

/// A programme's details without "channel", in the reply and as a record.
constexpr char kDetail[] =
    R"("id":"id1","lang":"lang1","title":"title1","ep_title":"episode1","ep_number":"16","cert_flag":"flag1",
       "type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],"year":"2001","release":"release1","runtime":"17",
       "origin":"origin1","vd_quality":"quality1","summary":"summary1",
       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"},
       "directors":[{"id":"director1","name":"dname1","biography":"bio1"},{"id":"director2"}],
       "castings":[{"id":"casting1","name":"cname1","role":"role1"},{"id":"casting2"}],
       "certificates":"certificate1","vod":"vod1")";

constexpr char kDetailRecord[] =
    R"("id":"id1","lang":"lang1","title":"title1","episodeTitle":"episode1","episode":16,"certiFlag":"flag1",
       "type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],"year":2001,"release":"release1","runtime":17,
       "origin":"origin1","summary":"summary1",
       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}],
       "directors":[{"id":"director1","name":"dname1","biography":"bio1"},{"id":"director2"}],
       "castings":[{"id":"casting1","name":"cname1","role":"role1"},{"id":"casting2"}],
       "certification":"certificate1","vod":"vod1")";

constexpr char kFirstChannel[] =
    R"("channel":{"source":"source1","dtv":"dtv1","number":"number1",
       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}})";

std::string detailRecord(const std::string& more)
{
    return std::string("{") + kDetailRecord + "," + more + "}";
}

std::string detailPayload()
{
    return std::string(R"({"content":{)") + kDetail +
           R"(,"channel":[{"source":"source1","dtv":"dtv1","number":"number1",
              "station_img":{"url":"surl1","type":"stype1","index":"sindex1","width":"11","height":"12"},
              "schedule":[{"starttime":"2026-11-21T01:30:00Z","duration":"13","vd_quality":"quality2"},
              {"starttime":"2026-11-21T02:30:00Z"},{"duration":"18"}]},
              {"source":"source2","station_img":{"url":"","type":"unread"}}]}})";
}

/// The airings on the two channels. The quality of an airing overrides that of the programme, even if it is missing.
std::string detailOutputs()
{
    const std::string first = kFirstChannel;
    return R"({"list":[)" +
           detailRecord(first + R"(,"start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                                 "videoQuality":"quality2")") +
           "," + detailRecord(first + R"(,"start":{"at":"2026-11-21T02:30:00Z","offset":"-05:30"})") + "," +
           detailRecord(first + R"(,"start":{"offset":"-05:30"},"duration":18)") + "," +
           detailRecord(R"("channel":{"source":"source2"},"videoQuality":"quality1")") + "]}";
}

/// The same with one record for all airings of the first channel.
std::string withoutSchedule()
{
    return R"({"list":[)" + detailRecord(std::string(kFirstChannel) + R"(,"videoQuality":"quality1")") + "," +
           detailRecord(R"("channel":{"source":"source2"},"videoQuality":"quality1")") + "]}";
}

/// The same with one record and no channel.
std::string withoutChannel()
{
    return R"({"list":[)" + detailRecord(R"("videoQuality":"quality1")") + "]}";
}

/// Keeps a string until the program ends.
const char* keep(std::string text)
{
    static std::list<std::string> texts;
    return texts.emplace_back(std::move(text)).c_str();
}

}  // namespace

std::vector<ParserCase> detailCases()
{
    using Contents = WatchedContainer<WVLContent>;
    using Genres = WatchedContainer<WVLGenre>;
    using RepGenres = WatchedContainer<WVLRepGenre>;
    return {
        {
            "GenreList",
            "ParseGenreList",
            parser<VorelGetGenreListCMD, bool, std::string, Genres, RepGenres>(
                {"changed", "checksum", "genres", "repGenres"},
                [](auto& command, const Calling& in, bool& changed, std::string& checksum, Genres& genres,
                   RepGenres& rep) {
                    return command.ParseGenreList(in.body, genres, rep, checksum, changed, in.reference);
                }),
            R"({"checksum":{"stat":"new","code":"sum1"},
                "genre":[{"id":"id1","rep_id":"rep1","name":"name1",
                "genre_img":{"url":"url1","type":"type1","index":"index1","width":"unread"}},{"id":"id2"},{"id":"id3"}],
                "rep_genre":[{"rep_id":"rep4","name":"name4"},{"rep_id":"rep5"}]})",
            R"({"changed":true,"checksum":"sum1",
                "genres":[{"id":"id1","repID":"rep1","name":"name1",
                "images":[{"url":"url1","type":"type1","index":"index1"}]},
                {"id":"id2","images":[{}]},{"id":"id3","images":[{}]}],
                "repGenres":[{"repID":"rep4","repName":"name4"},{"repID":"rep5"}]})",
            {{"/genre/*/genre_img", ReadWhen::Always}},
            {{"/checksum", 0, R"({"changed":false,"checksum":"","genres":[],"repGenres":[]})"},
             {"/checksum/stat", 0, R"({"changed":false,"checksum":"sum1","genres":[],"repGenres":[]})"},
             {"/genre", -57, R"({"changed":true,"checksum":"sum1","genres":[],"repGenres":[]})"}},
            OutputsOnException::Clears,
            -57,
            {{"/checksum/stat", "changed"}},
            5,
            "[ParseGenreList] [--VorelGetGenreListCMD::ParseGenreList] Canceled",
        },
        {
            "ContentDetailInfo",
            "ParseContentDetailInfo",
            parser<VorelGetContentDetailInfoCMD, Contents>(
                {"list"}, [](auto& command, const Calling& in,
                             Contents& out) { return command.ParseContentDetailInfo(in.body, in.clock, out); }),
            keep(detailPayload()),
            keep(detailOutputs()),
            {{"/content/poster", ReadWhen::UrlPresent}, {"/content/channel/*/station_img", ReadWhen::UrlNonEmpty}},
            {{"/content", 0, R"({"list":[{}]})"},
             {"/content/channel", 0, keep(withoutChannel())},
             {"/content/channel/0/schedule", 0, keep(withoutSchedule())}},
            OutputsOnException::Passes,
        },
        {
            "PersonDetailInfo",
            "ParsePersonDetailInfo",
            recordParser("person", &VorelGetPersonDetailInfoCMD::ParsePersonDetailInfo),
            R"({"person":{"id":"id1","name":"name1","occupation":"job1","birthdate":"birth1","deathdate":"death1",
                "like":"21","dislike":"22","biography":"bio1",
                "face_img":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"}}})",
            R"({"person":{"id":"id1","name":"name1","occupation":"job1","birthdate":"birth1","deathdate":"death1",
                "like":21,"dislike":22,"biography":"bio1",
                "faceImage":{"url":"url1","type":"type1","index":"index1","width":11,"height":12}}})",
            {{"/person/face_img", ReadWhen::Always}},
        },
        {
            "SeriesDetailInfo",
            "ParseSeriesDetailInfo",
            parser<VorelGetSeriesDetailInfoCMD, WVLContent, Contents>(
                {"series", "episodes"},
                [](auto& command, const Calling& in, WVLContent& series, Contents& out) {
                    return command.ParseSeriesDetailInfo(in.body, in.clock, series, out, in.reference);
                }),
            R"({"series":{"id":"id1","title":"title1","startyear":"1990","endyear":"1995","type":"kind1",
                "poster":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"},
                "season":[{"episode":[{"source":"source2","name":"name2","number":"number2",
                "starttime":"2026-11-21T01:30:00Z","id":"id2","title":"title2","season_seq":"31","episode_seq":"32",
                "cert_flag":"flag2","genres":[{"id":"genre1"},{"id":"genre2"}],"year":"1991","release":"release2",
                "duration":"33","short_desc":"short2",
                "poster":{"url":"url2","type":"type2","index":"index2","width":"14","height":"15"}},
                {"id":"id3","poster":{"url":"","type":"unread"}}]},{},{"episode":[{"id":"id4"}]}]}})",
            R"({"series":{"id":"id1","title":"title1","startYear":1990,"endYear":1995,"type":"kind1",
                "poster":[{"url":"url1","type":"type1","index":"index1","width":11,"height":12}]},
                "episodes":[{"channel":{"source":"source2","name":"name2","number":"number2"},
                "start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"id":"id2","title":"title2","season":31,
                "episode":32,"certiFlag":"flag2","genres":[{"id":"genre1"},{"id":"genre2"}],"year":1991,
                "release":"release2","duration":33,"shortDesc":"short2",
                "poster":[{"url":"url2","type":"type2","index":"index2","width":14,"height":15}]},
                {"id":"id3","start":{"offset":"-05:30"}},{"id":"id4","start":{"offset":"-05:30"}}]})",
            {{"/series/poster", ReadWhen::UrlNonEmpty}, {"/series/season/*/episode/*/poster", ReadWhen::UrlNonEmpty}},
            {},
            OutputsOnException::Passes,
            -57,
            {},
            3,
            "[ParseSeriesDetailInfo] [--VorelGetSeriesDetailInfoCMD::ParseSeriesDetailInfo] Canceled",
        },
    };
}

}  // namespace W::test
