// Record: a person of the cast or crew.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"
#include "WVLImage.h"

#pragma GCC visibility push(default)
namespace W {

/// A person. Dates are as the service sends them; like and dislike are counts.
class WVLPerson : public WResource {
public:
    WVLPerson() = default;
    WVLPerson(const WVLPerson&) = default;
    WVLPerson(WVLPerson&&) noexcept = default;
    WVLPerson& operator=(const WVLPerson&) = default;
    WVLPerson& operator=(WVLPerson&&) noexcept = default;
    ~WVLPerson() override;

    void setID(std::string id) { m_id = std::move(id); }
    void setName(std::string name) { m_name = std::move(name); }
    void setRole(std::string role) { m_role = std::move(role); }
    void setOccupation(std::string occupation) { m_occupation = std::move(occupation); }
    void setBirthdate(std::string birthdate) { m_birthdate = std::move(birthdate); }
    void setDeathdate(std::string deathdate) { m_deathdate = std::move(deathdate); }
    void setBiography(std::string biography) { m_biography = std::move(biography); }
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
