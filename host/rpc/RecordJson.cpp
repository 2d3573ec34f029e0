// The tables: key and getter, in the order of the record's setters. A lost field is a lost row here.
#include "RecordJson.h"

#include <fmt/format.h>

namespace W::host {

namespace {

/// One row: the value that `get` returns goes under `key`.
template <class Record, class Value>
struct Field {
    const char* key;
    Value (Record::*get)() const;
};

template <class Record, class Value>
Field(const char*, Value (Record::*)() const) -> Field<Record, Value>;

template <class Record, class... Values>
Json object(const Record& record, const Field<Record, Values>&... fields)
{
    Json json = Json::object();
    (json.push_back({fields.key, toJson((record.*fields.get)())}), ...);
    return json;
}

}  // namespace

Json toJson(const WDateTime& time)
{
    const WTime offset = time.getOffsetTime();
    Json json{{"utc", nullptr}, {"offset", nullptr}};
    if (time.hasInstant())
        json["utc"] = time.toString();
    if (offset.isValid())
        json["offset"] =
            fmt::format("{}{:02}:{:02}", time.getOffsetSign() < 0 ? '-' : '+', offset.getHour(), offset.getMinute());
    return json;
}

Json toJson(const WContentProvider& provider)
{
    return {{"Name", provider.getName()}, {"ServiceType", provider.getServiceType()}, {"ID", provider.getID()}};
}

Json toJson(const WVLImage& record)
{
    using R = WVLImage;
    return object(record, Field{"Index", &R::getIndex}, Field{"Type", &R::getType}, Field{"URL", &R::getURL},
                  Field{"Width", &R::getWidth}, Field{"Height", &R::getHeight});
}

Json toJson(const WVLChannel& record)
{
    using R = WVLChannel;
    return object(record, Field{"Name", &R::getName}, Field{"Number", &R::getNumber}, Field{"Source", &R::getSource},
                  Field{"MajorCH", &R::getMajorCH}, Field{"MinorCH", &R::getMinorCH}, Field{"Ptc", &R::getPtc},
                  Field{"Digital", &R::getDigital}, Field{"QAM", &R::getQAM}, Field{"ONID", &R::getONID},
                  Field{"TSID", &R::getTSID}, Field{"SID", &R::getSID}, Field{"Freq", &R::getFreq},
                  Field{"Alias", &R::getAlias}, Field{"Embed", &R::getEmbed}, Field{"CallSign", &R::getCallSign},
                  Field{"DTV", &R::getDTV}, Field{"StationImage", &R::getStationImage});
}

Json toJson(const WVLGenre& record)
{
    using R = WVLGenre;
    return object(record, Field{"GenreID", &R::getGenreID}, Field{"GenreName", &R::getGenreName},
                  Field{"GenreRepID", &R::getGenreRepID}, Field{"GenreImages", &R::getGenreImages});
}

Json toJson(const WVLRepGenre& record)
{
    using R = WVLRepGenre;
    return object(record, Field{"GenreRepID", &R::getGenreRepID}, Field{"GenreRepName", &R::getGenreRepName});
}

Json toJson(const WVLPerson& record)
{
    using R = WVLPerson;
    return object(record, Field{"ID", &R::getID}, Field{"Name", &R::getName}, Field{"Role", &R::getRole},
                  Field{"Occupation", &R::getOccupation}, Field{"Birthdate", &R::getBirthdate},
                  Field{"Deathdate", &R::getDeathdate}, Field{"Biography", &R::getBiography},
                  Field{"Like", &R::getLike}, Field{"Dislike", &R::getDislike}, Field{"FaceImage", &R::getFaceImage});
}

Json toJson(const WVLContent& record)
{
    using R = WVLContent;
    return object(
        record, Field{"ID", &R::getID}, Field{"Title", &R::getTitle}, Field{"Type", &R::getType},
        Field{"EpisodeTitle", &R::getEpisodeTitle}, Field{"ShortDesc", &R::getShortDesc},
        Field{"Summary", &R::getSummary}, Field{"Lang", &R::getLang}, Field{"Rating", &R::getRating},
        Field{"Certification", &R::getCertification}, Field{"Certi_flag", &R::getCerti_flag},
        Field{"Origin", &R::getOrigin}, Field{"Release", &R::getRelease}, Field{"VideoQuality", &R::getVideoQuality},
        Field{"Vod", &R::getVod}, Field{"MissedCH", &R::getMissedCH}, Field{"RecommendType", &R::getRecommendType},
        Field{"StartTime", &R::getStartTime}, Field{"Duration", &R::getDuration}, Field{"Runtime", &R::getRuntime},
        Field{"Timeslot", &R::getTimeslot}, Field{"Sequence", &R::getSequence}, Field{"SeasonNum", &R::getSeasonNum},
        Field{"EpisodeNum", &R::getEpisodeNum}, Field{"Year", &R::getYear}, Field{"StartYear", &R::getStartYear},
        Field{"EndYear", &R::getEndYear}, Field{"Channel", &R::getChannel}, Field{"Genrelist", &R::getGenrelist},
        Field{"Poster", &R::getPoster}, Field{"Directors", &R::getDirectors}, Field{"Castings", &R::getCastings});
}

Json toJson(const WVLCombination& record)
{
    using R = WVLCombination;
    return object(record, Field{"ID", &R::getID}, Field{"Title", &R::getTitle}, Field{"Category", &R::getCategory},
                  Field{"Source", &R::getSource}, Field{"Certi_flag", &R::getCerti_flag}, Field{"Type", &R::getType},
                  Field{"StartTime", &R::getStartTime}, Field{"Duration", &R::getDuration},
                  Field{"Genrelist", &R::getGenrelist}, Field{"Images", &R::getImages});
}

Json toJson(const WVLConcierge& record)
{
    using R = WVLConcierge;
    return object(record, Field{"Personalized", &R::getPersonalized});
}

Json toJson(const WVLDevice& record)
{
    using R = WVLDevice;
    return object(record, Field{"DeviceName", &R::getDeviceName}, Field{"DeviceType", &R::getDeviceType});
}

Json toJson(const WVLHeadend& record)
{
    using R = WVLHeadend;
    return object(record, Field{"HeadendID", &R::getHeadendID}, Field{"HeadendCity", &R::getHeadendCity},
                  Field{"HeadendDTV", &R::getHeadendDTV}, Field{"MsoID", &R::getMsoID},
                  Field{"MsoName", &R::getMsoName}, Field{"MsoMbrName", &R::getMsoMbrName},
                  Field{"MsoServiceType", &R::getMsoServiceType}, Field{"MsoSatellite", &R::getMsoSatellite},
                  Field{"MsoRfDeviceType", &R::getMsoRfDeviceType}, Field{"DeviceList", &R::getDeviceList});
}

Json toJson(const WVLCityCode& record)
{
    using R = WVLCityCode;
    return object(record, Field{"Code", &R::getCode}, Field{"Name", &R::getName});
}

Json toJson(const WVLAnswer& record)
{
    using R = WVLAnswer;
    return object(record, Field{"Name", &R::getName}, Field{"City", &R::getCity}, Field{"HeadendId", &R::getHeadendId},
                  Field{"DTV", &R::getDTV}, Field{"DeviceType", &R::getDeviceType});
}

Json toJson(const WVLQuiz& record)
{
    using R = WVLQuiz;
    return object(record, Field{"Number", &R::getNumber}, Field{"Major", &R::getMajor}, Field{"Minor", &R::getMinor},
                  Field{"PTC", &R::getPTC}, Field{"AnswerList", &R::getAnswerList});
}

Json toJson(const WVLDownloadURL& record)
{
    using R = WVLDownloadURL;
    return object(record, Field{"Filename", &R::getFilename}, Field{"URL", &R::getURL},
                  Field{"StartTime", &R::getStartTime}, Field{"EndTime", &R::getEndTime});
}

Json toJson(const WVLEvent& record)
{
    using R = WVLEvent;
    return object(record, Field{"Name", &R::getName}, Field{"LogLevel", &R::getLogLevel});
}

Json toJson(const WVLLog& record)
{
    using R = WVLLog;
    return object(record, Field{"Name", &R::getName}, Field{"URL", &R::getURL}, Field{"LogLevel", &R::getLogLevel},
                  Field{"QueueMax", &R::getQueueMax}, Field{"Expiration", &R::getExpiration},
                  Field{"Events", &R::getEvents});
}

Json toJson(const WVLCertificationRule& record)
{
    using R = WVLCertificationRule;
    return object(record, Field{"Type", &R::getType}, Field{"Rule", &R::getRule},
                  Field{"FirstScreen", &R::getFirstScreen}, Field{"AdultDefault", &R::getAdultDefault},
                  Field{"BarMode", &R::getBarMode}, Field{"BarRatio", &R::getBarRatio},
                  Field{"BeginTime", &R::getBeginTime}, Field{"EndTime", &R::getEndTime});
}

Json toJson(const WVLLocaltime& record)
{
    using R = WVLLocaltime;
    return object(record, Field{"UTC", &R::getUTC}, Field{"Localtime", &R::getLocaltime},
                  Field{"Difference", &R::getDifference}, Field{"Timezone", &R::getTimezone});
}

Json toJson(const WVLSession& record)
{
    using R = WVLSession;
    return object(record, Field{"SessionID", &R::getSessionID}, Field{"UserID", &R::getUserID},
                  Field{"SeedKey", &R::getSeedKey}, Field{"ExpireTime", &R::getExpireTime});
}

}  // namespace W::host
