// URLs and headers of requests: the first line is a URL, each further one a header. The bytes on the wire must be
// exactly one request line and the header lines.
#include "Fuzz.h"

#include <algorithm>
#include <string>

#include "HttpWire.h"

namespace {

bool isPlain(unsigned char c)
{
    return c > ' ' && c < 0x7f;
}

void tryUrl(const std::string& url, W::host::UrlEncoding encoding)
{
    using W::test::require;
    const auto split = W::host::splitUrl(url, encoding);
    if (!split) {
        return;
    }
    require(split->origin.size() > std::size(std::string_view("http://")) && split->origin.back() == '/', "an origin");
    require(!split->target.empty(), "a target");
    require(split->target.find_first_of(" \t\r\n") == std::string::npos, "no blank in a request line");
    require(split->target.find('\0') == std::string::npos, "no NUL in a request line");
    if (encoding == W::host::UrlEncoding::PercentEncode) {
        require(std::all_of(split->target.begin(), split->target.end(), isPlain), "plain characters alone");
        const std::string once = W::host::percentEncoded(url);
        require(W::host::percentEncoded(once) == once, "encoding again changes nothing");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace W::test;
    std::string_view text = stringOf(data, size);
    const std::string url(takeLine(text));
    tryUrl(url, W::host::UrlEncoding::AsGiven);
    tryUrl(url, W::host::UrlEncoding::PercentEncode);
    W::HttpHeader header;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        const std::size_t colon = std::min(line.find(':'), line.size());
        header.add(std::string(line.substr(0, colon)), std::string(line.substr(std::min(colon + 1, line.size()))));
    }
    W::host::isSendable(header);
    return 0;
}
