// Rows of the parsers of the guide.

#include "ParseCases.h"

#include "VorelCommand.h"

namespace W::test {

namespace {

using Contents = WatchedContainer<WVLContent>;

/// A list of programmes, by a parser that takes the clock before the container.
template <class Command>
ParserCase programmes(const char* name, const char* function,
                      int (Command::*parse)(const std::string&, WDateTime, WContainer<WVLContent>&, UINT64),
                      const char* payload, const char* outputs, std::vector<ImageAt> images, Absence empty,
                      const char* cancelLine)
{
    return {
        name,
        function,
        parser<Command, Contents>({"list"},
                                  [parse](Command& command, const Calling& in, Contents& out) {
                                      return (command.*parse)(in.body, in.clock, out, in.reference);
                                  }),
        payload,
        outputs,
        std::move(images),
        {empty},
        OutputsOnException::Clears,
        -57,
        {},
        3,
        cancelLine,
    };
}

}  // namespace

std::vector<ParserCase> guideCases()
{
    using Urls = std::list<WVLDownloadURL>;
    return {
        programmes(
            "Schedule", "ParseSchedule", &VorelGetScheduleCMD::ParseSchedule,
            R"({"channel":[{"source":"source1","name":"name1",
                       "station_img":{"url":"surl1","type":"stype1","index":"sindex1","width":"11","height":"12"},
                       "content":[{"id":"id1","lang":"lang1","title":"title1","type":"kind1",
                       "starttime":"2026-11-21T01:30:00Z","duration":"13","genres":[{"id":"genre1"},{"id":"genre2"}],
                       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"}},
                       {"id":"id2","poster":{"url":"","type":"ptype2"}},{"id":"id3","poster":{"type":"unread"}}]},
                       {"source":"unread"},{"source":"source3","station_img":{"type":"unread"},
                       "content":[{"id":"id4"}]}]})",
            R"({"list":[{"id":"id1","lang":"lang1","title":"title1","type":"kind1",
                       "start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                       "genres":[{"id":"genre1"},{"id":"genre2"}],
                       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}],
                       "channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}},
                       {"id":"id2","start":{"offset":"-05:30"},"poster":[{"type":"ptype2"}],
                       "channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}},
                       {"id":"id3","start":{"offset":"-05:30"},"channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}},
                       {"id":"id4","start":{"offset":"-05:30"},"channel":{"source":"source3"}}]})",
            {{"/channel/*/station_img", ReadWhen::UrlPresent}, {"/channel/*/content/*/poster", ReadWhen::UrlPresent}},
            {"/channel", 0, kEmptyListReply}, "[ParseSchedule] [--VorelGetScheduleCMD::ParseSchedule] Canceled"),
        programmes("OnAir", "ParseOnAir", &VorelGetOnAirCMD::ParseOnAir,
                   R"({"channel":[{"source":"source1","dtv":"dtv1","name":"name1","content":{"id":"id1","lang":"lang1",
                       "title":"title1","ep_title":"episode1","ep_number":"16","type":"kind1",
                       "starttime":"2026-11-21T01:30:00Z","duration":"13","genres":[{"id":"genre1"},{"id":"genre2"}],
                       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"}}},
                       {"source":"source2","content":{"id":"id2","ep_number":"","poster":{}}},
                       {"source":"source3","content":{"poster":{"type":"ptype3","index":"pindex3"}}}]})",
                   R"({"list":[{"channel":{"source":"source1","dtv":"dtv1","name":"name1"},"id":"id1","lang":"lang1",
                       "title":"title1","episodeTitle":"episode1","episode":16,"type":"kind1",
                       "start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                       "genres":[{"id":"genre1"},{"id":"genre2"}],
                       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}]},
                       {"channel":{"source":"source2"},"id":"id2","start":{"offset":"-05:30"}},
                       {"channel":{"source":"source3"},"start":{"offset":"-05:30"},"poster":[{"type":"ptype3","index":"pindex3"}]}]})",
                   {{"/channel/*/content/poster", ReadWhen::HasMembers}}, {"/channel", 0, kEmptyListReply},
                   "[ParseOnAir] [--VorelGetOnAirCMD::ParseOnAir] Canceled"),
        {
            "Today",
            "ParseToday",
            parser<VorelGetTodayCMD, Urls>(
                {"list"}, [](auto& command, const Calling& in, Urls& out) { return command.ParseToday(in.body, out); }),
            R"({"VOREL_url":[{"time":"100-200","url":"url1","filename":"file1"},
                {"time":"300-400","url":"url2","filename":"file2"},{"url":"url3"}]})",
            R"({"list":[{"start":100,"end":200,"url":"url1","fileName":"file1"},
                {"start":300,"end":400,"url":"url2","fileName":"file2"},{"url":"url3"}]})",
            {},
            {{"/VOREL_url", -55, kEmptyListReply},
             {"/VOREL_url/0/time", 0,
              R"({"list":[{"url":"url1","fileName":"file1"},{"start":300,"end":400,"url":"url2","fileName":"file2"},
                  {"url":"url3"}]})"},
             {"/VOREL_url/1/time", 0,
              R"({"list":[{"start":100,"end":200,"url":"url1","fileName":"file1"},{"url":"url2","fileName":"file2"},
                  {"url":"url3"}]})"}},
        },
        programmes("FocusChannel", "ParseFocusChannel", &VorelGetFocusChannelCMD::ParseFocusChannel,
                   R"({"source":"source1","name":"name1",
                       "station_img":{"url":"surl1","type":"stype1","index":"sindex1","width":"11","height":"12"},
                       "content":[{"id":"id1","lang":"lang1","title":"title1","ep_title":"episode1","ep_number":"16",
                       "type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],"short_desc":"short1",
                       "starttime":"2026-11-21T01:30:00Z","duration":"13",
                       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"}},
                       {"id":"id2","poster":{"url":""}},{"id":"id3","poster":{"type":"unread"}}]})",
                   R"({"list":[{"id":"id1","lang":"lang1","title":"title1","episodeTitle":"episode1","episode":16,
                       "type":"kind1","genres":[{"id":"genre1"},{"id":"genre2"}],"shortDesc":"short1",
                       "start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},"duration":13,
                       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}],
                       "channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}},
                       {"id":"id2","start":{"offset":"-05:30"},"poster":[{}],
                       "channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}},
                       {"id":"id3","start":{"offset":"-05:30"},"channel":{"source":"source1","name":"name1",
                       "stationImage":{"url":"surl1","type":"stype1","index":"sindex1","width":11,"height":12}}}]})",
                   {{"/station_img", ReadWhen::UrlPresent}, {"/content/*/poster", ReadWhen::UrlPresent}},
                   {"/content", -55, kEmptyListReply},
                   "[ParseFocusChannel] [--VorelGetFocusChannelCMD::ParseFocusChannel] Canceled"),
        programmes("ContentList", "ParseContentList", &VorelGetContentListCMD::ParseContentList,
                   R"({"content":[{"id":"id1","lang":"lang1","title":"title1","type":"kind1",
                       "genres":[{"id":"genre1"},{"id":"genre2"}],"year":"2001","runtime":"17",
                       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"}},
                       {"id":"id2","poster":{"url":""}},{"id":"id3","poster":{"type":"unread"}}]})",
                   R"({"list":[{"id":"id1","lang":"lang1","title":"title1","type":"kind1",
                       "genres":[{"id":"genre1"},{"id":"genre2"}],"year":2001,"runtime":17,
                       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}]},
                       {"id":"id2","poster":[{}]},{"id":"id3"}]})",
                   {{"/content/*/poster", ReadWhen::UrlPresent}}, {"/content", 0, kEmptyListReply},
                   "[ParseContentList] [--VorelGetContentListCMD::ParseContentList] Canceled"),
        programmes("Guide", "ParseGuide", &VorelGetGuideCMD::ParseGuide,
                   R"({"channel":[{"source":"source1","name":"name1","number":"number1",
                       "content":[{"id":"id1","lang":"lang1","starttime":"2026-11-21T01:30:00Z","duration":"13",
                       "title":"title1",
                       "poster":{"url":"purl1","type":"ptype1","index":"pindex1","width":"14","height":"15"},
                       "genres":[{"id":"genre1"},{"id":"genre2"}]},{"id":"id2"}]},
                       {"source":"unread"},{"source":"source3","content":[{"id":"id3","poster":{"url":""}}]}]})",
                   R"({"list":[{"id":"id1","lang":"lang1","start":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"},
                       "duration":13,"title":"title1",
                       "poster":[{"url":"purl1","type":"ptype1","index":"pindex1","width":14,"height":15}],
                       "genres":[{"id":"genre1"},{"id":"genre2"}],
                       "channel":{"source":"source1","name":"name1","number":"number1"}},
                       {"id":"id2","start":{"offset":"-05:30"},"poster":[{}],
                       "channel":{"source":"source1","name":"name1","number":"number1"}},
                       {"id":"id3","start":{"offset":"-05:30"},"poster":[{}],"channel":{"source":"source3"}}]})",
                   {{"/channel/*/content/*/poster", ReadWhen::Always}}, {"/channel", 0, kEmptyListReply},
                   "[ParseGuide] [--VorelGetGuideCMD::ParseGuide] Canceled"),
    };
}

}  // namespace W::test
