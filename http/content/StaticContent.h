// Serves files unchanged. They are read once, so a request never touches the disk, and its path is never a path of the
// file system.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "HttpMessages.h"

namespace http {

/// A set of files under their paths, with types, entity tags and compressed forms. The server handles
/// conditional requests and ranges (ReplyFinish.h).  [any thread, once it is filled]
class StaticContent {
public:
    /// Adds a file. A file of "/index.html" is served as "/" too; the same in other folders.
    /// @param path     "/app/main.js"; its ending decides the type, "application/octet-stream" if it is unknown
    /// @param content  any bytes
    void add(const std::string& path, std::string content);

    /// Adds the regular files of a folder and of those in it. Names that begin with a dot and
    /// symbolic links are left out.
    /// @param most  bytes of all files together
    /// @throws std::runtime_error if the folder cannot be read or holds more
    void addFolder(const std::string& folder, std::size_t most = 64 << 20);

    /// Sets a header that all replies have, such as Content-Security-Policy.
    void setHeader(const std::string& name, const std::string& value) { m_headers.set(name, value); }

    bool has(std::string_view path) const { return m_files.count(std::string(path)) > 0; }

    /// Answers GET and HEAD of a path; 404 if there is no file, 405 for other methods. Bodies of errors are plain text.
    Reply answer(const Request& request) const;

private:
    struct File {
        std::shared_ptr<const std::string> plain;
        std::shared_ptr<const std::string> packed;  // gzip; null if it is not smaller
        std::string type;
        std::string tag;
    };

    HeaderFields m_headers;
    std::map<std::string, std::shared_ptr<const File>> m_files;
};

}  // namespace http
