#include "ContentCoding.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

#include <zlib.h>

#include "HttpMessages.h"

namespace http {
namespace {

std::string_view nextPart(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    const std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    return trimmed(part);
}

// @param result  what zlib returned instead of the code expected
[[noreturn]] void fail(const char* what, int result)
{
    if (result == Z_MEM_ERROR) {
        throw std::bad_alloc();
    }
    throw std::runtime_error(std::string(what) + ": zlib reports " + zError(result));
}

// The weight of one entry's parameters; 1 if there is none, 0 if it cannot be read.
double weightOf(std::string_view parameters)
{
    while (!parameters.empty()) {
        const std::string_view parameter = nextPart(parameters, ';');
        if (parameter.size() > 2 && equalIgnoringCase(parameter.substr(0, 2), "q=")) {
            return std::strtod(std::string(parameter.substr(2)).c_str(), nullptr);
        }
    }
    return 1;
}

// One per thread, since setting one up costs as much as packing a reply.
class Deflater {
public:
    Deflater()
    {
        constexpr int kGzip = 16 + MAX_WBITS;
        constexpr int kFast = 1;  // replies are made once each; higher levels cost more time than the bytes they save
        constexpr int kMemory = 8;
        const int result = deflateInit2(&m_stream, kFast, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY);
        if (result != Z_OK) {
            fail("cannot compress", result);
        }
    }
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;
    ~Deflater() { deflateEnd(&m_stream); }

    z_stream& restart()
    {
        deflateReset(&m_stream);
        return m_stream;
    }

private:
    z_stream m_stream{};
};

}  // namespace

bool acceptsGzip(std::string_view acceptEncoding)
{
    constexpr double kUnnamed = -1;
    double gzip = kUnnamed;
    double any = 0;
    double identity = kUnnamed;
    while (!acceptEncoding.empty()) {
        std::string_view entry = nextPart(acceptEncoding, ',');
        const std::string_view name = nextPart(entry, ';');
        const double weight = weightOf(entry);
        if (equalIgnoringCase(name, "gzip") || equalIgnoringCase(name, "x-gzip")) {
            gzip = weight;
        } else if (equalIgnoringCase(name, "identity")) {
            identity = weight;
        } else if (name == "*") {
            any = weight;
        }
    }
    const double wanted = gzip == kUnnamed ? any : gzip;
    return wanted > 0 && wanted >= identity;
}

std::string gzipped(std::string_view text)
{
    thread_local Deflater deflater;
    z_stream& stream = deflater.restart();
    std::string packed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    // One call suffices: the buffer is as large as the result can be.
    if (const int result = deflate(&stream, Z_FINISH); result != Z_STREAM_END) {
        fail("cannot compress", result);
    }
    packed.resize(stream.total_out);
    return packed;
}

std::optional<std::string> gunzipped(std::string_view packed, std::size_t most, GunzipError& error)
{
    constexpr int kGzip = 16 + MAX_WBITS;
    constexpr std::size_t kStep = 16384;
    z_stream stream{};
    if (const int result = inflateInit2(&stream, kGzip); result != Z_OK) {
        fail("cannot decompress", result);
    }
    const std::unique_ptr<z_stream, int (*)(z_stream*)> ended(&stream, &inflateEnd);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    std::string text;
    int result = Z_OK;
    while (result == Z_OK) {
        const std::size_t size = text.size();
        text.resize(size + kStep);
        stream.next_out = reinterpret_cast<Bytef*>(text.data() + size);
        stream.avail_out = kStep;
        result = inflate(&stream, Z_NO_FLUSH);
        text.resize(size + kStep - stream.avail_out);
        if (text.size() > most) {
            error = GunzipError::TooLarge;
            return std::nullopt;
        }
    }
    if (result == Z_MEM_ERROR) {
        fail("cannot decompress", result);
    }
    if (result != Z_STREAM_END || stream.avail_in > 0) {
        error = GunzipError::Malformed;
        return std::nullopt;
    }
    return text;
}

}  // namespace http
