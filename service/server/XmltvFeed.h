// The guide as an XMLTV listing for other programs: GET /xmltv.xml and /xmltv.xml.gz.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "GuideFile.h"
#include "HttpMessages.h"
#include "KeyAccess.h"

namespace corvaned {

/// Serves the guide as XMLTV. It is exported once per version of the guide, into files without names that are mapped
/// into memory: whatever the size of the guide, sending it takes no memory that the system could not reclaim.
/// [any thread]
class XmltvFeed {
public:
    /// @param guide  must outlive the feed
    XmltvFeed(GuideFile& guide, KeyAccess access) : m_guide(guide), m_access(std::move(access)) {}

    static bool hasPath(std::string_view path);

    /// Answers a request for a path of the feed. The first one of a version of the guide waits for the export; until
    /// that is made, others get the version before, or 503 if there is none.
    /// @throws std::exception if the export cannot be made
    http::Reply answer(const http::Request& request);

private:
    struct Version;

    std::string guideDigest();
    std::shared_ptr<const Version> current();
    std::shared_ptr<const Version> exported(const std::string& digest);

    GuideFile& m_guide;
    const KeyAccess m_access;
    std::mutex m_building;
    std::mutex m_lock;  // guards m_version
    std::shared_ptr<const Version> m_version;
};

}  // namespace corvaned
