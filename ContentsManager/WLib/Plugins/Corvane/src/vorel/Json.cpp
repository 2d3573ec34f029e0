#include "Json.h"

#include <algorithm>
#include <climits>
#include <cstdlib>

#include <json/reader.h>

namespace W::vorel {

bool parseJson(std::string_view text, Json::Value& root)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The deprecated reader is used on purpose: it accepts what services send, such as text after the document.
    Json::Reader reader;
    // By range, because the overload for strings copies the document.
    return reader.parse(text.data(), text.data() + text.size(), root, true);
#pragma GCC diagnostic pop
}

const Json::Value& member(const Json::Value& object, std::string_view key)
{
    const Json::Value* const found = object.find(key.data(), key.data() + key.size());
    return found != nullptr ? *found : Json::Value::nullSingleton();
}

std::string toString(const Json::Value& value)
{
    return value.asString();
}

int toInt(const char* digits)
{
    const long number = std::strtol(digits, nullptr, 10);
    return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

int toInt(const Json::Value& value)
{
    const char* begin = nullptr;
    const char* end = nullptr;
    // The library's strings end with a zero.
    if (value.getString(&begin, &end)) {
        return toInt(begin);
    }
    return toInt(value.asString().c_str());
}

TimeSpan toTimeSpan(const std::string& text)
{
    const auto number = [](const char* from, char** end) {
        return static_cast<int>(std::clamp<long>(std::strtol(from, end, 10), INT_MIN, INT_MAX));
    };
    TimeSpan span;
    char* end = nullptr;
    span.first = number(text.c_str(), &end);
    // Without digits strtol sets `end` to the beginning.
    if (end != text.c_str() && *end == '-') {
        span.second = number(end + 1, &end);
    }
    return span;
}

WDateTime toDateTime(const Json::Value& value, WDateTime::DATEFORMAT format)
{
    WDateTime::TIMEZONE zone = WDateTime::TIMEZONE_UTC;
    if (format == WDateTime::FORMAT_LOCAL) {
        zone = WDateTime::TIMEZONE_LOCAL;
    } else if (format == WDateTime::FORMAT_OFFSET) {
        zone = WDateTime::TIMEZONE_NONE;
    }

    const char* begin = nullptr;
    const char* end = nullptr;
    if (value.getString(&begin, &end)) {
        return WDateTime::fromString({begin, static_cast<std::size_t>(end - begin)}, format, zone);
    }
    return WDateTime::fromString(value.asString(), format, zone);
}

}  // namespace W::vorel
