// Rows of the parsers of session, configuration and terms.

#include "ParseCases.h"

#include "VorelCommand.h"

namespace W::test {

std::vector<ParserCase> configCases()
{
    return {
        {
            "SessionInfo",
            "ParseSessionInfo",
            recordParser("session", &VorelGetAuthSeedkeyCMD::ParseSessionInfo),
            R"({"session":{"id":"session1","user":{"id":"user1"},"seedkey":"seed1","expired":"2026-11-21T01:30:00Z"}})",
            R"({"session":{"id":"session1","user":"user1","seedKey":"seed1",
                "expires":{"at":"2026-11-21T01:30:00Z","offset":"+00:00"}}})",
        },
        {
            "ConfLog",
            "ParseConfLog",
            recordParser("log", &VorelGetConfLogCMD::ParseConfLog),
            R"({"service":{"name":"name1","url":"url1","queue_max":"queue1","expiration":"exp1","loglevel":"level1",
                "event":[{"name":"name2","loglevel":"level2"},{"name":"name3","loglevel":"level3"},{"name":"name4"}]}})",
            R"({"log":{"name":"name1","url":"url1","queueMax":"queue1","expiration":"exp1","level":"level1",
                "events":[{"name":"name2","level":"level2"},{"name":"name3","level":"level3"},{"name":"name4"}]}})",
            {},
            {},
            OutputsOnException::Clears,
            -57,
            {},
            0,
            nullptr,
            "/service/event",
        },
        {
            "Localtime",
            "ParseLocaltime",
            recordParser("localtime", &VorelGetLocaltimeCMD::ParseLocaltime),
            R"({"date":"2026-11-21T01:30:00Z","localdate":"2026-11-21T10:45:01","timezone":"zone1",
                "difference":"+09:15"})",
            R"({"localtime":{"utc":{"at":"2026-11-21T01:30:00Z","offset":"+00:00"},
                "local":{"at":"2026-11-21T10:45:01Z"},"timezone":"zone1","difference":{"offset":"+09:15"}}})",
        },
        acknowledgement("ParseResetHistory", &VorelResetHistoryCMD::ParseResetHistory),
        {
            "ServerUrl",
            "ParseServerUrl",
            parser<VorelGetServerUrlCMD, std::string, WDateTime>(
                {"url", "expired"},
                [](auto& command, const Calling& in, std::string& url, WDateTime& expired) {
                    return command.ParseServerUrl(in.body, in.clock, url, expired);
                }),
            R"({"url":"url1","expired":"2026-11-21T01:30:00Z"})",
            R"({"url":"url1","expired":{"at":"2026-11-21T01:30:00Z","offset":"-05:30"}})",
        },
        {
            "CheckUpload",
            "ParseCheckUpload",
            parser<VorelCheckUploadCMD, std::string, std::string>(
                {"url", "fileName"},
                [](auto& command, const Calling& in, std::string& url, std::string& fileName) {
                    return command.ParseCheckUpload(in.body, url, fileName);
                }),
            R"({"url":"url1","filename":"file1"})",
            R"({"url":"url1","fileName":"file1"})",
        },
        acknowledgement("ParseSendChannel", &VorelSendChannelCMD::ParseSendChannel),
        {
            "CertificationRule",
            "ParseCertificationRule",
            recordParser("rule", &VorelGetCertificationRuleCMD::ParseCertificationRule),
            R"({"service":{"first_screen":"first1","adult_default":"adult1","bar_mode":"mode1","bar_ratio":"ratio1",
                "cert_type":"type1","rule":"rule1","uptime_begin":"begin1","uptime_end":"end1"}})",
            R"({"rule":{"firstScreen":"first1","adultDefault":"adult1","barMode":"mode1","barRatio":"ratio1",
                "type":"type1","rule":"rule1","begin":"begin1","end":"end1"}})",
        },
        {
            "CheckAgreement",
            "ParseCheckAgreement",
            parser<VorelCheckAgreementCMD, std::string, std::string>(
                {"status", "confirmed"},
                [](auto& command, const Calling& in, std::string& status, std::string& confirmed) {
                    return command.ParseCheckAgreement(in.body, status, confirmed);
                }),
            R"({"reg_info":{"status":"agreed","confirmed":"yes"}})",
            R"({"status":"agreed","confirmed":"yes"})",
        },
        acknowledgement("ParseConfirmAgreement", &VorelConfirmAgreementCMD::ParseConfirmAgreement),
        acknowledgement("ParseSetAnonymAgreement", &VorelSetAnonymAgreementCMD::ParseSetAnonymAgreement),
        acknowledgement("ParseRevocateAgreement", &VorelRevocateAgreementCMD::ParseRevocateAgreement),
    };
}

