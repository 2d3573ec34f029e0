#include "LineUpChoice.h"

#include <utility>

namespace W::host {

LineUpChoice::LineUpChoice(const Configuration& configuration)
    : m_pInstalled(WConfigManager::getInstance()),
      m_sHeadend(configuration.text("headend")),
      m_sDevice(configuration.text("device_type"))
{
    installConfigManager(this);
}

LineUpChoice::~LineUpChoice()
{
    installConfigManager(m_pInstalled);
}

void LineUpChoice::choose(std::string headend, std::string device)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_sHeadend = std::move(headend);
    m_sDevice = std::move(device);
}

WVariant LineUpChoice::getCPOption(const WContentProvider& provider, const std::string& key)
{
    if (key == "vorel_headend") {
        return WVariant(headend());
    }
    if (key == "vorel_device_type") {
        return WVariant(device());
    }
    return m_pInstalled->getCPOption(provider, key);
}

std::string LineUpChoice::headend()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_sHeadend;
}

std::string LineUpChoice::device()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_sDevice;
}

}  // namespace W::host
