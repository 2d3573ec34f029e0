// Rows of the parsers of channels, headends, cities and the line-up quiz.

#include "ParseCases.h"

#include "VorelCommand.h"

namespace W::test {

namespace {

using Headends = WatchedContainer<WVLHeadend>;

/// One of the three lists of headends, which differ in one key and in their lines.
template <class Command>
ParserCase headends(const char* name, const char* function,
                    int (Command::*parse)(const std::string&, WContainer<WVLHeadend>&, UINT64), const char* payload,
                    const char* outputs, const char* cancelLine)
{
    return {
        name,
        function,
        parser<Command, Headends>({"list"},
                                  [parse](Command& command, const Calling& in, Headends& out) {
                                      return (command.*parse)(in.body, out, in.reference);
                                  }),
        payload,
        outputs,
        {},
        {{"/mso", -55, R"({"list":[]})"}},
        OutputsOnException::Clears,
        -57,
        {},
        3,
        cancelLine,
    };
}

constexpr char kMsosWithoutSatellite[] =
    R"({"mso":[{"id":"mso1","name":"name1","service_type":"service1","satellite_enum":"unread","rf_device_type":"rf1",
        "mbr_name":"mbr1","headend":{"id":"head1","dtv":"dtv1","city":"city1"},
        "device":[{"type":"type1","name":"device1"},{"type":"type2","name":"device2"},{"type":"type3"}]},
        {"id":"mso2"},{"id":"mso3","device":[]}]})";

constexpr char kHeadendsWithoutSatellite[] =
    R"({"list":[{"msoID":"mso1","msoName":"name1","serviceType":"service1","rfDevice":"rf1","mbrName":"mbr1",
        "id":"head1","dtv":"dtv1","city":"city1",
        "devices":[{"type":"type1","name":"device1"},{"type":"type2","name":"device2"},{"type":"type3"}]},
        {"msoID":"mso2"},{"msoID":"mso3"}]})";

}  // namespace

