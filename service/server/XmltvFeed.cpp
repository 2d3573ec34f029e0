#include "XmltvFeed.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include "ContentCoding.h"
#include "Export.h"
#include "UnnamedFile.h"

namespace corvaned {
namespace {

constexpr std::string_view kPlainPath = "/xmltv.xml";
constexpr std::string_view kPackedPath = "/xmltv.xml.gz";

class ListingFile {
public:
    ListingFile() = default;
    ListingFile(const ListingFile&) = delete;
    ListingFile& operator=(const ListingFile&) = delete;
    ~ListingFile() { ::close(m_descriptor); }

    void write(std::string_view bytes)
    {
        while (!bytes.empty()) {
            const ssize_t count = ::write(m_descriptor, bytes.data(), bytes.size());
            if (count < 0 && errno != EINTR) {
                fail("cannot write");
            }
            const auto written = static_cast<std::size_t>(std::max<ssize_t>(count, 0));
            bytes.remove_prefix(written);
            m_size += written;
        }
    }

    /// The bytes written, for reading; may outlive this object.
    http::SharedBytes mapped() const
    {
        void* const address = ::mmap(nullptr, m_size, PROT_READ, MAP_SHARED, m_descriptor, 0);
        if (address == MAP_FAILED) {
            fail("cannot map");
        }
        const std::size_t size = m_size;
        std::shared_ptr<const void> owner(address, [size](void* mapping) { ::munmap(mapping, size); });
        return {std::move(owner), {static_cast<const char*>(address), size}};
    }

private:
    [[noreturn]] static void fail(const char* what)
    {
        throw std::runtime_error(fmt::format("{} a temporary file: {}", what, std::strerror(errno)));
    }

    const int m_descriptor = openUnnamedFile();
    std::size_t m_size = 0;
};

// Writes one gzip member (RFC 1952) to a file.
class GzipWriter {
public:
    explicit GzipWriter(ListingFile& file) : m_file(file)
    {
        constexpr int kGzip = 16 + MAX_WBITS;
        constexpr int kMemory = 8;
        const int result =
            deflateInit2(&m_stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY);
        if (result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        }
        if (result != Z_OK) {
            throw std::runtime_error(fmt::format("cannot compress the guide: zlib reports {}", zError(result)));
        }
    }
    GzipWriter(const GzipWriter&) = delete;
    GzipWriter& operator=(const GzipWriter&) = delete;
    ~GzipWriter() { deflateEnd(&m_stream); }

    void write(std::string_view bytes) { pack(bytes, Z_NO_FLUSH); }
    void finish() { pack({}, Z_FINISH); }

private:
    void pack(std::string_view bytes, int flush)
    {
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));  // zlib only reads
        m_stream.avail_in = static_cast<uInt>(bytes.size());
        do {
            m_stream.next_out = reinterpret_cast<Bytef*>(m_output.data());
            m_stream.avail_out = static_cast<uInt>(m_output.size());
            deflate(&m_stream, flush);
            m_file.write({m_output.data(), m_output.size() - m_stream.avail_out});
        } while (m_stream.avail_out == 0);
    }

    ListingFile& m_file;
    z_stream m_stream{};
    std::array<char, 1 << 16> m_output{};
};

}  // namespace

struct XmltvFeed::Version {
    std::string digest;  // of the guide
    http::SharedBytes plain;
    http::SharedBytes packed;
};

bool XmltvFeed::hasPath(std::string_view path)
{
    return path == kPlainPath || path == kPackedPath;
}

http::Reply XmltvFeed::answer(const http::Request& request)
{
    if (std::optional<http::Reply> no = m_access.refusal(request, "the listing")) {
        return std::move(*no);
    }
    const std::shared_ptr<const Version> version = current();
    if (!version) {
        http::Reply reply =
            refusedReply(503, ServiceCode::Unavailable, "the listing is being made; try again in 2 seconds");
        reply.headers.set("Retry-After", "2");
        return reply;
    }
    const bool isFile = request.path == kPackedPath;
    const bool isCoded =
        !isFile && !request.headers.has("Range") && http::acceptsGzip(request.header("Accept-Encoding"));
    http::Reply reply;
    reply.mayCompress = false;
    reply.code = wireCode(ServiceCode::Ok);
    reply.sharedBody = isFile || isCoded ? version->packed : version->plain;
    reply.headers.set("Content-Type", isFile ? "application/gzip" : "application/xml; charset=utf-8");
    // Each form of the listing is a representation with its own tag (RFC 9110, 8.8.3.3).
    const char* const form = isFile ? "-file" : isCoded ? "-gzip" : "";
    reply.headers.set("ETag", fmt::format("\"{}{}\"", version->digest, form));
    reply.headers.set("Cache-Control", "no-cache");
    reply.headers.set("Accept-Ranges", "bytes");
    reply.headers.set("X-Content-Type-Options", "nosniff");
    if (!isFile) {
        reply.headers.set("Vary", "Accept-Encoding");
    }
    if (isCoded) {
        reply.headers.set("Content-Encoding", "gzip");
    }
    return reply;
}

std::string XmltvFeed::guideDigest()
{
    const GuideFile::Lease lease = m_guide.lease();
    sqlite::Query query(*lease, "SELECT value FROM guide WHERE name = 'digest'");
    return query.next() ? std::string(query.text(0)) : "none";
}

std::shared_ptr<const XmltvFeed::Version> XmltvFeed::current()
{
    std::string digest = guideDigest();
    const auto held = [&] {
        const std::lock_guard<std::mutex> lock(m_lock);
        return m_version;
    };
    std::shared_ptr<const Version> version = held();
    if (version && version->digest == digest) {
        return version;
    }
    const std::unique_lock<std::mutex> building(m_building, std::try_to_lock);
    if (!building) {
        return version;
    }
    // Another request may have exported this version meanwhile, and an import may end during the export.
    version = held();
    while (!version || version->digest != digest) {
        std::shared_ptr<const Version> made = exported(digest);
        digest = guideDigest();
        if (made->digest == digest) {
            const std::lock_guard<std::mutex> lock(m_lock);
            m_version = version = std::move(made);
        }
    }
    return version;
}

std::shared_ptr<const XmltvFeed::Version> XmltvFeed::exported(const std::string& digest)
{
    ListingFile plain;
    ListingFile packed;
    GzipWriter packer(packed);
    const GuideFile::Lease lease = m_guide.lease();
    exportListing(*lease, [&](std::string_view piece) {
        plain.write(piece);
        packer.write(piece);
    });
    packer.finish();
    return std::make_shared<const Version>(Version{digest, plain.mapped(), packed.mapped()});
}

}  // namespace corvaned
