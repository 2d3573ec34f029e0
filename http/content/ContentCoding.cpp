#include "ContentCoding.h"

#include <zlib.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <new>

namespace corvaned {
namespace {

std::string_view nextPart(std::string_view& rest, char separator)
{
    const std::size_t end = rest.find(separator);
    std::string_view part = rest.substr(0, end);
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    const std::size_t first = part.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return part.substr(first, part.find_last_not_of(" \t") - first + 1);
}

bool sameWord(std::string_view left, std::string_view right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

// The weight of one entry's parameters; 1 where none is given, 0 where it cannot be read.
double weightOf(std::string_view parameters)
{
    while (!parameters.empty()) {
        const std::string_view parameter = nextPart(parameters, ';');
        if (parameter.size() > 2 && sameWord(parameter.substr(0, 2), "q=")) {
            return std::strtod(std::string(parameter.substr(2)).c_str(), nullptr);
        }
    }
    return 1;
}

// A thread's own, since to set one up costs as much as to pack a reply with it.
class Deflater {
public:
    Deflater()
    {
        constexpr int kGzip = 16 + MAX_WBITS;
        constexpr int kFast = 1;  // replies are made once each; higher levels cost more time than the bytes they save
        constexpr int kMemory = 8;
        if (deflateInit2(&m_stream, kFast, Z_DEFLATED, kGzip, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::bad_alloc();
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
        if (sameWord(name, "gzip") || sameWord(name, "x-gzip")) {
            gzip = weight;
        } else if (sameWord(name, "identity")) {
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
    deflate(&stream, Z_FINISH);  // one call suffices: the buffer is as large as the result can be
    packed.resize(stream.total_out);
    return packed;
}

}  // namespace corvaned
