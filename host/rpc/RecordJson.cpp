// Tables of keys and getters, in the order of each record's setters.
#include "RecordJson.h"

#include <fmt/format.h>

namespace W::host {

namespace {

/// One member of an object.
template <class Record, class Value>
struct JsonField {
    const char* key;
    Value (Record::*get)() const;
};

template <class Record, class Value>
JsonField(const char*, Value (Record::*)() const) -> JsonField<Record, Value>;

template <class Record, class... Values>
Json object(const Record& record, const JsonField<Record, Values>&... fields)
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
    if (time.hasInstant()) {
        json["utc"] = time.toString();
    }
    if (offset.isValid()) {
        json["offset"] =
            fmt::format("{}{:02}:{:02}", time.getOffsetSign() < 0 ? '-' : '+', offset.getHour(), offset.getMinute());
    }
    return json;
}

Json toJson(const WContentProvider& provider)
{
    return {{"Name", provider.getName()}, {"ServiceType", provider.getServiceType()}, {"ID", provider.getID()}};
}

Json toJson(const WVLImage& record)
{
    using R = WVLImage;
    return object(record, JsonField{"Index", &R::getIndex}, JsonField{"Type", &R::getType},
                  JsonField{"URL", &R::getURL}, JsonField{"Width", &R::getWidth}, JsonField{"Height", &R::getHeight});
}

Json toJson(const WVLChannel& record)
{
    using R = WVLChannel;
    return object(
        record, JsonField{"Name", &R::getName}, JsonField{"Number", &R::getNumber}, JsonField{"Source", &R::getSource},
        JsonField{"MajorCH", &R::getMajorCH}, JsonField{"MinorCH", &R::getMinorCH}, JsonField{"Ptc", &R::getPtc},
        JsonField{"Digital", &R::getDigital}, JsonField{"QAM", &R::getQAM}, JsonField{"ONID", &R::getONID},
        JsonField{"TSID", &R::getTSID}, JsonField{"SID", &R::getSID}, JsonField{"Freq", &R::getFreq},
        JsonField{"Alias", &R::getAlias}, JsonField{"Embed", &R::getEmbed}, JsonField{"CallSign", &R::getCallSign},
        JsonField{"DTV", &R::getDTV}, JsonField{"StationImage", &R::getStationImage});
}

Json toJson(const WVLGenre& record)
{
    using R = WVLGenre;
    return object(record, JsonField{"GenreID", &R::getGenreID}, JsonField{"GenreName", &R::getGenreName},
                  JsonField{"GenreRepID", &R::getGenreRepID}, JsonField{"GenreImages", &R::getGenreImages});
}

Json toJson(const WVLRepGenre& record)
{
    using R = WVLRepGenre;
    return object(record, JsonField{"GenreRepID", &R::getGenreRepID}, JsonField{"GenreRepName", &R::getGenreRepName});
}

Json toJson(const WVLPerson& record)
{
    using R = WVLPerson;
    return object(record, JsonField{"ID", &R::getID}, JsonField{"Name", &R::getName}, JsonField{"Role", &R::getRole},
                  JsonField{"Occupation", &R::getOccupation}, JsonField{"Birthdate", &R::getBirthdate},
                  JsonField{"Deathdate", &R::getDeathdate}, JsonField{"Biography", &R::getBiography},
                  JsonField{"Like", &R::getLike}, JsonField{"Dislike", &R::getDislike},
                  JsonField{"FaceImage", &R::getFaceImage});
}

Json toJson(const WVLContent& record)
{
    using R = WVLContent;
    return object(record, JsonField{"ID", &R::getID}, JsonField{"Title", &R::getTitle}, JsonField{"Type", &R::getType},
                  JsonField{"EpisodeTitle", &R::getEpisodeTitle}, JsonField{"ShortDesc", &R::getShortDesc},
                  JsonField{"Summary", &R::getSummary}, JsonField{"Lang", &R::getLang},
                  JsonField{"Rating", &R::getRating}, JsonField{"Certification", &R::getCertification},
                  JsonField{"Certi_flag", &R::getCerti_flag}, JsonField{"Origin", &R::getOrigin},
                  JsonField{"Release", &R::getRelease}, JsonField{"VideoQuality", &R::getVideoQuality},
                  JsonField{"Vod", &R::getVod}, JsonField{"MissedCH", &R::getMissedCH},
                  JsonField{"RecommendType", &R::getRecommendType}, JsonField{"StartTime", &R::getStartTime},
                  JsonField{"Duration", &R::getDuration}, JsonField{"Runtime", &R::getRuntime},
                  JsonField{"Timeslot", &R::getTimeslot}, JsonField{"Sequence", &R::getSequence},
                  JsonField{"SeasonNum", &R::getSeasonNum}, JsonField{"EpisodeNum", &R::getEpisodeNum},
                  JsonField{"Year", &R::getYear}, JsonField{"StartYear", &R::getStartYear},
                  JsonField{"EndYear", &R::getEndYear}, JsonField{"Channel", &R::getChannel},
                  JsonField{"Genrelist", &R::getGenrelist}, JsonField{"Poster", &R::getPoster},
                  JsonField{"Directors", &R::getDirectors}, JsonField{"Castings", &R::getCastings});
}

Json toJson(const WVLCombination& record)
{
    using R = WVLCombination;
    return object(record, JsonField{"ID", &R::getID}, JsonField{"Title", &R::getTitle},
                  JsonField{"Category", &R::getCategory}, JsonField{"Source", &R::getSource},
                  JsonField{"Certi_flag", &R::getCerti_flag}, JsonField{"Type", &R::getType},
                  JsonField{"StartTime", &R::getStartTime}, JsonField{"Duration", &R::getDuration},
                  JsonField{"Genrelist", &R::getGenrelist}, JsonField{"Images", &R::getImages});
}

Json toJson(const WVLConcierge& record)
{
    using R = WVLConcierge;
    return object(record, JsonField{"Personalized", &R::getPersonalized});
}

Json toJson(const WVLDevice& record)
{
    using R = WVLDevice;
    return object(record, JsonField{"DeviceName", &R::getDeviceName}, JsonField{"DeviceType", &R::getDeviceType});
}

Json toJson(const WVLHeadend& record)
{
    using R = WVLHeadend;
    return object(record, JsonField{"HeadendID", &R::getHeadendID}, JsonField{"HeadendCity", &R::getHeadendCity},
                  JsonField{"HeadendDTV", &R::getHeadendDTV}, JsonField{"MsoID", &R::getMsoID},
                  JsonField{"MsoName", &R::getMsoName}, JsonField{"MsoMbrName", &R::getMsoMbrName},
                  JsonField{"MsoServiceType", &R::getMsoServiceType}, JsonField{"MsoSatellite", &R::getMsoSatellite},
                  JsonField{"MsoRfDeviceType", &R::getMsoRfDeviceType}, JsonField{"DeviceList", &R::getDeviceList});
}

Json toJson(const WVLCityCode& record)
{
    using R = WVLCityCode;
    return object(record, JsonField{"Code", &R::getCode}, JsonField{"Name", &R::getName});
}

Json toJson(const WVLAnswer& record)
{
    using R = WVLAnswer;
    return object(record, JsonField{"Name", &R::getName}, JsonField{"City", &R::getCity},
                  JsonField{"HeadendId", &R::getHeadendId}, JsonField{"DTV", &R::getDTV},
                  JsonField{"DeviceType", &R::getDeviceType});
}

Json toJson(const WVLQuiz& record)
{
    using R = WVLQuiz;
    return object(record, JsonField{"Number", &R::getNumber}, JsonField{"Major", &R::getMajor},
                  JsonField{"Minor", &R::getMinor}, JsonField{"PTC", &R::getPTC},
                  JsonField{"AnswerList", &R::getAnswerList});
}

Json toJson(const WVLDownloadURL& record)
{
    using R = WVLDownloadURL;
    return object(record, JsonField{"Filename", &R::getFilename}, JsonField{"URL", &R::getURL},
                  JsonField{"StartTime", &R::getStartTime}, JsonField{"EndTime", &R::getEndTime});
}

Json toJson(const WVLEvent& record)
{
    using R = WVLEvent;
    return object(record, JsonField{"Name", &R::getName}, JsonField{"LogLevel", &R::getLogLevel});
}

Json toJson(const WVLLog& record)
{
    using R = WVLLog;
    return object(record, JsonField{"Name", &R::getName}, JsonField{"URL", &R::getURL},
                  JsonField{"LogLevel", &R::getLogLevel}, JsonField{"QueueMax", &R::getQueueMax},
                  JsonField{"Expiration", &R::getExpiration}, JsonField{"Events", &R::getEvents});
}

Json toJson(const WVLCertificationRule& record)
{
    using R = WVLCertificationRule;
    return object(record, JsonField{"Type", &R::getType}, JsonField{"Rule", &R::getRule},
                  JsonField{"FirstScreen", &R::getFirstScreen}, JsonField{"AdultDefault", &R::getAdultDefault},
                  JsonField{"BarMode", &R::getBarMode}, JsonField{"BarRatio", &R::getBarRatio},
                  JsonField{"BeginTime", &R::getBeginTime}, JsonField{"EndTime", &R::getEndTime});
}

Json toJson(const WVLLocaltime& record)
{
    using R = WVLLocaltime;
    return object(record, JsonField{"UTC", &R::getUTC}, JsonField{"Localtime", &R::getLocaltime},
                  JsonField{"Difference", &R::getDifference}, JsonField{"Timezone", &R::getTimezone});
}

Json toJson(const WVLSession& record)
{
    using R = WVLSession;
    return object(record, JsonField{"SessionID", &R::getSessionID}, JsonField{"UserID", &R::getUserID},
                  JsonField{"SeedKey", &R::getSeedKey}, JsonField{"ExpireTime", &R::getExpireTime});
}

}  // namespace W::host