std::vector<ParserCase> viewerCases()
{
    using Contents = WatchedContainer<WVLContent>;
    using Channels = WatchedContainer<WVLChannel>;
    return {
        acknowledgement("ParseSetFavorite", &VorelSetFavoriteCMD::ParseSetFavorite),
        acknowledgement("ParseDeleteFavorite", &VorelDeleteFavoriteCMD::ParseDeleteFavorite),
        {
            "FavoriteChannel",
            "ParseFavoriteChannel",
            recordParser("channel", &VorelGetFavoriteChannelCMD::ParseFavoriteChannel),
            R"({"channel":{"source":"source1","name":"name1","dtv":"dtv1","number":"number1",
                "station_img":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"}}})",
            R"({"channel":{"source":"source1","name":"name1","dtv":"dtv1","number":"number1",
                "stationImage":{"url":"url1","type":"type1","index":"index1","width":11,"height":12}}})",
            {{"/channel/station_img", ReadWhen::Always}},
        },
        {
            "FavoriteContent",
            "ParseFavoriteContent",
            recordParser("content", &VorelGetFavoriteContentCMD::ParseFavoriteContent),
            R"({"content":{"id":"id1","lang":"lang1","title":"title1","ep_title":"episode1","ep_number":"13",
                "type":"kind1",
                "poster":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"}}})",
            R"({"content":{"id":"id1","lang":"lang1","title":"title1","episodeTitle":"episode1","episode":13,
                "type":"kind1",
                "poster":[{"url":"url1","type":"type1","index":"index1","width":11,"height":12}]}})",
            {{"/content/poster", ReadWhen::Always}},
        },
        {
            "FavoriteChannelList",
            "ParseFavoriteChannelList",
            parser<VorelGetFavoriteChannelListCMD, Channels>(
                {"list"}, [](auto& command, const Calling& in,
                             Channels& out) { return command.ParseFavoriteChannelList(in.body, out, in.reference); }),
            R"({"channel":[{"source":"source1","dtv":"dtv1","number":"number1","name":"name1",
                "station_img":{"url":"url1","type":"type1","width":"11","height":"12"}},
                {"source":"source2","station_img":{"index":"unread"}},{"source":"source3"}]})",
            R"({"list":[{"source":"source1","dtv":"dtv1","number":"number1","name":"name1",
                "stationImage":{"url":"url1","type":"type1","width":11,"height":12}},
                {"source":"source2"},{"source":"source3"}]})",
            {{"/channel/*/station_img", ReadWhen::Always}},
            {{"/channel", 0, R"({"list":[]})"}},
            OutputsOnException::Clears,
            -57,
            {},
            3,
            "[ParseFavoriteChannelList] [--VorelGetFavoriteChannelListCMD::ParseFavoriteChannelList] Canceled",
        },
        {
            "FavoriteContentList",
            "ParseFavoriteContentList",
            parser<VorelGetFavoriteContentListCMD, Contents>(
                {"list"}, [](auto& command, const Calling& in,
                             Contents& out) { return command.ParseFavoriteContentList(in.body, out, in.reference); }),
            R"({"content":[{"id":"id1","lang":"lang1","title":"title1","year":"2001","type":"kind1",
                "poster":{"url":"url1","type":"type1","index":"index1","width":"11","height":"12"}},
                {"id":"id2","poster":{"url":""}},{"id":"id3"}]})",
            R"({"list":[{"id":"id1","lang":"lang1","title":"title1","year":2001,"type":"kind1",
                "poster":[{"url":"url1","type":"type1","index":"index1","width":11,"height":12}]},
                {"id":"id2","poster":[{}]},{"id":"id3","poster":[{}]}]})",
            {{"/content/*/poster", ReadWhen::Always}},
            {{"/content", 0, R"({"list":[]})"}},
            OutputsOnException::Clears,
            -57,
            {},
            3,
            "[ParseFavoriteContentList] [--VorelGetFavoriteContentListCMD::ParseFavoriteContentList] Canceled",
        },
        {
            "SendTuneHistory",
            "ParseSendTuneHistory",
            parser<VorelSendTuneHistoryCMD, int>({"sequence"},
                                                 [](auto& command, const Calling& in, int& sequence) {
                                                     return command.ParseSendTuneHistory(in.body, sequence);
                                                 }),
            R"({"seq":"4321"})",
            R"({"sequence":4321})",
        },
        acknowledgement("ParseSendLike", &VorelSendLikeCMD::ParseSendLike),
        {
            "GetLikeHistory",
            "ParseGetLikeHistory",
            parser<VorelGetLikeHistoryCMD, int, int, bool, bool>(
                {"like", "dislike", "likeOwned", "dislikeOwned"},
                [](auto& command, const Calling& in, int& like, int& dislike, bool& likeOwned, bool& dislikeOwned) {
                    return command.ParseGetLikeHistory(in.body, like, dislike, likeOwned, dislikeOwned);
                }),
            R"({"content":{"count":{"like":"21","dislike":"22","like_owned":"yes","dis_owned":"yes"}}})",
            R"({"like":21,"dislike":22,"likeOwned":true,"dislikeOwned":true})",
            {},
            {},
            OutputsOnException::Clears,
            -57,
            {{"/content/count/like_owned", "likeOwned"}, {"/content/count/dis_owned", "dislikeOwned"}},
        },
    };
}

}  // namespace W::test
