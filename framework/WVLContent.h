// Record: a programme and its airing. A guide holds tens of thousands of them, so fields that most replies leave empty
// are stored separately, and the programmes of a channel share its record.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WDateTime.h"
#include "WResource.h"
#include "WVLChannel.h"
#include "WVLGenre.h"
#include "WVLImage.h"
#include "WVLPerson.h"

#pragma GCC visibility push(default)
namespace W {

/// A programme, film or series. Durations and run times are in minutes, as the service sends them; unknown counts and
/// years are 0.
class WVLContent : public WResource {
public:
    WVLContent() = default;
    WVLContent(const WVLContent&) = default;
    WVLContent(WVLContent&&) noexcept = default;
    WVLContent& operator=(const WVLContent&) = default;
    WVLContent& operator=(WVLContent&&) noexcept = default;
    ~WVLContent() override;

    void setID(std::string id) { m_id = std::move(id); }
    void setTitle(std::string title) { m_title = std::move(title); }
    void setType(std::string type) { m_type = std::move(type); }
    void setEpisodeTitle(std::string episodeTitle) { m_rare.set(&Rare::EpisodeTitle, std::move(episodeTitle)); }
    void setShortDesc(std::string shortDesc) { m_rare.set(&Rare::ShortDesc, std::move(shortDesc)); }
    void setSummary(std::string summary) { m_rare.set(&Rare::Summary, std::move(summary)); }
    void setLang(std::string lang) { m_lang = std::move(lang); }
    void setRating(std::string rating) { m_rare.set(&Rare::Rating, std::move(rating)); }
    void setCertification(std::string certification) { m_rare.set(&Rare::Certification, std::move(certification)); }
    void setCerti_flag(std::string certiFlag) { m_rare.set(&Rare::Certi_flag, std::move(certiFlag)); }
    void setOrigin(std::string origin) { m_rare.set(&Rare::Origin, std::move(origin)); }
    void setRelease(std::string release) { m_rare.set(&Rare::Release, std::move(release)); }
    void setVideoQuality(std::string videoQuality) { m_rare.set(&Rare::VideoQuality, std::move(videoQuality)); }
    void setVod(std::string vod) { m_rare.set(&Rare::Vod, std::move(vod)); }
    void setMissedCH(std::string missedCH) { m_rare.set(&Rare::MissedCH, std::move(missedCH)); }
    void setRecommendType(std::string recommendType) { m_rare.set(&Rare::RecommendType, std::move(recommendType)); }
    void setStartTime(WDateTime time) { m_StartTime = time; }
    void setDuration(int value) { m_duration = value; }
    void setRuntime(int value) { m_numbers.set(&Numbers::Runtime, value); }
    void setTimeslot(int value) { m_numbers.set(&Numbers::Timeslot, value); }
    void setSequence(int value) { m_numbers.set(&Numbers::Sequence, value); }
    void setSeasonNum(int value) { m_numbers.set(&Numbers::SeasonNum, value); }
    void setEpisodeNum(int value) { m_numbers.set(&Numbers::EpisodeNum, value); }
    void setYear(int value) { m_numbers.set(&Numbers::Year, value); }
    void setStartYear(int value) { m_numbers.set(&Numbers::StartYear, value); }
    void setEndYear(int value) { m_numbers.set(&Numbers::EndYear, value); }
    void setChannel(WVLChannel record) { m_Channel = std::move(record); }
    void setGenrelist(std::list<WVLGenre> list) { m_Genrelist = std::move(list); }
    void setPoster(std::list<WVLImage> list) { m_Poster = std::move(list); }
    void setDirectors(std::list<WVLPerson> list) { m_rare.set(&Rare::Directors, std::move(list)); }
    void setCastings(std::list<WVLPerson> list) { m_rare.set(&Rare::Castings, std::move(list)); }

    const std::string& getID() const { return m_id; }
    const std::string& getTitle() const { return m_title; }
    const std::string& getType() const { return m_type; }
    const std::string& getEpisodeTitle() const { return m_rare.get().EpisodeTitle; }
    const std::string& getShortDesc() const { return m_rare.get().ShortDesc; }
    const std::string& getSummary() const { return m_rare.get().Summary; }
    const std::string& getLang() const { return m_lang; }
    const std::string& getRating() const { return m_rare.get().Rating; }
    const std::string& getCertification() const { return m_rare.get().Certification; }
    const std::string& getCerti_flag() const { return m_rare.get().Certi_flag; }
    const std::string& getOrigin() const { return m_rare.get().Origin; }
    const std::string& getRelease() const { return m_rare.get().Release; }
    const std::string& getVideoQuality() const { return m_rare.get().VideoQuality; }
    const std::string& getVod() const { return m_rare.get().Vod; }
    const std::string& getMissedCH() const { return m_rare.get().MissedCH; }
    const std::string& getRecommendType() const { return m_rare.get().RecommendType; }
    const WDateTime& getStartTime() const { return m_StartTime; }
    int getDuration() const { return m_duration; }
    int getRuntime() const { return m_numbers.get().Runtime; }
    int getTimeslot() const { return m_numbers.get().Timeslot; }
    int getSequence() const { return m_numbers.get().Sequence; }
    int getSeasonNum() const { return m_numbers.get().SeasonNum; }
    int getEpisodeNum() const { return m_numbers.get().EpisodeNum; }
    int getYear() const { return m_numbers.get().Year; }
    int getStartYear() const { return m_numbers.get().StartYear; }
    int getEndYear() const { return m_numbers.get().EndYear; }
    const WVLChannel& getChannel() const { return m_Channel; }
    const std::list<WVLGenre>& getGenrelist() const { return m_Genrelist; }
    const std::list<WVLImage>& getPoster() const { return m_Poster; }
    const std::list<WVLPerson>& getDirectors() const { return m_rare.get().Directors; }
    const std::list<WVLPerson>& getCastings() const { return m_rare.get().Castings; }

private:
    struct Rare {
        std::string EpisodeTitle;
        std::string ShortDesc;
        std::string Summary;
        std::string Rating;
        std::string Certification;
        std::string Certi_flag;
        std::string Origin;
        std::string Release;
        std::string VideoQuality;
        std::string Vod;
        std::string MissedCH;
        std::string RecommendType;
        std::list<WVLPerson> Directors;
        std::list<WVLPerson> Castings;
    };
    struct Numbers {
        int Runtime = 0;
        int Timeslot = 0;
        int Sequence = 0;
        int SeasonNum = 0;
        int EpisodeNum = 0;
        int Year = 0;
        int StartYear = 0;
        int EndYear = 0;
    };
    std::string m_id;
    std::string m_title;
    std::string m_type;
    std::string m_lang;
    WDateTime m_StartTime;
    int m_duration = 0;
    WVLChannel m_Channel;
    std::list<WVLGenre> m_Genrelist;
    std::list<WVLImage> m_Poster;
    WRarely<Numbers> m_numbers;
    WRarely<Rare> m_rare;
};

}  // namespace W
#pragma GCC visibility pop
