// Records: the line-up quiz. It asks what is on certain channels, and the answers identify the viewer's headend.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// An answer: a programme, and the headend that it identifies.
class WVLAnswer : public WResource {
public:
    WVLAnswer() = default;
    WVLAnswer(const WVLAnswer&) = default;
    WVLAnswer(WVLAnswer&&) noexcept = default;
    WVLAnswer& operator=(const WVLAnswer&) = default;
    WVLAnswer& operator=(WVLAnswer&&) noexcept = default;
    ~WVLAnswer() override;

    void setName(std::string name) { m_name = std::move(name); }
    void setCity(std::string city) { m_city = std::move(city); }
    void setHeadendId(std::string headendId) { m_headendId = std::move(headendId); }
    void setDTV(std::string dtv) { m_dtv = std::move(dtv); }
    void setDeviceType(std::string deviceType) { m_deviceType = std::move(deviceType); }

    const std::string& getName() const { return m_name; }
    const std::string& getCity() const { return m_city; }
    const std::string& getHeadendId() const { return m_headendId; }
    const std::string& getDTV() const { return m_dtv; }
    const std::string& getDeviceType() const { return m_deviceType; }

private:
    std::string m_name;
    std::string m_city;
    std::string m_headendId;
    std::string m_dtv;
    std::string m_deviceType;
};

/// A question: which programme is on this channel?
class WVLQuiz : public WResource {
public:
    WVLQuiz() = default;
    WVLQuiz(const WVLQuiz&) = default;
    WVLQuiz(WVLQuiz&&) noexcept = default;
    WVLQuiz& operator=(const WVLQuiz&) = default;
    WVLQuiz& operator=(WVLQuiz&&) noexcept = default;
    ~WVLQuiz() override;

    void setNumber(std::string number) { m_number = std::move(number); }
    void setMajor(std::string major) { m_major = std::move(major); }
    void setMinor(std::string minor) { m_minor = std::move(minor); }
    void setPTC(std::string ptc) { m_ptc = std::move(ptc); }
    void setAnswerList(std::list<WVLAnswer> list) { m_AnswerList = std::move(list); }

    const std::string& getNumber() const { return m_number; }
    const std::string& getMajor() const { return m_major; }
    const std::string& getMinor() const { return m_minor; }
    const std::string& getPTC() const { return m_ptc; }
    const std::list<WVLAnswer>& getAnswerList() const { return m_AnswerList; }

private:
    std::string m_number;
    std::string m_major;
    std::string m_minor;
    std::string m_ptc;
    std::list<WVLAnswer> m_AnswerList;
};

}  // namespace W
#pragma GCC visibility pop