std::vector<ParserCase> channelCases()
{
    using Channels = WatchedContainer<WVLChannel>;
    using Cities = WatchedContainer<WVLCityCode>;
    using Quizzes = WatchedContainer<WVLQuiz>;
    return {
        {
            "ChannelList",
            "ParseChannelList",
            parser<VorelGetChannelListCMD, bool, std::string, Channels>(
                {"changed", "checksum", "list"},
                [](auto& command, const Calling& in, bool& changed, std::string& checksum, Channels& out) {
                    return command.ParseChannelList(in.body, out, checksum, changed, in.reference);
                }),
            R"({"checksum":{"stat":"new","code":"sum1"},
                "channel":[{"source":"source1","dtv":"dtv1","number":"number1","major":"major1","minor":"minor1",
                "ptc":"ptc1","digital_flag":"digital1","qam_flag":"qam1","onid":"onid1","tsid":"tsid1","sid":"sid1",
                "freq":"freq1","name":"name1","alias":"alias1","embed":"embed1",
                "station_img":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"}},
                {"source":"source2","station_img":{"type":"unread","width":"unread"}},
                {"source":"source3","station_img":{"url":"","type":"type3"}}],
                "ACR":[{"source":"source4","dtv":"dtv4","name":"name4","call_sign":"call4"},
                {"source":"source5","number":"unread"}]})",
            R"({"changed":true,"checksum":"sum1",
                "list":[{"source":"source1","dtv":"dtv1","number":"number1","major":"major1","minor":"minor1",
                "ptc":"ptc1","digital":"digital1","qam":"qam1","onid":"onid1","tsid":"tsid1","sid":"sid1",
                "freq":"freq1","name":"name1","alias":"alias1","embed":"embed1",
                "stationImage":{"url":"url1","type":"type1","index":"index1","width":11,"height":12}},
                {"source":"source2"},{"source":"source3","stationImage":{"type":"type3"}},
                {"source":"source4","dtv":"dtv4","name":"name4","callSign":"call4"},{"source":"source5"}]})",
            {{"/channel/*/station_img", ReadWhen::UrlPresent}},
            {{"/checksum", 0, R"({"changed":false,"checksum":"","list":[]})"},
             {"/checksum/stat", 0, R"({"changed":false,"checksum":"sum1","list":[]})"},
             {"/channel", -55, R"({"changed":true,"checksum":"sum1","list":[]})"}},
            OutputsOnException::Clears,
            -57,
            {{"/checksum/stat", "changed"}},
            5,
            "[ParseChannelList] [--VorelGetChannelListCMD::ParseChannelList] Canceled",
        },
        headends("Headend", "ParseHeadend", &VorelGetHeadendCMD::ParseHeadend,
                 R"({"mso":[{"id":"mso1","name":"name1","service_type":"service1","satellite_enum":"satellite1",
                     "rf_device_type":"rf1","mbr_name":"mbr1","headend":{"id":"head1","dtv":"dtv1","city":"city1"},
                     "device":[{"type":"type1","name":"device1"},{"type":"type2","name":"device2"}]},
                     {"id":"mso2"},{"id":"mso3","device":[]}]})",
                 R"({"list":[{"msoID":"mso1","msoName":"name1","serviceType":"service1","satellite":"satellite1",
                     "rfDevice":"rf1","mbrName":"mbr1","id":"head1","dtv":"dtv1","city":"city1",
                     "devices":[{"type":"type1","name":"device1"},{"type":"type2","name":"device2"}]},
                     {"msoID":"mso2"},{"msoID":"mso3"}]})",
                 "[ParseHeadend] [--VorelGetHeadendCMD::ParseHeadend] Canceled"),
        {
            "CityList",
            "ParseCityList",
            parser<VorelGetCityListCMD, std::map<int, std::string>, std::multimap<int, WVLCityCode>>(
                {"states", "cities"},
                [](auto& command, const Calling& in, auto& states, auto& cities) {
                    return command.ParseCityList(in.body, states, cities, in.reference);
                }),
            R"({"state":[{"name":"state1","city":[{"code":"code1","name":"city1"},{"code":"code2","name":"city2"}]},
                {"name":"state2"},{"name":"state3","city":[{"code":"code3","name":"city3"}]}]})",
            R"({"states":[{"key":0,"name":"state1"},{"key":1,"name":"state2"},{"key":2,"name":"state3"}],
                "cities":[{"key":0,"code":"code1","name":"city1"},{"key":0,"code":"code2","name":"city2"},
                {"key":2,"code":"code3","name":"city3"}]})",
            {},
            {},
            OutputsOnException::Clears,
            -57,
            {},
            3,
            "[ParseCityList] [--VorelGetCityListCMD::ParseCityList] Canceled",
        },
        {
            "CityListBrowse",
            "ParseCityList",
            parser<VorelGetCityListBrowseCMD, Cities>({"list"},
                                                      [](auto& command, const Calling& in, Cities& out) {
                                                          return command.ParseCityList(in.body, out, in.reference);
                                                      }),
            R"({"geo_level_1":[{"code":"code1","name":"name1"},{"code":"code2","name":"name2"},{"code":"code3"}]})",
            R"({"list":[{"code":"code1","name":"name1"},{"code":"code2","name":"name2"},{"code":"code3"}]})",
            {},
            {{"/geo_level_1", 0, R"({"list":[]})"}},
            OutputsOnException::Clears,
            -57,
            {},
            3,
            "[ParseCityList] [--VorelGetCityListBrowseCMD::ParseCityList] Canceled",
        },
        headends("HeadendKor", "ParseHeadendKor", &VorelGetHeadendKorCMD::ParseHeadendKor, kMsosWithoutSatellite,
                 kHeadendsWithoutSatellite, "[ParseHeadendKor] [--VorelGetHeadendKorCMD::ParseHeadendKor] Canceled"),
        headends("HeadendBrowse", "ParseHeadendBrowse", &VorelGetHeadendBrowseCMD::ParseHeadendBrowse,
                 kMsosWithoutSatellite, kHeadendsWithoutSatellite,
                 "[ParseHeadendBrowse] [--VorelGetHeadendBrowseCMD::ParseHeadendKor] Canceled"),
        {
            "LineupTest",
            "ParseLineupTest",
            parser<VorelGetLineupTestCMD, Quizzes>(
                {"list"},
                [](auto& command, const Calling& in, Quizzes& out) { return command.ParseLineupTest(in.body, out); }),
            R"({"quiz":[{"number":"number1","major":"major1","minor":"minor1","ptc":"ptc1",
                "answer":[{"name":"name1","headend":{"id":"head1","dtv":"dtv1","city":"city1","device":"device1"}},
                {"name":"name2","headend":{"id":"head2","dtv":"dtv2","city":"city2","device":"device2"}},
                {"name":"name3"}]},{"number":"number2"},{"number":"number3","answer":[]}]})",
            R"({"list":[{"number":"number1","major":"major1","minor":"minor1","ptc":"ptc1",
                "answers":[{"name":"name1","headendID":"head1","dtv":"dtv1","city":"city1","device":"device1"},
                {"name":"name2","headendID":"head2","dtv":"dtv2","city":"city2","device":"device2"},
                {"name":"name3"}]},{"number":"number2"},{"number":"number3"}]})",
            {},
            {{"/quiz", 0, R"({"list":[]})"}},
        },
        acknowledgement("ParseSaveHeadend", &VorelSaveHeadendCMD::ParseSaveHeadend),
        {
            "LoadHeadend",
            "ParseLoadHeadend",
            recordParser("headend", &VorelLoadHeadendCMD::ParseLoadHeadend),
            R"({"headend":{"id":"head1","dtv":"unread"},"device":{"type":"type1","name":"unread"}})",
            R"({"headend":{"id":"head1","devices":[{"type":"type1"}]}})",
        },
    };
}

}  // namespace W::test
