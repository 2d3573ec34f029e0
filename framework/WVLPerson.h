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

    void setID(std::string text) { m_id = std::move(text); }
    void setName(std::string text) { m_name = std::move(text); }
    void setRole(std::string text) { m_role = std::move(text); }
    void setOccupation(std::string text) { m_occupation = std::move(text); }
    void setBirthdate(std::string text) { m_birthdate = std::move(text); }
    void setDeathdate(std::string text) { m_deathdate = std::move(text); }
    void setBiography(std::string text) { m_biography = std::move(text); }
    void setLike(int value) { m_like = value; }
    void setDislike(int value) { m_dislike = value; }
    void setFaceImage(WVLImage record) { m_FaceImage = std::move(record); }

    const std::string& getID() const { return m_id; }
    const std::string& getName() const { return m_name; }
    const std::string& getRole() const { return m_role; }
    const std::string& getOccupation() const { return m_occupation; }
    const std::string& getBirthdate() const { return m_birthdate; }
    const std::string& getDeathdate() const { return m_deathdate; }
    const std::string& getBiography() const { return m_biography; }
    int getLike() const { return m_like; }
    int getDislike() const { return m_dislike; }
    const WVLImage& getFaceImage() const { return m_FaceImage; }

private:
    std::string m_id;
    std::string m_name;
    std::string m_role;
    std::string m_occupation;
    std::string m_birthdate;
    std::string m_deathdate;
    std::string m_biography;
    int m_like = 0;
    int m_dislike = 0;
    WVLImage m_FaceImage;
};

}  // namespace W
#pragma GCC visibility pop
