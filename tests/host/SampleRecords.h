// Records with every field set: a string to the field's own name, a number to numberOf() that name. A test then sees if
// a field is lost or swapped with another one.
#pragma once

#include <list>
#include <map>
#include <string>
#include <string_view>

#include "WContainer.h"
#include "WContentProvider.h"
#include "WDateTime.h"
#include "WVLChannel.h"
#include "WVLConcierge.h"
#include "WVLContent.h"
#include "WVLDownloadURL.h"
#include "WVLGenre.h"
#include "WVLHeadend.h"
#include "WVLImage.h"
#include "WVLPerson.h"
#include "WVLQuiz.h"
#include "WVLService.h"

namespace W::host {

inline int numberOf(std::string_view name)
{
    int number = 0;
    for (const char letter : name) {
        number = number * 7 % 10007 + letter;
    }
    return number;
}

inline void fillSample(WDateTime& time)
{
    time = WDateTime::fromString("2026-11-21T01:30:00Z", WDateTime::FORMAT_DATETIME, WDateTime::TIMEZONE_UTC);
    time.setOffset(1, WTime(9, 0));
}

inline void fillSample(WVLImage& record);
inline void fillSample(WVLChannel& record);
inline void fillSample(WVLGenre& record);
inline void fillSample(WVLRepGenre& record);
inline void fillSample(WVLPerson& record);
inline void fillSample(WVLContent& record);
inline void fillSample(WVLCombination& record);
inline void fillSample(WVLConcierge& record);
inline void fillSample(WVLDevice& record);
inline void fillSample(WVLHeadend& record);
inline void fillSample(WVLCityCode& record);
inline void fillSample(WVLAnswer& record);
inline void fillSample(WVLQuiz& record);
inline void fillSample(WVLDownloadURL& record);
inline void fillSample(WVLEvent& record);
inline void fillSample(WVLLog& record);
inline void fillSample(WVLCertificationRule& record);
inline void fillSample(WVLLocaltime& record);
inline void fillSample(WVLSession& record);
inline void fillSample(std::string& text);
inline void fillSample(int& value);
inline void fillSample(bool& value);
inline void fillSample(WContentProvider& provider);
inline void fillSample(std::map<int, std::string>& names);
template <class Record>
void fillSample(std::multimap<int, Record>& records);
template <class Record>
void fillSample(WContainer<Record>& container);

template <class Record>
Record sample()
{
    Record record;
    fillSample(record);
    return record;
}

inline void fillSample(WVLImage& record)
{
    record.setIndex("Index");
    record.setType("Type");
    record.setURL("URL");
    record.setWidth(numberOf("Width"));
    record.setHeight(numberOf("Height"));
}

inline void fillSample(WVLChannel& record)
{
    record.setName("Name");
    record.setNumber("Number");
    record.setSource("Source");
    record.setMajorCH("MajorCH");
    record.setMinorCH("MinorCH");
    record.setPtc("Ptc");
    record.setDigital("Digital");
    record.setQAM("QAM");
    record.setONID("ONID");
    record.setTSID("TSID");
    record.setSID("SID");
    record.setFreq("Freq");
    record.setAlias("Alias");
    record.setEmbed("Embed");
    record.setCallSign("CallSign");
    record.setDTV("DTV");
    record.setStationImage(sample<WVLImage>());
}

inline void fillSample(WVLGenre& record)
{
    record.setGenreID("GenreID");
    record.setGenreName("GenreName");
    record.setGenreRepID("GenreRepID");
    record.setGenreImages({sample<WVLImage>()});
}

inline void fillSample(WVLRepGenre& record)
{
    record.setGenreRepID("GenreRepID");
    record.setGenreRepName("GenreRepName");
}

inline void fillSample(WVLPerson& record)
{
    record.setID("ID");
    record.setName("Name");
    record.setRole("Role");
    record.setOccupation("Occupation");
    record.setBirthdate("Birthdate");
    record.setDeathdate("Deathdate");
    record.setBiography("Biography");
    record.setLike(numberOf("Like"));
    record.setDislike(numberOf("Dislike"));
    record.setFaceImage(sample<WVLImage>());
}

inline void fillSample(WVLContent& record)
{
    record.setID("ID");
    record.setTitle("Title");
    record.setType("Type");
    record.setEpisodeTitle("EpisodeTitle");
    record.setShortDesc("ShortDesc");
    record.setSummary("Summary");
    record.setLang("Lang");
    record.setRating("Rating");
    record.setCertification("Certification");
    record.setCerti_flag("Certi_flag");
    record.setOrigin("Origin");
    record.setRelease("Release");
    record.setVideoQuality("VideoQuality");
    record.setVod("Vod");
    record.setMissedCH("MissedCH");
    record.setRecommendType("RecommendType");
    record.setStartTime(sample<WDateTime>());
    record.setDuration(numberOf("Duration"));
    record.setRuntime(numberOf("Runtime"));
    record.setTimeslot(numberOf("Timeslot"));
    record.setSequence(numberOf("Sequence"));
    record.setSeasonNum(numberOf("SeasonNum"));
    record.setEpisodeNum(numberOf("EpisodeNum"));
    record.setYear(numberOf("Year"));
    record.setStartYear(numberOf("StartYear"));
    record.setEndYear(numberOf("EndYear"));
    record.setChannel(sample<WVLChannel>());
    record.setGenrelist({sample<WVLGenre>()});
    record.setPoster({sample<WVLImage>()});
    record.setDirectors({sample<WVLPerson>()});
    record.setCastings({sample<WVLPerson>()});
}

inline void fillSample(WVLCombination& record)
{
    record.setID("ID");
    record.setTitle("Title");
    record.setCategory("Category");
    record.setSource("Source");
    record.setCerti_flag("Certi_flag");
    record.setType(static_cast<unsigned int>(numberOf("Type")));
    record.setStartTime(sample<WDateTime>());
    record.setDuration(numberOf("Duration"));
    record.setGenrelist({sample<WVLGenre>()});
    record.setImages({sample<WVLImage>()});
}

inline void fillSample(WVLConcierge& record)
{
    record.setPersonalized({sample<WVLCombination>()});
}

inline void fillSample(WVLDevice& record)
{
    record.setDeviceName("DeviceName");
    record.setDeviceType("DeviceType");
}

inline void fillSample(WVLHeadend& record)
{
    record.setHeadendID("HeadendID");
    record.setHeadendCity("HeadendCity");
    record.setHeadendDTV("HeadendDTV");
    record.setMsoID("MsoID");
    record.setMsoName("MsoName");
    record.setMsoMbrName("MsoMbrName");
    record.setMsoServiceType("MsoServiceType");
    record.setMsoSatellite("MsoSatellite");
    record.setMsoRfDeviceType("MsoRfDeviceType");
    record.setDeviceList({sample<WVLDevice>()});
}

inline void fillSample(WVLCityCode& record)
{
    record.setCode("Code");
    record.setName("Name");
}

inline void fillSample(WVLAnswer& record)
{
    record.setName("Name");
    record.setCity("City");
    record.setHeadendId("HeadendId");
    record.setDTV("DTV");
    record.setDeviceType("DeviceType");
}

inline void fillSample(WVLQuiz& record)
{
    record.setNumber("Number");
    record.setMajor("Major");
    record.setMinor("Minor");
    record.setPTC("PTC");
    record.setAnswerList({sample<WVLAnswer>()});
}

inline void fillSample(WVLDownloadURL& record)
{
    record.setFilename("Filename");
    record.setURL("URL");
    record.setStartTime(static_cast<unsigned int>(numberOf("StartTime")));
    record.setEndTime(static_cast<unsigned int>(numberOf("EndTime")));
}

inline void fillSample(WVLEvent& record)
{
    record.setName("Name");
    record.setLogLevel("LogLevel");
}

inline void fillSample(WVLLog& record)
{
    record.setName("Name");
    record.setURL("URL");
    record.setLogLevel("LogLevel");
    record.setQueueMax("QueueMax");
    record.setExpiration("Expiration");
    record.setEvents({sample<WVLEvent>()});
}

inline void fillSample(WVLCertificationRule& record)
{
    record.setType("Type");
    record.setRule("Rule");
    record.setFirstScreen("FirstScreen");
    record.setAdultDefault("AdultDefault");
    record.setBarMode("BarMode");
    record.setBarRatio("BarRatio");
    record.setBeginTime("BeginTime");
    record.setEndTime("EndTime");
}

inline void fillSample(WVLLocaltime& record)
{
    record.setUTC(sample<WDateTime>());
    record.setLocaltime(sample<WDateTime>());
    record.setDifference(sample<WDateTime>());
    record.setTimezone("Timezone");
}

inline void fillSample(WVLSession& record)
{
    record.setSessionID("SessionID");
    record.setUserID("UserID");
    record.setSeedKey("SeedKey");
    record.setExpireTime(sample<WDateTime>());
}

inline void fillSample(std::string& text)
{
    text = "text";
}
inline void fillSample(int& value)
{
    value = 42;
}
inline void fillSample(bool& value)
{
    value = true;
}
inline void fillSample(WContentProvider& provider)
{
    provider = WContentProvider("Corvane", 14);
}
inline void fillSample(std::map<int, std::string>& names)
{
    names = {{0, "zero"}, {7, "seven"}};
}
template <class Record>
void fillSample(std::multimap<int, Record>& records)
{
    records.emplace(7, sample<Record>());
    records.emplace(0, sample<Record>());
}
template <class Record>
void fillSample(WContainer<Record>& container)
{
    container.data().push_back(sample<Record>());
    container.setCount(1);
}

}  // namespace W::host
