// Damaged replies.
#include "ReplyHarms.h"

#include <string>

#include <poll.h>
#include <zlib.h>

namespace W::test {

namespace {

constexpr std::size_t kMegabyte = std::size_t{1} << 20;

/// A good reply without its last bytes.
std::string withoutEnd(const std::string& good, std::size_t missing)
{
    const std::string reply = host::okReply(good);
    return reply.substr(0, reply.size() - missing);
}

std::string compressedZeros()
{
    z_stream stream{};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    std::string zeros(kMegabyte, '\0');
    std::string packed(kMegabyte, '\0');
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    for (std::size_t left = kHuge; left > 0; left -= zeros.size()) {
        stream.next_in = reinterpret_cast<Bytef*>(zeros.data());
        stream.avail_in = static_cast<uInt>(zeros.size());
        deflate(&stream, left == zeros.size() ? Z_FINISH : Z_NO_FLUSH);
    }
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

}  // namespace

bool send(const Meeting& meeting, const std::string& bytes)
{
    return meeting.connection.send(bytes) == bytes.size();
}

bool cutBeforeFirstByte(const Meeting& meeting)
{
    return send(meeting, withoutEnd(meeting.good, meeting.good.size()));
}

bool cutInTheMiddle(const Meeting& meeting)
{
    return send(meeting, withoutEnd(meeting.good, meeting.good.size() / 2));
}

bool cutBeforeLastByte(const Meeting& meeting)
{
    return send(meeting, withoutEnd(meeting.good, 1));
}

bool lengthTooSmall(const Meeting& meeting)
{
    return send(meeting, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(meeting.good.size() / 2) + "\r\n\r\n" +
                             meeting.good);
}

bool badChunks(const Meeting& meeting)
{
    return send(meeting,
                "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nlength\r\n" + meeting.good + "\r\n0\r\n\r\n");
}

bool stall(const Meeting& meeting)
{
    const bool sent = cutInTheMiddle(meeting);
    meeting.connection.waitForEnd();
    return sent;
}

bool oneByteASecond(const Meeting& meeting)
{
    std::string next = withoutEnd(meeting.good, meeting.good.size() - 1);
    std::size_t sent = 0;
    while (send(meeting, next) && ++sent < meeting.good.size()) {
        next = meeting.good[sent];
        pollfd gone{meeting.connection.socket(), POLLIN, 0};
        if (::poll(&gone, 1, 1000) != 0) {
            break;
        }
    }
    return sent >= 3;
}

bool redirectToItself(const Meeting& meeting)
{
    const std::size_t begin = meeting.request.find(' ') + 1;
    const std::string target = meeting.request.substr(begin, meeting.request.find(' ', begin) - begin);
    return send(meeting, "HTTP/1.1 302 Found\r\nLocation: " + target + "\r\nContent-Length: 0\r\n\r\n");
}

bool noContent(const Meeting& meeting)
{
    return send(meeting, "HTTP/1.1 204 No Content\r\n\r\n");
}

bool truncatedJson(const Meeting& meeting)
{
    return send(meeting, host::okReply(meeting.good.substr(0, meeting.good.size() - 1)));
}

bool deepJson(const Meeting& meeting)
{
    constexpr std::size_t kArrays = 999;
    return send(meeting, host::okReply(R"({"rsp":{"stat":"OK","deep":)" + std::string(kArrays, '[') +
                                       std::string(kArrays, ']') + "}}"));
}

ReplyHarm hugeBody(std::size_t kept)
{
    return [kept](const Meeting& meeting) {
        static const std::string s_block(kMegabyte, 'x');
        if (!send(meeting, "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kHuge) + "\r\n\r\n")) {
            return false;
        }
        std::size_t sent = 0;
        while (sent < kHuge) {
            const std::size_t taken = meeting.connection.send(s_block);
            sent += taken;
            if (taken < s_block.size()) {
                break;
            }
        }
        return sent > kept;
    };
}

ReplyHarm packedZeros(std::size_t kept)
{
    return [kept](const Meeting& meeting) {
        static const std::string s_packed = compressedZeros();
        const std::string reply = host::okReply(s_packed, "Content-Encoding: gzip\r\n");
        const std::size_t head = reply.size() - s_packed.size();
        const std::size_t sent = meeting.connection.send(reply);
        return sent > head && (sent - head) * (kHuge / s_packed.size()) > kept;
    };
}

}  // namespace W::test
