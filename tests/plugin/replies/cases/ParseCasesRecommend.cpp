// Rows of the parsers of the recommendations.

#include "ParseCases.h"

#include "VorelCommand.h"

namespace W::test {

namespace {

using Contents = WatchedContainer<WVLContent>;

/// A list of programmes, by a parser that takes the clock after the container.
template <class Command>
ParserCase recommendations(const char* name, const char* function,
                           int (Command::*parse)(const std::string&, WContainer<WVLContent>&, WDateTime, UINT64),
                           const char* payload, const char* outputs, ImageAt image, Absence empty,
                           const char* cancelLine, int unreadable = -57)
{
    return {
        name,
        function,
        parser<Command, Contents>({"list"},
                                  [parse](Command& command, const Calling& in, Contents& out) {
                                      return (command.*parse)(in.body, out, in.clock, in.reference);
                                  }),
        payload,
        outputs,
        {image},
        {empty},
        OutputsOnException::Clears,
        unreadable,
        {},
        3,
        cancelLine,
    };
}

/// Missed and candidate missed differ in the name of the array only.
constexpr char kMissedItems[] =
    R"([{"source":"source1","number":"number1","starttime":"2026-11-21T01:30:00Z","duration":"13",
        "content":{"id":"id1","lang":"lang1","title":"title1","ep_title":"episode1","ep_number":"16","year":"2001",
        "type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],
        "poster":{"url":"purl1","type":"ptype1","index":"pindex1"}}},
        {"source":"source2","content":{"poster":{"url":"","type":"ptype2"}}},
        {"source":"source3","content":{"poster":{}}}])";

constexpr char kMissedRecords[] =
    R"({"list":[{"channel":{"source":"source1","number":"number1"},
        "start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,"id":"id1","lang":"lang1",
        "title":"title1","episodeTitle":"episode1","episode":16,"year":2001,"type":"kind1",
        "genres":[{"id":"genre1"},{"id":"genre2"}],"poster":[{"url":"purl1","type":"ptype1","index":"pindex1"}]},
        {"channel":{"source":"source2"},"start":{"offset":"-05:30"},"poster":[{"type":"ptype2"}]},
        {"channel":{"source":"source3"},"start":{"offset":"-05:30"}}]})";

const std::string kMissed = std::string(R"({"channel":)") + kMissedItems + "}";
const std::string kCandidateMissed = std::string(R"({"candidate_missed":)") + kMissedItems + "}";

}  // namespace

