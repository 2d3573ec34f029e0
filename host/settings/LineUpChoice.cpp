#include "LineUpChoice.h"

#include <utility>

namespace W::host {

LineUpChoice::LineUpChoice(const Configuration& configuration)
    : m_installed(WConfigManager::getInstance()),
      m_headend(configuration.value("headend")),
      m_device(configuration.value("device_type"))
{
    installConfigManager(this);
}

LineUpChoice::~LineUpChoice()
{
    installConfigManager(m_installed);
}

void LineUpChoice::choose(std::string headend, std::string device)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_headend = std::move(headend);
    m_device = std::move(device);
}

WVariant LineUpChoice::getCPOption(const WContentProvider& provider, const std::string& key)
{
    if (key == "vorel_headend") {
        return WVariant(headend());
    }
    if (key == "vorel_device_type") {
        return WVariant(device());
    }
    return m_installed->getCPOption(provider, key);
}

std::string LineUpChoice::headend()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_headend;
}

std::string LineUpChoice::device()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_device;
}

}  // namespace W::host
