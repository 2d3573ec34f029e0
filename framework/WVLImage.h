// Record: a picture.
#pragma once

#include <string>
#include <utility>

#include "WResource.h"

#pragma GCC visibility push(default)
namespace W {

/// A picture by URL; width and height in pixels, 0 if unknown.
class WVLImage : public WResource {
public:
    WVLImage() = default;
    WVLImage(const WVLImage&) = default;
    WVLImage(WVLImage&&) noexcept = default;
    WVLImage& operator=(const WVLImage&) = default;
    WVLImage& operator=(WVLImage&&) noexcept = default;
    ~WVLImage() override;

    void setIndex(std::string index) { m_index = std::move(index); }
    void setType(std::string type) { m_type = std::move(type); }
    void setURL(std::string url) { m_url = std::move(url); }
    void setWidth(int value) { m_width = value; }
    void setHeight(int value) { m_height = value; }

    const std::string& getIndex() const { return m_index; }
    const std::string& getType() const { return m_type; }
    const std::string& getURL() const { return m_url; }
    int getWidth() const { return m_width; }
    int getHeight() const { return m_height; }

private:
    std::string m_index;
    std::string m_type;
    std::string m_url;
    int m_width = 0;
    int m_height = 0;
};

}  // namespace W
#pragma GCC visibility pop