std::vector<ParserCase> recommendCases()
{
    using Persons = WatchedContainer<WVLPerson>;
    return {
        recommendations(
            "SmartChannel", "ParseGetSmartChannel", &VorelGetSmartChannelCMD::ParseGetSmartChannel,
            R"({"channel_guide":[{"source":"source1","rec_type":"rec1","number":"number1","name":"name1",
                "timeslot":"21","sequence":"22","starttime":"2026-11-21T01:30:00Z","duration":"13",
                "content":{"id":"id1","lang":"lang1","season_seq":"23","episode_seq":"24","title":"title1",
                "year":"2001","type":"kind1","missed":"missed1","cert_flag":"flag1",
                "genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":{"url":"purl1","type":"ptype1","index":"pindex1"}}},
                {"source":"source2","content":{"poster":{"url":"","type":"unread"}}},{"source":"source3"}]})",
            R"({"list":[{"channel":{"source":"source1","number":"number1","name":"name1"},"recommendType":"rec1",
                "timeslot":21,"sequence":22,"start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                "id":"id1","lang":"lang1","season":23,"episode":24,"title":"title1","year":2001,"type":"kind1",
                "missed":"missed1","certiFlag":"flag1","genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":[{"url":"purl1","type":"ptype1","index":"pindex1"}]},
                {"channel":{"source":"source2"},"start":{"offset":"-05:30"}},
                {"channel":{"source":"source3"},"start":{"offset":"-05:30"}}]})",
            {"/channel_guide/*/content/poster", ReadWhen::UrlNonEmpty}, {"/channel_guide", -55, kEmptyListReply},
            "[ParseGetSmartChannel] [--VorelGetSmartChannelCMD::ParseGetSmartChannel] Canceled"),
        recommendations("SmartPopular", "ParseGetSmartPopular", &VorelGetSmartPopularCMD::ParseGetSmartPopular,
                        R"({"channel_guide":[{"source":"source1","rec_type":"unread","number":"number1","name":"name1",
                "timeslot":"21","sequence":"22","starttime":"2026-11-21T01:30:00Z","duration":"13",
                "content":{"id":"id1","lang":"lang1","season_seq":"23","episode_seq":"24","title":"title1",
                "year":"2001","type":"kind1","missed":"missed1","cert_flag":"flag1",
                "genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":{"url":"purl1","type":"ptype1","index":"pindex1"}}},
                {"source":"source2","content":{"poster":{"url":"","type":"unread"}}},{"source":"source3"}]})",
                        R"({"list":[{"channel":{"source":"source1","number":"number1","name":"name1"},
                "timeslot":21,"sequence":22,"start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                "id":"id1","lang":"lang1","season":23,"episode":24,"title":"title1","year":2001,"type":"kind1",
                "missed":"missed1","certiFlag":"flag1","genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":[{"url":"purl1","type":"ptype1","index":"pindex1"}]},
                {"channel":{"source":"source2"},"start":{"offset":"-05:30"}},
                {"channel":{"source":"source3"},"start":{"offset":"-05:30"}}]})",
                        {"/channel_guide/*/content/poster", ReadWhen::UrlNonEmpty},
                        {"/channel_guide", -55, kEmptyListReply},
                        "[ParseGetSmartPopular] [--VorelGetSmartPopularCMD::ParseGetSmartPopular] Canceled"),
        recommendations("PopularCh", "ParseGetPopularCh", &VorelGetPopularChCMD::ParseGetPopularCh,
                        R"({"channel":[{"source":"source1","number":"number1",
                            "content":{"id":"id1","lang":"lang1","title":"title1","year":"2001","type":"kind1",
                            "genres":[{"id":"genre1"},{"id":"genre2"}],
                            "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"}}},
                            {"source":"source2","content":{"poster":{"url":"","type":"unread"}}},
                            {"source":"source3"}]})",
                        R"({"list":[{"channel":{"source":"source1","number":"number1"},"id":"id1","lang":"lang1",
                            "title":"title1","year":2001,"type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],
                            "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}]},
                            {"channel":{"source":"source2"}},{"channel":{"source":"source3"}}]})",
                        {"/channel/*/content/poster", ReadWhen::UrlNonEmpty}, {"/channel", 0, kEmptyListReply},
                        "[ParseGetPopularCh] [--VorelGetPopularChCMD::ParseGetPopularCh] Canceled", -16),
        {
            "Related",
            "ParseGetRelated",
            parser<VorelGetRelatedCMD, Contents, Persons, Contents>(
                {"episode", "castAndCrew", "related"},
                [](auto& command, const Calling& in, Contents& episode, Persons& persons, Contents& related) {
                    return command.ParseGetRelated(in.body, episode, persons, related);
                }),
            R"({"ot_episode":{"content":{"id":"id1","lang":"lang1","title":"title1","year":"2001","type":"kind1",
                "cert_flag":"flag1","genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"11","height":"12"},
                "rating":"rating1","vod":"vod1"}},
                "castncrew":[{"id":"person1","name":"pname1","role":"role1"},{"id":"person2"}],
                "related":[{"id":"id2","lang":"lang2","title":"title2","year":"2002","type":"kind2",
                "cert_flag":"unread","genres":[{"id":"genre3"}],
                "poster":{"url":"purl2","type":"ptype2","index":"pindex2","width":"14","height":"15"},
                "rating":"rating2","vod":"vod2"},{"id":"id3"},{"id":"id4"}]})",
            R"({"episode":[{"id":"id1","lang":"lang1","title":"title1","year":2001,"type":"kind1","certiFlag":"flag1",
                "genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":11,"height":12}],
                "rating":"rating1","vod":"vod1"}],
                "castAndCrew":[{"id":"person1","name":"pname1","role":"role1"},{"id":"person2"}],
                "related":[{"id":"id2","lang":"lang2","title":"title2","year":2002,"type":"kind2",
                "genres":[{"id":"genre3"}],
                "poster":[{"url":"purl2","type":"ptype2","index":"pindex2","width":14,"height":15}],
                "rating":"rating2","vod":"vod2"},{"id":"id3","poster":[{}]},{"id":"id4","poster":[{}]}]})",
            {{"/ot_episode/content/poster", ReadWhen::Always}, {"/related/*/poster", ReadWhen::Always}},
        },
        recommendations("Missed", "ParseGetMissed", &VorelGetMissedCMD::ParseGetMissed, kMissed.c_str(), kMissedRecords,
                        {"/channel/*/content/poster", ReadWhen::HasMembers}, {"/channel", 0, kEmptyListReply},
                        "[ParseGetMissed] [--VorelGetMissedCMD::ParseGetMissed] Canceled"),
        recommendations("CandidateMissed", "ParseGetCandidateMissed",
                        &VorelGetCandidateMissedCMD::ParseGetCandidateMissed, kCandidateMissed.c_str(), kMissedRecords,
                        {"/candidate_missed/*/content/poster", ReadWhen::HasMembers},
                        {"/candidate_missed", 0, kEmptyListReply},
                        "[ParseGetCandidateMissed] [--VorelGetCandidateMissedCMD::ParseGetCandidateMissed] Canceled"),
        {
            "Combination",
            "ParseCombination",
            parser<VorelGetCombinationCMD, WVLConcierge>({"concierge"},
                                                         [](auto& command, const Calling& in, WVLConcierge& out) {
                                                             return command.ParseCombination(in.body, in.clock, out);
                                                         }),
            R"({"concierge":{"personalized":{
                "tv":[{"source":"source1","starttime":"2026-11-21T01:30:00Z","duration":"13","id":"id1",
                "title":"title1","cert_flag":"flag1","genres":[{"id":"genre1"},{"id":"genre2"}],
                "poster":{"url":"url1","type":"type1","index":"index1","width":"unread"}},{"id":"id2"}],
                "movie":[{"source":"unread","id":"id3","title":"title3","genres":[{"id":"genre3"}],
                "poster":{"url":"url3","type":"type3","index":"index3"}},{"id":"id4"}],
                "apps":[{"id":"id5","title":"title5","category":"category5",
                "thumbnail":{"images":[{"url":"url5","type":"type5","index":"unread","width":"14","height":"15"},
                {"url":"url6"}]}},{"id":"id6"}]}}})",
            R"({"concierge":{"personalized":[
                {"kind":1,"source":"source1","start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                "id":"id1","title":"title1","certiFlag":"flag1","genres":[{"id":"genre1"},{"id":"genre2"}],
                "images":[{"url":"url1","type":"type1","index":"index1"}]},
                {"kind":1,"id":"id2","start":{"offset":"-05:30"},"images":[{}]},
                {"kind":2,"id":"id3","title":"title3","genres":[{"id":"genre3"}],
                "images":[{"url":"url3","type":"type3","index":"index3"}]},{"kind":2,"id":"id4","images":[{}]},
                {"kind":3,"id":"id5","title":"title5","category":"category5",
                "images":[{"url":"url5","type":"type5","width":14,"height":15},{"url":"url6"}]},
                {"kind":3,"id":"id6"}]}})",
            {{"/concierge/personalized/tv/*/poster", ReadWhen::Always},
             {"/concierge/personalized/movie/*/poster", ReadWhen::Always}},
            {},
            OutputsOnException::Resets,
        },
    };
}

}  // namespace W::test
