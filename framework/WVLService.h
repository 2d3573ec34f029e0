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

    void setName(std::string name) { m_name = std::move(name); }
    void setLogLevel(std::string logLevel) { m_logLevel = std::move(logLevel); }

    const std::string& getName() const { return m_name; }
    const std::string& getLogLevel() const { return m_logLevel; }

private:
    std::string m_name;
    std::string m_logLevel;
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

    void setName(std::string name) { m_name = std::move(name); }
    void setURL(std::string url) { m_url = std::move(url); }
    void setLogLevel(std::string logLevel) { m_logLevel = std::move(logLevel); }
    void setQueueMax(std::string queueMax) { m_queueMax = std::move(queueMax); }
    void setExpiration(std::string expiration) { m_expiration = std::move(expiration); }
    void setEvents(std::list<WVLEvent> list) { m_Events = std::move(list); }

    const std::string& getName() const { return m_name; }
    const std::string& getURL() const { return m_url; }
    const std::string& getLogLevel() const { return m_logLevel; }
    const std::string& getQueueMax() const { return m_queueMax; }
    const std::string& getExpiration() const { return m_expiration; }
    const std::list<WVLEvent>& getEvents() const { return m_Events; }

private:
    std::string m_name;
    std::string m_url;
    std::string m_logLevel;
    std::string m_queueMax;
    std::string m_expiration;
    std::list<WVLEvent> m_Events;
};

/// The rules for programmes with an age limit in the viewer's country.
class WVLCertificationRule : public WResource {
public:
    WVLCertificationRule() = default;
    WVLCertificationRule(const WVLCertificationRule&) = default;
    WVLCertificationRule(WVLCertificationRule&&) noexcept = default;
    WVLCertificationRule& operator=(const WVLCertificationRule&) = default;
    WVLCertificationRule& operator=(WVLCertificationRule&&) noexcept = default;
    ~WVLCertificationRule() override;

    void setType(std::string type) { m_type = std::move(type); }
    void setRule(std::string rule) { m_rule = std::move(rule); }
    void setFirstScreen(std::string firstScreen) { m_firstScreen = std::move(firstScreen); }
    void setAdultDefault(std::string adultDefault) { m_adultDefault = std::move(adultDefault); }
    void setBarMode(std::string barMode) { m_barMode = std::move(barMode); }
    void setBarRatio(std::string barRatio) { m_barRatio = std::move(barRatio); }
    void setBeginTime(std::string beginTime) { m_beginTime = std::move(beginTime); }
    void setEndTime(std::string endTime) { m_endTime = std::move(endTime); }

    const std::string& getType() const { return m_type; }
    const std::string& getRule() const { return m_rule; }
    const std::string& getFirstScreen() const { return m_firstScreen; }
    const std::string& getAdultDefault() const { return m_adultDefault; }
    const std::string& getBarMode() const { return m_barMode; }
    const std::string& getBarRatio() const { return m_barRatio; }
    const std::string& getBeginTime() const { return m_beginTime; }
    const std::string& getEndTime() const { return m_endTime; }

private:
    std::string m_type;
    std::string m_rule;
    std::string m_firstScreen;
    std::string m_adultDefault;
    std::string m_barMode;
    std::string m_barRatio;
    std::string m_beginTime;
    std::string m_endTime;
};

/// The service's clock: the current time in UTC and at the viewer's location, and their difference.
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
    void setTimezone(std::string timezone) { m_timezone = std::move(timezone); }

    const WDateTime& getUTC() const { return m_UTC; }
    const WDateTime& getLocaltime() const { return m_Localtime; }
    const WDateTime& getDifference() const { return m_Difference; }
    const std::string& getTimezone() const { return m_timezone; }

private:
    WDateTime m_UTC;
    WDateTime m_Localtime;
    WDateTime m_Difference;
    std::string m_timezone;
};

/// A session with the service. It holds secrets: a log at the default level must not contain the seed key.
class WVLSession : public WResource {
public:
    WVLSession() = default;
    WVLSession(const WVLSession&) = default;
    WVLSession(WVLSession&&) noexcept = default;
    WVLSession& operator=(const WVLSession&) = default;
    WVLSession& operator=(WVLSession&&) noexcept = default;
    ~WVLSession() override;

    void setSessionID(std::string sessionID) { m_sessionID = std::move(sessionID); }
    void setUserID(std::string userID) { m_userID = std::move(userID); }
    void setSeedKey(std::string seedKey) { m_seedKey = std::move(seedKey); }
    void setExpireTime(WDateTime time) { m_ExpireTime = time; }

    const std::string& getSessionID() const { return m_sessionID; }
    const std::string& getUserID() const { return m_userID; }
    const std::string& getSeedKey() const { return m_seedKey; }
    const WDateTime& getExpireTime() const { return m_ExpireTime; }

private:
    std::string m_sessionID;
    std::string m_userID;
    std::string m_seedKey;
    WDateTime m_ExpireTime;
};

}  // namespace W
#pragma GCC visibility pop
