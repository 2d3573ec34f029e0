#include "ParseRecords.h"

#include <cstdio>

namespace W::test {

namespace {

/// An object with the members of a record that are not empty.
class Members {
public:
    explicit Members(const WResource& base)
    {
        (*this)("resourceID", base.getResourceID())("resourceType", base.getResourceType());
        (*this)("provider", base.getContentProvider().getName())("service", base.getContentProvider().getServiceType());
        if (!base.getExtendedProperty().empty()) {
            m_shown["properties"] = base.getExtendedProperty();
        }
    }

    template <class Value>
    Members& operator()(const char* name, const Value& value)
    {
        Shown shown = show(value);
        if (!isDefault(shown)) {
            m_shown[name] = std::move(shown);
        }
        return *this;
    }

    operator Shown() const { return m_shown; }

private:
    Shown m_shown = Shown::object();
};

}  // namespace

bool isDefault(const Shown& value)
{
    return value.is_null() || (value.is_string() && value.get_ref<const std::string&>().empty()) || value == 0 ||
           value == false || (value.is_structured() && value.empty());
}

Shown show(const std::string& text)
{
    return text;
}

Shown show(int number)
{
    return number;
}

Shown show(unsigned int number)
{
    return number;
}

Shown show(bool flag)
{
    return flag;
}

Shown show(const WDateTime& time)
{
    Shown shown = Shown::object();
    if (time.hasInstant()) {
        shown["at"] = time.toString();
    }
    if (time.getOffsetTime().isValid()) {
        char text[32];
        std::snprintf(text, sizeof text, "%c%02d:%02d", time.getOffsetSign() < 0 ? '-' : '+',
                      time.getOffsetTime().getHour(), time.getOffsetTime().getMinute());
        shown["offset"] = text;
    }
    return shown;
}

Shown show(const WVLImage& r)
{
    return Members(r)("url", r.getURL())("type", r.getType())("index", r.getIndex())("width", r.getWidth())(
        "height", r.getHeight());
}

Shown show(const WVLChannel& r)
{
    return Members(r)("name", r.getName())("number", r.getNumber())("source", r.getSource())("major", r.getMajorCH())(
        "minor", r.getMinorCH())("ptc", r.getPtc())("digital", r.getDigital())("qam", r.getQAM())("onid", r.getONID())(
        "tsid", r.getTSID())("sid", r.getSID())("freq", r.getFreq())("alias", r.getAlias())("embed", r.getEmbed())(
        "callSign", r.getCallSign())("dtv", r.getDTV())("stationImage", r.getStationImage());
}

Shown show(const WVLGenre& r)
{
    return Members(r)("id", r.getGenreID())("name", r.getGenreName())("repID", r.getGenreRepID())("images",
                                                                                                  r.getGenreImages());
}

Shown show(const WVLRepGenre& r)
{
    return Members(r)("repID", r.getGenreRepID())("repName", r.getGenreRepName());
}

Shown show(const WVLPerson& r)
{
    return Members(r)("id", r.getID())("name", r.getName())("role", r.getRole())("occupation", r.getOccupation())(
        "birthdate", r.getBirthdate())("deathdate", r.getDeathdate())("biography", r.getBiography())(
        "like", r.getLike())("dislike", r.getDislike())("faceImage", r.getFaceImage());
}

Shown show(const WVLContent& r)
{
    return Members(r)("id", r.getID())("title", r.getTitle())("type", r.getType())("episodeTitle", r.getEpisodeTitle())(
        "shortDesc", r.getShortDesc())("summary", r.getSummary())("lang", r.getLang())("rating", r.getRating())(
        "certification", r.getCertification())("certiFlag", r.getCerti_flag())("origin", r.getOrigin())(
        "release", r.getRelease())("videoQuality", r.getVideoQuality())("vod", r.getVod())("missed", r.getMissedCH())(
        "recommendType", r.getRecommendType())("start", r.getStartTime())("duration", r.getDuration())(
        "runtime", r.getRuntime())("timeslot", r.getTimeslot())("sequence", r.getSequence())(
        "season", r.getSeasonNum())("episode", r.getEpisodeNum())("year", r.getYear())("startYear", r.getStartYear())(
        "endYear", r.getEndYear())("channel", r.getChannel())("genres", r.getGenrelist())("poster", r.getPoster())(
        "directors", r.getDirectors())("castings", r.getCastings());
}

Shown show(const WVLCombination& r)
{
    return Members(r)("id", r.getID())("title", r.getTitle())("category", r.getCategory())("source", r.getSource())(
        "certiFlag", r.getCerti_flag())("kind", r.getType())("start", r.getStartTime())("duration", r.getDuration())(
        "genres", r.getGenrelist())("images", r.getImages());
}

Shown show(const WVLConcierge& r)
{
    return Members(r)("personalized", r.getPersonalized());
}

Shown show(const WVLDevice& r)
{
    return Members(r)("name", r.getDeviceName())("type", r.getDeviceType());
}

Shown show(const WVLHeadend& r)
{
    return Members(r)("id", r.getHeadendID())("city", r.getHeadendCity())("dtv", r.getHeadendDTV())(
        "msoID", r.getMsoID())("msoName", r.getMsoName())("mbrName", r.getMsoMbrName())(
        "serviceType", r.getMsoServiceType())("satellite", r.getMsoSatellite())("rfDevice", r.getMsoRfDeviceType())(
        "devices", r.getDeviceList());
}

Shown show(const WVLCityCode& r)
{
    return Members(r)("code", r.getCode())("name", r.getName());
}

Shown show(const WVLAnswer& r)
{
    return Members(r)("name", r.getName())("city", r.getCity())("headendID", r.getHeadendId())("dtv", r.getDTV())(
        "device", r.getDeviceType());
}

Shown show(const WVLQuiz& r)
{
    return Members(r)("number", r.getNumber())("major", r.getMajor())("minor", r.getMinor())("ptc", r.getPTC())(
        "answers", r.getAnswerList());
}

Shown show(const WVLDownloadURL& r)
{
    return Members(r)("fileName", r.getFilename())("url", r.getURL())("start", r.getStartTime())("end", r.getEndTime());
}

Shown show(const WVLEvent& r)
{
    return Members(r)("name", r.getName())("level", r.getLogLevel());
}

Shown show(const WVLLog& r)
{
    return Members(r)("name", r.getName())("url", r.getURL())("level", r.getLogLevel())("queueMax", r.getQueueMax())(
        "expiration", r.getExpiration())("events", r.getEvents());
}

Shown show(const WVLCertificationRule& r)
{
    return Members(r)("type", r.getType())("rule", r.getRule())("firstScreen", r.getFirstScreen())(
        "adultDefault", r.getAdultDefault())("barMode", r.getBarMode())("barRatio", r.getBarRatio())(
        "begin", r.getBeginTime())("end", r.getEndTime());
}

Shown show(const WVLLocaltime& r)
{
    return Members(r)("utc", r.getUTC())("local", r.getLocaltime())("difference", r.getDifference())("timezone",
                                                                                                     r.getTimezone());
}

Shown show(const WVLSession& r)
{
    return Members(r)("id", r.getSessionID())("user", r.getUserID())("seedKey", r.getSeedKey())("expires",
                                                                                                r.getExpireTime());
}

Shown show(const std::map<int, std::string>& states)
{
    Shown shown = Shown::array();
    for (const auto& [key, name] : states) {
        Shown state = {{"key", key}};
        if (!name.empty()) {
            state["name"] = name;
        }
        shown.push_back(std::move(state));
    }
    return shown;
}

Shown show(const std::multimap<int, WVLCityCode>& cities)
{
    Shown shown = Shown::array();
    for (const auto& [key, record] : cities) {
        Shown city = {{"key", key}};
        city.update(show(record));
        shown.push_back(std::move(city));
    }
    return shown;
}

}  // namespace W::test
