// Record: a person of the cast or crew.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"
#include "WVLImage.h"

#pragma GCC visibility push(default)
namespace W {

/// A person; dates as the service writes them, like and dislike are counts.
class WVLPerson : public WResource {
public:
    WVLPerson() = default;
    WVLPerson(const WVLPerson&) = default;
    WVLPerson(WVLPerson&&) noexcept = default;
    WVLPerson& operator=(const WVLPerson&) = default;
    WVLPerson& operator=(WVLPerson&&) noexcept = default;
    ~WVLPerson() override;

    void setID(std::string text) { m_sID = std::move(text); }
    void setName(std::string text) { m_sName = std::move(text); }
    void setRole(std::string text) { m_sRole = std::move(text); }
    void setOccupation(std::string text) { m_sOccupation = std::move(text); }
    void setBirthdate(std::string text) { m_sBirthdate = std::move(text); }
    void setDeathdate(std::string text) { m_sDeathdate = std::move(text); }
    void setBiography(std::string text) { m_sBiography = std::move(text); }
    void setLike(int value) { m_iLike = value; }
    void setDislike(int value) { m_iDislike = value; }
    void setFaceImage(WVLImage record) { m_FaceImage = std::move(record); }

    const std::string& getID() const { return m_sID; }
    const std::string& getName() const { return m_sName; }
    const std::string& getRole() const { return m_sRole; }
    const std::string& getOccupation() const { return m_sOccupation; }
    const std::string& getBirthdate() const { return m_sBirthdate; }
    const std::string& getDeathdate() const { return m_sDeathdate; }
    const std::string& getBiography() const { return m_sBiography; }
    int getLike() const { return m_iLike; }
    int getDislike() const { return m_iDislike; }
    const WVLImage& getFaceImage() const { return m_FaceImage; }

private:
    std::string m_sID;
    std::string m_sName;
    std::string m_sRole;
    std::string m_sOccupation;
    std::string m_sBirthdate;
    std::string m_sDeathdate;
    std::string m_sBiography;
    int m_iLike = 0;
    int m_iDislike = 0;
    WVLImage m_FaceImage;
};

}  // namespace W
#pragma GCC visibility pop
