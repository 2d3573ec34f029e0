// The line-up that the plug-in asks for. A page or command may choose another one while requests run; the other
// settings do not change after the start.
#pragma once

#include <mutex>
#include <string>

#include "Configuration.h"

namespace W::host {

/// [any thread]
class LineUpChoice final : public WConfigManager {
public:
    /// Takes the place of the installed configuration until it is destroyed.
    /// @param configuration  the one that is installed; outlives this object
    explicit LineUpChoice(const Configuration& configuration);
    ~LineUpChoice() override;
    LineUpChoice(const LineUpChoice&) = delete;
    LineUpChoice& operator=(const LineUpChoice&) = delete;

    void choose(std::string headend, std::string device);

    WVariant getCPOption(const WContentProvider& provider, const std::string& key) override;

    /// The headend and device in use.
    std::string headend();
    std::string device();

private:
    WConfigManager* const m_installed;
    std::mutex m_lock;  ///< guards what follows
    std::string m_headend;
    std::string m_device;
};

}  // namespace W::host
