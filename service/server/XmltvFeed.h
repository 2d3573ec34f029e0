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

/// Serves the guide as XMLTV. Each version of the guide is exported once, into unnamed files that are mapped into
/// memory. The system can reclaim that memory, so a large guide needs no more of the process's own than a small one.
/// [any thread]
class XmltvFeed {
public:
    /// @param guide  must outlive the feed
    XmltvFeed(GuideFile& guide, KeyAccess access) : m_guide(guide), m_access(std::move(access)) {}

    static bool hasPath(std::string_view path);

    /// Answers a request for a path of the feed. The first request for a version of the guide waits for the export;
    /// until it is complete, others get the previous version, or 503 if there is none.
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
