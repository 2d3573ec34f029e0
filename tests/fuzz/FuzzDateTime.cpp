// Date-time strings: the first byte chooses the format. A value that is read, written and read again must be the same.
#include "Fuzz.h"

#include <string>

#include "WDateTime.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using W::WDateTime;
    using namespace W::test;
    if (size == 0) {
        return 0;
    }
    const auto format = static_cast<WDateTime::DATEFORMAT>(2 + data[0] % 3);
    const auto zone = static_cast<WDateTime::TIMEZONE>(data[0] / 3 % 3 - 1);
    const std::string_view text = stringOf(data + 1, size - 1);
    WDateTime time = WDateTime::fromString(text, format, zone);
    const bool fits = (format == WDateTime::FORMAT_DATETIME && zone == WDateTime::TIMEZONE_UTC) ||
                      (format == WDateTime::FORMAT_LOCAL && zone == WDateTime::TIMEZONE_LOCAL) ||
                      (format == WDateTime::FORMAT_OFFSET && zone == WDateTime::TIMEZONE_NONE);
    require(fits || !time.isValid(), "a zone that is not the form's is refused");
    if (time.hasInstant()) {
        const std::string written = time.toString();
        require(format != WDateTime::FORMAT_DATETIME || written == text, "it is written as it was read");
        const WDateTime again = WDateTime::fromString(written, WDateTime::FORMAT_DATETIME, WDateTime::TIMEZONE_UTC);
        require(again.toTime_t() == time.toTime_t(), "it is the same instant");
        require(WDateTime::fromTime_t(time.toTime_t()).toString() == written, "so it is by its seconds");
    }
    const std::int64_t instant = time.toTime_t();
    time.setOffset(-time.getOffsetSign(), time.getOffsetTime());
    require(time.toTime_t() == instant, "an offset does not move an instant");
    return 0;
}
