// Records: the service's own settings and the session with it.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WDateTime.h"
#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A kind of event and the level at which it is logged.
class WVLEvent : public WResource {
public:
    WVLEvent() = default;
    WVLEvent(const WVLEvent&) = default;
    WVLEvent(WVLEvent&&) noexcept = default;
    WVLEvent& operator=(const WVLEvent&) = default;
    WVLEvent& operator=(WVLEvent&&) noexcept = default;
    ~WVLEvent() override;

    void setName(std::string text) { m_sName = std::move(text); }
    void setLogLevel(std::string text) { m_sLogLevel = std::move(text); }

    const std::string& getName() const { return m_sName; }
    const std::string& getLogLevel() const { return m_sLogLevel; }

private:
    std::string m_sName;
    std::string m_sLogLevel;
};

/// Where and how a device reports its log; numbers as text.
class WVLLog : public WResource {
public:
    WVLLog() = default;
    WVLLog(const WVLLog&) = default;
    WVLLog(WVLLog&&) noexcept = default;
    WVLLog& operator=(const WVLLog&) = default;
    WVLLog& operator=(WVLLog&&) noexcept = default;
    ~WVLLog() override;

    void setName(std::string text) { m_sName = std::move(text); }
    void setURL(std::string text) { m_sURL = std::move(text); }
    void setLogLevel(std::string text) { m_sLogLevel = std::move(text); }
    void setQueueMax(std::string text) { m_sQueueMax = std::move(text); }
    void setExpiration(std::string text) { m_sExpiration = std::move(text); }
    void setEvents(std::list<WVLEvent> list) { m_Events = std::move(list); }

    const std::string& getName() const { return m_sName; }
    const std::string& getURL() const { return m_sURL; }
    const std::string& getLogLevel() const { return m_sLogLevel; }
    const std::string& getQueueMax() const { return m_sQueueMax; }
    const std::string& getExpiration() const { return m_sExpiration; }
    const std::list<WVLEvent>& getEvents() const { return m_Events; }

private:
    std::string m_sName;
    std::string m_sURL;
    std::string m_sLogLevel;
    std::string m_sQueueMax;
    std::string m_sExpiration;
    std::list<WVLEvent> m_Events;
};

/// How programmes with an age limit are treated in the viewer's country.
class WVLCertificationRule : public WResource {
public:
    WVLCertificationRule() = default;
    WVLCertificationRule(const WVLCertificationRule&) = default;
    WVLCertificationRule(WVLCertificationRule&&) noexcept = default;
    WVLCertificationRule& operator=(const WVLCertificationRule&) = default;
    WVLCertificationRule& operator=(WVLCertificationRule&&) noexcept = default;
    ~WVLCertificationRule() override;

    void setType(std::string text) { m_sType = std::move(text); }
    void setRule(std::string text) { m_sRule = std::move(text); }
    void setFirstScreen(std::string text) { m_sFirstScreen = std::move(text); }
    void setAdultDefault(std::string text) { m_sAdultDefault = std::move(text); }
    void setBarMode(std::string text) { m_sBarMode = std::move(text); }
    void setBarRatio(std::string text) { m_sBarRatio = std::move(text); }
    void setBeginTime(std::string text) { m_sBeginTime = std::move(text); }
    void setEndTime(std::string text) { m_sEndTime = std::move(text); }

    const std::string& getType() const { return m_sType; }
    const std::string& getRule() const { return m_sRule; }
    const std::string& getFirstScreen() const { return m_sFirstScreen; }
    const std::string& getAdultDefault() const { return m_sAdultDefault; }
    const std::string& getBarMode() const { return m_sBarMode; }
    const std::string& getBarRatio() const { return m_sBarRatio; }
    const std::string& getBeginTime() const { return m_sBeginTime; }
    const std::string& getEndTime() const { return m_sEndTime; }

private:
    std::string m_sType;
    std::string m_sRule;
    std::string m_sFirstScreen;
    std::string m_sAdultDefault;
    std::string m_sBarMode;
    std::string m_sBarRatio;
    std::string m_sBeginTime;
    std::string m_sEndTime;
};

/// The service's clock: now in UTC and at the viewer's place, and the difference between the two.
class WVLLocaltime : public WResource {
public:
    WVLLocaltime() = default;
    WVLLocaltime(const WVLLocaltime&) = default;
    WVLLocaltime(WVLLocaltime&&) noexcept = default;
    WVLLocaltime& operator=(const WVLLocaltime&) = default;
    WVLLocaltime& operator=(WVLLocaltime&&) noexcept = default;
    ~WVLLocaltime() override;

    void setUTC(WDateTime time) { m_UTC = time; }
    void setLocaltime(WDateTime time) { m_Localtime = time; }
    void setDifference(WDateTime time) { m_Difference = time; }
    void setTimezone(std::string text) { m_sTimezone = std::move(text); }

    const WDateTime& getUTC() const { return m_UTC; }
    const WDateTime& getLocaltime() const { return m_Localtime; }
    const WDateTime& getDifference() const { return m_Difference; }
    const std::string& getTimezone() const { return m_sTimezone; }

private:
    WDateTime m_UTC;
    WDateTime m_Localtime;
    WDateTime m_Difference;
    std::string m_sTimezone;
};

/// A session with the service. Holds secrets: the seed key never goes into a log at the default level.
class WVLSession : public WResource {
public:
    WVLSession() = default;
    WVLSession(const WVLSession&) = default;
    WVLSession(WVLSession&&) noexcept = default;
    WVLSession& operator=(const WVLSession&) = default;
    WVLSession& operator=(WVLSession&&) noexcept = default;
    ~WVLSession() override;

    void setSessionID(std::string text) { m_sSessionID = std::move(text); }
    void setUserID(std::string text) { m_sUserID = std::move(text); }
    void setSeedKey(std::string text) { m_sSeedKey = std::move(text); }
    void setExpireTime(WDateTime time) { m_ExpireTime = time; }

    const std::string& getSessionID() const { return m_sSessionID; }
    const std::string& getUserID() const { return m_sUserID; }
    const std::string& getSeedKey() const { return m_sSeedKey; }
    const WDateTime& getExpireTime() const { return m_ExpireTime; }

private:
    std::string m_sSessionID;
    std::string m_sUserID;
    std::string m_sSeedKey;
    WDateTime m_ExpireTime;
};

}  // namespace W
#pragma GCC visibility pop
