// Records: operators' headends, their devices, and the cities that they serve.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A kind of receiver.
class WVLDevice : public WResource {
public:
    WVLDevice() = default;
    WVLDevice(const WVLDevice&) = default;
    WVLDevice(WVLDevice&&) noexcept = default;
    WVLDevice& operator=(const WVLDevice&) = default;
    WVLDevice& operator=(WVLDevice&&) noexcept = default;
    ~WVLDevice() override;

    void setDeviceName(std::string text) { m_sDeviceName = std::move(text); }
    void setDeviceType(std::string text) { m_sDeviceType = std::move(text); }

    const std::string& getDeviceName() const { return m_sDeviceName; }
    const std::string& getDeviceType() const { return m_sDeviceType; }

private:
    std::string m_sDeviceName;
    std::string m_sDeviceType;
};

/// A headend and the operator (MSO) that runs it.
class WVLHeadend : public WResource {
public:
    WVLHeadend() = default;
    WVLHeadend(const WVLHeadend&) = default;
    WVLHeadend(WVLHeadend&&) noexcept = default;
    WVLHeadend& operator=(const WVLHeadend&) = default;
    WVLHeadend& operator=(WVLHeadend&&) noexcept = default;
    ~WVLHeadend() override;

    void setHeadendID(std::string text) { m_sHeadendID = std::move(text); }
    void setHeadendCity(std::string text) { m_sHeadendCity = std::move(text); }
    void setHeadendDTV(std::string text) { m_sHeadendDTV = std::move(text); }
    void setMsoID(std::string text) { m_sMsoID = std::move(text); }
    void setMsoName(std::string text) { m_sMsoName = std::move(text); }
    void setMsoMbrName(std::string text) { m_sMsoMbrName = std::move(text); }
    void setMsoServiceType(std::string text) { m_sMsoServiceType = std::move(text); }
    void setMsoSatellite(std::string text) { m_sMsoSatellite = std::move(text); }
    void setMsoRfDeviceType(std::string text) { m_sMsoRfDeviceType = std::move(text); }
    void setDeviceList(std::list<WVLDevice> list) { m_DeviceList = std::move(list); }

    const std::string& getHeadendID() const { return m_sHeadendID; }
    const std::string& getHeadendCity() const { return m_sHeadendCity; }
    const std::string& getHeadendDTV() const { return m_sHeadendDTV; }
    const std::string& getMsoID() const { return m_sMsoID; }
    const std::string& getMsoName() const { return m_sMsoName; }
    const std::string& getMsoMbrName() const { return m_sMsoMbrName; }
    const std::string& getMsoServiceType() const { return m_sMsoServiceType; }
    const std::string& getMsoSatellite() const { return m_sMsoSatellite; }
    const std::string& getMsoRfDeviceType() const { return m_sMsoRfDeviceType; }
    const std::list<WVLDevice>& getDeviceList() const { return m_DeviceList; }

private:
    std::string m_sHeadendID;
    std::string m_sHeadendCity;
    std::string m_sHeadendDTV;
    std::string m_sMsoID;
    std::string m_sMsoName;
    std::string m_sMsoMbrName;
    std::string m_sMsoServiceType;
    std::string m_sMsoSatellite;
    std::string m_sMsoRfDeviceType;
    std::list<WVLDevice> m_DeviceList;
};

/// A city or region by its code.
class WVLCityCode : public WResource {
public:
    WVLCityCode() = default;
    WVLCityCode(const WVLCityCode&) = default;
    WVLCityCode(WVLCityCode&&) noexcept = default;
    WVLCityCode& operator=(const WVLCityCode&) = default;
    WVLCityCode& operator=(WVLCityCode&&) noexcept = default;
    ~WVLCityCode() override;

    void setCode(std::string text) { m_sCode = std::move(text); }
    void setName(std::string text) { m_sName = std::move(text); }

    const std::string& getCode() const { return m_sCode; }
    const std::string& getName() const { return m_sName; }

private:
    std::string m_sCode;
    std::string m_sName;
};

}  // namespace W
#pragma GCC visibility pop
