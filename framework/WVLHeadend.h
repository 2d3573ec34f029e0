// Records: operators' headends, their devices, and the cities that they serve.
#pragma once

#include <list>
#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A type of receiver.
class WVLDevice : public WResource {
public:
    WVLDevice() = default;
    WVLDevice(const WVLDevice&) = default;
    WVLDevice(WVLDevice&&) noexcept = default;
    WVLDevice& operator=(const WVLDevice&) = default;
    WVLDevice& operator=(WVLDevice&&) noexcept = default;
    ~WVLDevice() override;

    void setDeviceName(std::string deviceName) { m_deviceName = std::move(deviceName); }
    void setDeviceType(std::string deviceType) { m_deviceType = std::move(deviceType); }

    const std::string& getDeviceName() const { return m_deviceName; }
    const std::string& getDeviceType() const { return m_deviceType; }

private:
    std::string m_deviceName;
    std::string m_deviceType;
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

    void setHeadendID(std::string headendID) { m_headendID = std::move(headendID); }
    void setHeadendCity(std::string headendCity) { m_headendCity = std::move(headendCity); }
    void setHeadendDTV(std::string headendDTV) { m_headendDTV = std::move(headendDTV); }
    void setMsoID(std::string msoID) { m_msoID = std::move(msoID); }
    void setMsoName(std::string msoName) { m_msoName = std::move(msoName); }
    void setMsoMbrName(std::string msoMbrName) { m_msoMbrName = std::move(msoMbrName); }
    void setMsoServiceType(std::string msoServiceType) { m_msoServiceType = std::move(msoServiceType); }
    void setMsoSatellite(std::string msoSatellite) { m_msoSatellite = std::move(msoSatellite); }
    void setMsoRfDeviceType(std::string msoRfDeviceType) { m_msoRfDeviceType = std::move(msoRfDeviceType); }
    void setDeviceList(std::list<WVLDevice> list) { m_DeviceList = std::move(list); }

    const std::string& getHeadendID() const { return m_headendID; }
    const std::string& getHeadendCity() const { return m_headendCity; }
    const std::string& getHeadendDTV() const { return m_headendDTV; }
    const std::string& getMsoID() const { return m_msoID; }
    const std::string& getMsoName() const { return m_msoName; }
    const std::string& getMsoMbrName() const { return m_msoMbrName; }
    const std::string& getMsoServiceType() const { return m_msoServiceType; }
    const std::string& getMsoSatellite() const { return m_msoSatellite; }
    const std::string& getMsoRfDeviceType() const { return m_msoRfDeviceType; }
    const std::list<WVLDevice>& getDeviceList() const { return m_DeviceList; }

private:
    std::string m_headendID;
    std::string m_headendCity;
    std::string m_headendDTV;
    std::string m_msoID;
    std::string m_msoName;
    std::string m_msoMbrName;
    std::string m_msoServiceType;
    std::string m_msoSatellite;
    std::string m_msoRfDeviceType;
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

    void setCode(std::string code) { m_code = std::move(code); }
    void setName(std::string name) { m_name = std::move(name); }

    const std::string& getCode() const { return m_code; }
    const std::string& getName() const { return m_name; }

private:
    std::string m_code;
    std::string m_name;
};

}  // namespace W
#pragma GCC visibility pop
