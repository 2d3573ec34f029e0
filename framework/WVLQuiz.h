// Records: the line-up quiz, which finds out by what is on which headend feeds the set.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// One answer: what is on, and the headend that it identifies.
class WVLAnswer : public WResource {
public:
    WVLAnswer() = default;
    WVLAnswer(const WVLAnswer&) = default;
    WVLAnswer(WVLAnswer&&) noexcept = default;
    WVLAnswer& operator=(const WVLAnswer&) = default;
    WVLAnswer& operator=(WVLAnswer&&) noexcept = default;
    ~WVLAnswer() override;

    void setName(std::string text) { m_sName = std::move(text); }
    void setCity(std::string text) { m_sCity = std::move(text); }
    void setHeadendId(std::string text) { m_sHeadendId = std::move(text); }
    void setDTV(std::string text) { m_sDTV = std::move(text); }
    void setDeviceType(std::string text) { m_sDeviceType = std::move(text); }

    const std::string& getName() const { return m_sName; }
    const std::string& getCity() const { return m_sCity; }
    const std::string& getHeadendId() const { return m_sHeadendId; }
    const std::string& getDTV() const { return m_sDTV; }
    const std::string& getDeviceType() const { return m_sDeviceType; }

private:
    std::string m_sName;
    std::string m_sCity;
    std::string m_sHeadendId;
    std::string m_sDTV;
    std::string m_sDeviceType;
};

/// One question: what is on this channel?
class WVLQuiz : public WResource {
public:
    WVLQuiz() = default;
    WVLQuiz(const WVLQuiz&) = default;
    WVLQuiz(WVLQuiz&&) noexcept = default;
    WVLQuiz& operator=(const WVLQuiz&) = default;
    WVLQuiz& operator=(WVLQuiz&&) noexcept = default;
    ~WVLQuiz() override;

    void setNumber(std::string text) { m_sNumber = std::move(text); }
    void setMajor(std::string text) { m_sMajor = std::move(text); }
    void setMinor(std::string text) { m_sMinor = std::move(text); }
    void setPTC(std::string text) { m_sPTC = std::move(text); }
    void setAnswerList(std::list<WVLAnswer> list) { m_AnswerList = std::move(list); }

    const std::string& getNumber() const { return m_sNumber; }
    const std::string& getMajor() const { return m_sMajor; }
    const std::string& getMinor() const { return m_sMinor; }
    const std::string& getPTC() const { return m_sPTC; }
    const std::list<WVLAnswer>& getAnswerList() const { return m_AnswerList; }

private:
    std::string m_sNumber;
    std::string m_sMajor;
    std::string m_sMinor;
    std::string m_sPTC;
    std::list<WVLAnswer> m_AnswerList;
};

}  // namespace W
#pragma GCC visibility pop
