// Record: a file that the service offers for download.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A schedule file. Start and end time bound its window, in the service's own units.
class WVLDownloadURL : public WResource {
public:
    WVLDownloadURL() = default;
    WVLDownloadURL(const WVLDownloadURL&) = default;
    WVLDownloadURL(WVLDownloadURL&&) noexcept = default;
    WVLDownloadURL& operator=(const WVLDownloadURL&) = default;
    WVLDownloadURL& operator=(WVLDownloadURL&&) noexcept = default;
    ~WVLDownloadURL() override;

    void setFilename(std::string text) { m_sFilename = std::move(text); }
    void setURL(std::string text) { m_sURL = std::move(text); }
    void setStartTime(unsigned int value) { m_uStartTime = value; }
    void setEndTime(unsigned int value) { m_uEndTime = value; }

    const std::string& getFilename() const { return m_sFilename; }
    const std::string& getURL() const { return m_sURL; }
    unsigned int getStartTime() const { return m_uStartTime; }
    unsigned int getEndTime() const { return m_uEndTime; }

private:
    std::string m_sFilename;
    std::string m_sURL;
    unsigned int m_uStartTime = 0;
    unsigned int m_uEndTime = 0;
};

}  // namespace W
#pragma GCC visibility pop
