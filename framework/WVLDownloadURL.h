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

    void setFilename(std::string filename) { m_filename = std::move(filename); }
    void setURL(std::string url) { m_url = std::move(url); }
    void setStartTime(unsigned int value) { m_startTime = value; }
    void setEndTime(unsigned int value) { m_endTime = value; }

    const std::string& getFilename() const { return m_filename; }
    const std::string& getURL() const { return m_url; }
    unsigned int getStartTime() const { return m_startTime; }
    unsigned int getEndTime() const { return m_endTime; }

private:
    std::string m_filename;
    std::string m_url;
    unsigned int m_startTime = 0;
    unsigned int m_endTime = 0;
};

}  // namespace W
#pragma GCC visibility pop
