// Records: the personalised suggestions of the concierge.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WDateTime.h"
#include "WResource.h"
#include "WVLGenre.h"
#include "WVLImage.h"

#pragma GCC visibility push(default)
namespace W {

/// A suggestion. Type: 1 TV programme, 2 film, 3 application; duration in minutes, as the service sends it.
class WVLCombination : public WResource {
public:
    WVLCombination() = default;
    WVLCombination(const WVLCombination&) = default;
    WVLCombination(WVLCombination&&) noexcept = default;
    WVLCombination& operator=(const WVLCombination&) = default;
    WVLCombination& operator=(WVLCombination&&) noexcept = default;
    ~WVLCombination() override;

    void setID(std::string id) { m_id = std::move(id); }
    void setTitle(std::string title) { m_title = std::move(title); }
    void setCategory(std::string category) { m_category = std::move(category); }
    void setSource(std::string source) { m_source = std::move(source); }
    void setCerti_flag(std::string certiFlag) { m_certiFlag = std::move(certiFlag); }
    void setType(unsigned int value) { m_type = value; }
    void setStartTime(WDateTime time) { m_StartTime = time; }
    void setDuration(int value) { m_duration = value; }
    void setGenrelist(std::list<WVLGenre> list) { m_Genrelist = std::move(list); }
    void setImages(std::list<WVLImage> list) { m_Images = std::move(list); }

    const std::string& getID() const { return m_id; }
    const std::string& getTitle() const { return m_title; }
    const std::string& getCategory() const { return m_category; }
    const std::string& getSource() const { return m_source; }
    const std::string& getCerti_flag() const { return m_certiFlag; }
    unsigned int getType() const { return m_type; }
    const WDateTime& getStartTime() const { return m_StartTime; }
    int getDuration() const { return m_duration; }
    const std::list<WVLGenre>& getGenrelist() const { return m_Genrelist; }
    const std::list<WVLImage>& getImages() const { return m_Images; }

private:
    std::string m_id;
    std::string m_title;
    std::string m_category;
    std::string m_source;
    std::string m_certiFlag;
    unsigned int m_type = 0;
    WDateTime m_StartTime;
    int m_duration = 0;
    std::list<WVLGenre> m_Genrelist;
    std::list<WVLImage> m_Images;
};

/// The personalised combination of suggestions.
class WVLConcierge : public WResource {
public:
    WVLConcierge() = default;
    WVLConcierge(const WVLConcierge&) = default;
    WVLConcierge(WVLConcierge&&) noexcept = default;
    WVLConcierge& operator=(const WVLConcierge&) = default;
    WVLConcierge& operator=(WVLConcierge&&) noexcept = default;
    ~WVLConcierge() override;

    void setPersonalized(std::list<WVLCombination> list) { m_Personalized = std::move(list); }
    /// Empties the list.
    void Reset() { m_Personalized.clear(); }

    const std::list<WVLCombination>& getPersonalized() const { return m_Personalized; }

private:
    std::list<WVLCombination> m_Personalized;
};

}  // namespace W
#pragma GCC visibility pop
