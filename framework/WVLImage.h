// Record: a picture.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A picture by URL; width and height in pixels, 0 when not known.
class WVLImage : public WResource {
public:
    WVLImage() = default;
    WVLImage(const WVLImage&) = default;
    WVLImage(WVLImage&&) noexcept = default;
    WVLImage& operator=(const WVLImage&) = default;
    WVLImage& operator=(WVLImage&&) noexcept = default;
    ~WVLImage() override;

    void setIndex(std::string text) { m_sIndex = std::move(text); }
    void setType(std::string text) { m_sType = std::move(text); }
    void setURL(std::string text) { m_sURL = std::move(text); }
    void setWidth(int value) { m_iWidth = value; }
    void setHeight(int value) { m_iHeight = value; }

    const std::string& getIndex() const { return m_sIndex; }
    const std::string& getType() const { return m_sType; }
    const std::string& getURL() const { return m_sURL; }
    int getWidth() const { return m_iWidth; }
    int getHeight() const { return m_iHeight; }

private:
    std::string m_sIndex;
    std::string m_sType;
    std::string m_sURL;
    int m_iWidth = 0;
    int m_iHeight = 0;
};

}  // namespace W
#pragma GCC visibility pop
