// Sources for files and memory, and decoders of gzip and xz on top; unpacked() chooses by the first bytes.
#include "ByteSource.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include <fmt/format.h>
#include <lzma.h>
#include <zlib.h>

#include "OperatorError.h"

namespace corvaned {
namespace {

constexpr std::size_t kChunk = 64UL * 1024;

// What the xz decoder may allocate; enough for every preset of xz.
constexpr std::uint64_t kXzMemory = 128ULL * 1024 * 1024;

class FileSource : public ByteSource {
public:
    explicit FileSource(const std::string& path) : m_path(path), m_file(std::fopen(path.c_str(), "rbe"), &std::fclose)
    {
        if (!m_file) {
            fail("cannot open");
        }
    }

    /// Reads standard input, which stays open.
    FileSource() : m_path("standard input"), m_file(stdin, [](std::FILE*) { return 0; }) {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        const std::size_t count = std::fread(buffer, 1, size, m_file.get());
        if (count == 0 && std::ferror(m_file.get()) != 0) {
            fail("cannot read");
        }
        return count;
    }

private:
    [[noreturn]] void fail(const char* what) const
    {
        throw OperatorError(fmt::format("{} listing {}: {}", what, m_path, std::strerror(errno)));
    }

    std::string m_path;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> m_file;
};

class MemorySource : public ByteSource {
public:
    explicit MemorySource(std::string_view bytes) : m_rest(bytes) {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        const std::size_t count = m_rest.copy(buffer, size);
        m_rest.remove_prefix(count);
        return count;
    }

private:
    std::string_view m_rest;
};

// Returns the bytes that unpacked() has read first.
class PrefixedSource : public ByteSource {
public:
    PrefixedSource(std::string prefix, std::unique_ptr<ByteSource> rest)
        : m_prefix(std::move(prefix)), m_rest(std::move(rest))
    {}

    std::size_t read(char* buffer, std::size_t size) override
    {
        if (m_used == m_prefix.size()) {
            return m_rest->read(buffer, size);
        }
        const std::size_t count = m_prefix.copy(buffer, size, m_used);
        m_used += count;
        return count;
    }

private:
    std::string m_prefix;
    std::size_t m_used = 0;
    std::unique_ptr<ByteSource> m_rest;
};

class GzipSource : public ByteSource {
public:
    GzipSource(std::unique_ptr<ByteSource> packed, std::string name)
        : m_packed(std::move(packed)), m_name(std::move(name))
    {
        constexpr int kGzipOnly = 16 + MAX_WBITS;
        if (const int result = inflateInit2(&m_stream, kGzipOnly); result == Z_MEM_ERROR) {
            throw std::bad_alloc();
        } else if (result != Z_OK) {
            throw OperatorError(fmt::format("{}: cannot unpack gzip: zlib reports {}", m_name, zError(result)));
        }
    }
    GzipSource(const GzipSource&) = delete;
    GzipSource& operator=(const GzipSource&) = delete;
    ~GzipSource() override { inflateEnd(&m_stream); }

    std::size_t read(char* buffer, std::size_t size) override
    {
        m_stream.next_out = reinterpret_cast<Bytef*>(buffer);
        m_stream.avail_out = static_cast<uInt>(size);
        while (m_stream.avail_out == size) {
            if (m_stream.avail_in == 0) {
                m_stream.next_in = reinterpret_cast<Bytef*>(m_input.data());
                m_stream.avail_in = static_cast<uInt>(m_packed->read(m_input.data(), m_input.size()));
            }
            if (m_stream.avail_in == 0) {
                if (m_betweenMembers) {
                    return 0;
                }
                throw OperatorError(fmt::format("{}: the gzip data is cut off; download the file again", m_name));
            }
            if (m_betweenMembers) {
                inflateReset(&m_stream);
                m_betweenMembers = false;
            }
            const int result = inflate(&m_stream, Z_NO_FLUSH);
            if (result == Z_STREAM_END) {
                m_betweenMembers = true;
            } else if (result != Z_OK && result != Z_BUF_ERROR) {
                throw OperatorError(fmt::format("{}: the gzip data is damaged ({}); download the file again", m_name,
                                                m_stream.msg != nullptr ? m_stream.msg : "error"));
            }
        }
        return size - m_stream.avail_out;
    }

private:
    std::unique_ptr<ByteSource> m_packed;
    std::string m_name;
    std::array<char, kChunk> m_input{};
    z_stream m_stream{};
    bool m_betweenMembers = false;  // a gzip file may consist of several members
};

class XzSource : public ByteSource {
public:
    XzSource(std::unique_ptr<ByteSource> packed, std::string name)
        : m_packed(std::move(packed)), m_name(std::move(name))
    {
        if (const lzma_ret result = lzma_stream_decoder(&m_stream, kXzMemory, LZMA_CONCATENATED);
            result == LZMA_MEM_ERROR) {
            throw std::bad_alloc();
        } else if (result != LZMA_OK) {
            throw OperatorError(
                fmt::format("{}: cannot unpack xz: liblzma reports error {}", m_name, static_cast<int>(result)));
        }
    }
    XzSource(const XzSource&) = delete;
    XzSource& operator=(const XzSource&) = delete;
    ~XzSource() override { lzma_end(&m_stream); }

