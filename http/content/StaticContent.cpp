#include "StaticContent.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fmt/format.h>
#include <openssl/evp.h>

#include "ContentCoding.h"

namespace http {
namespace {

namespace fs = std::filesystem;

struct MediaType {
    std::string_view ending;
    const char* type;
};

constexpr MediaType kTypes[] = {
    {".html", "text/html; charset=utf-8"},
    {".css", "text/css; charset=utf-8"},
    {".js", "text/javascript; charset=utf-8"},
    {".mjs", "text/javascript; charset=utf-8"},
    {".json", "application/json; charset=utf-8"},
    {".webmanifest", "application/manifest+json"},
    {".txt", "text/plain; charset=utf-8"},
    {".svg", "image/svg+xml"},
    {".png", "image/png"},
    {".jpg", "image/jpeg"},
    {".webp", "image/webp"},
    {".ico", "image/vnd.microsoft.icon"},
    {".woff2", "font/woff2"},
    {".wasm", "application/wasm"},
};

const char* typeOf(std::string_view path)
{
    const auto* const found = std::find_if(std::begin(kTypes), std::end(kTypes), [path](const MediaType& type) {
        return path.size() >= type.ending.size() &&
               equalIgnoringCase(path.substr(path.size() - type.ending.size()), type.ending);
    });
    return found == std::end(kTypes) ? "application/octet-stream" : found->type;
}

// A strong entity tag: it changes with the bytes.
std::string tagOf(std::string_view content)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(content.data(), content.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("cannot compute a SHA-256");
    }
    constexpr std::size_t kEnough = 16;
    std::string tag = "\"";
    for (std::size_t i = 0; i < kEnough; ++i) {
        tag += fmt::format("{:02x}", digest[i]);
    }
    return tag + "\"";
}

}  // namespace

void StaticContent::add(const std::string& path, std::string content)
{
    auto file = std::make_shared<File>();
    file->type = typeOf(path);
    file->tag = tagOf(content);
    file->plain = std::make_shared<const std::string>(std::move(content));
    std::string packed = gzipped(*file->plain);
    if (packed.size() < file->plain->size()) {
        file->packed = std::make_shared<const std::string>(std::move(packed));
    }
    constexpr std::string_view kIndex = "/index.html";
    if (path.size() >= kIndex.size() && path.compare(path.size() - kIndex.size(), kIndex.size(), kIndex) == 0) {
        m_files[path.substr(0, path.size() - kIndex.size() + 1)] = file;
    }
    m_files[path] = std::move(file);
}

void StaticContent::addFolder(const std::string& folder, std::size_t most)
{
    std::size_t size = 0;
    for (auto each = fs::recursive_directory_iterator(folder); each != fs::recursive_directory_iterator(); ++each) {
        if (each->path().filename().string().front() == '.') {
            each.disable_recursion_pending();
            continue;
        }
        if (each->is_symlink() || !each->is_regular_file()) {  // a link may lead out of the folder
            continue;
        }
        size += each->file_size();
        if (size > most) {
            throw std::runtime_error(fmt::format("{} contains more than {} bytes to serve", folder, most));
        }
        std::ifstream stream(each->path(), std::ios::binary);
        std::string content{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        if (!stream) {
            throw std::runtime_error(fmt::format("cannot read {}", each->path().string()));
        }
        add("/" + each->path().lexically_relative(folder).generic_string(), std::move(content));
    }
}

Reply StaticContent::answer(const Request& request) const
{
    Reply reply;
    reply.headers = m_headers;
    reply.mayCompress = false;
    const auto found = m_files.find(request.path);
    if (found == m_files.end() || (request.method != "GET" && request.method != "HEAD")) {
        const bool isKnown = found != m_files.end();
        reply.status = isKnown ? 405 : 404;
        reply.body = isKnown ? "Only GET and HEAD are allowed here.\n" : "There is no such page.\n";
        reply.headers.set("Content-Type", "text/plain; charset=utf-8");
        if (isKnown) {
            reply.headers.set("Allow", "GET, HEAD");
        }
        return reply;
    }
    const File& file = *found->second;
    const bool isPacked =
        file.packed && !request.headers.has("Range") && acceptsGzip(request.header("Accept-Encoding"));
    reply.sharedBody = isPacked ? file.packed : file.plain;
    reply.headers.set("Content-Type", file.type);
    // Two forms of one content are two representations (RFC 9110, 8.8.3.3).
    reply.headers.set("ETag", isPacked ? file.tag.substr(0, file.tag.size() - 1) + "-gzip\"" : file.tag);
    reply.headers.set("Vary", "Accept-Encoding");
    reply.headers.set("Accept-Ranges", "bytes");
    reply.headers.set("X-Content-Type-Options", "nosniff");
    if (!reply.headers.has("Cache-Control")) {
        reply.headers.set("Cache-Control", "no-cache");  // the browser revalidates the tag
    }
    if (isPacked) {
        reply.headers.set("Content-Encoding", "gzip");
    }
    return reply;
}

}  // namespace http