    std::size_t read(char* buffer, std::size_t size) override
    {
        m_stream.next_out = reinterpret_cast<std::uint8_t*>(buffer);
        m_stream.avail_out = size;
        while (m_stream.avail_out == size && !m_ended) {
            if (m_stream.avail_in == 0 && m_action == LZMA_RUN) {
                m_stream.next_in = reinterpret_cast<const std::uint8_t*>(m_input.data());
                m_stream.avail_in = m_packed->read(m_input.data(), m_input.size());
                m_action = m_stream.avail_in == 0 ? LZMA_FINISH : LZMA_RUN;
            }
            const lzma_ret result = lzma_code(&m_stream, m_action);
            if (result == LZMA_STREAM_END) {
                m_ended = true;
            } else if (result == LZMA_BUF_ERROR) {
                throw OperatorError(fmt::format("{}: the xz data is cut off; download the file again", m_name));
            } else if (result != LZMA_OK) {
                throw OperatorError(
                    fmt::format("{}: the xz data cannot be unpacked (error {}); download the file again", m_name,
                                static_cast<int>(result)));
            }
        }
        return size - m_stream.avail_out;
    }

private:
    std::unique_ptr<ByteSource> m_packed;
    std::string m_name;
    std::array<char, kChunk> m_input{};
    lzma_stream m_stream = LZMA_STREAM_INIT;
    lzma_action m_action = LZMA_RUN;
    bool m_ended = false;
};

struct UnknownPacking {
    std::string_view magic;
    const char* name;
    const char* program;
};

constexpr UnknownPacking kUnknownPackings[] = {
    {"BZh", "bzip2", "bunzip2"},
    {"\x28\xb5\x2f\xfd", "Zstandard", "unzstd"},
    {"PK\x03\x04", "ZIP", "unzip"},
};

}  // namespace

std::unique_ptr<ByteSource> unpacked(std::unique_ptr<ByteSource> raw, const std::string& name)
{
    constexpr std::string_view kGzipMagic = "\x1f\x8b";
    constexpr std::string_view kXzMagic(
        "\xfd"
        "7zXZ\0",
        6);
    std::string head(kXzMagic.size(), '\0');
    std::size_t filled = 0;
    while (filled < head.size()) {
        const std::size_t count = raw->read(head.data() + filled, head.size() - filled);
        if (count == 0) {
            break;
        }
        filled += count;
    }
    head.resize(filled);

    for (const UnknownPacking& packing : kUnknownPackings) {
        if (head.compare(0, packing.magic.size(), packing.magic) == 0) {
            throw OperatorError(fmt::format("{}: {} is not supported; unpack the listing first: {} FILE", name,
                                            packing.name, packing.program));
        }
    }
    const bool gzip = head.compare(0, kGzipMagic.size(), kGzipMagic) == 0;
    const bool xz = head == kXzMagic;
    std::unique_ptr<ByteSource> whole = std::make_unique<PrefixedSource>(std::move(head), std::move(raw));
    if (gzip) {
        return std::make_unique<GzipSource>(std::move(whole), name);
    }
    if (xz) {
        return std::make_unique<XzSource>(std::move(whole), name);
    }
    return whole;
}

std::unique_ptr<ByteSource> openFile(const std::string& path)
{
    if (path == kStandardInput) {
        return unpacked(std::make_unique<FileSource>(), "standard input");
    }
    return unpacked(std::make_unique<FileSource>(path), path);
}

std::unique_ptr<ByteSource> openMemory(std::string_view bytes, const std::string& name)
{
    return unpacked(std::make_unique<MemorySource>(bytes), name);
}

}  // namespace corvaned
