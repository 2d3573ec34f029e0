// Access to the JSON of replies and files. All functions throw Json::Exception if a value has the wrong type. Trees are
// read through const references only: the non-const operator[] inserts missing members.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "WDateTime.h"

namespace W::vorel {

/// Parses a string. @return false if it is not JSON  @throws Json::Exception if it is nested too deeply
bool parseJson(std::string_view text, Json::Value& root);

/// A member; a null value if there is none or if `object` is null. Throws if `object` is anything else.
const Json::Value& member(const Json::Value& object, std::string_view key);

/// String, number or bool as a string; null gives "".
std::string toString(const Json::Value& value);

/// The number at the beginning of a string (strtol, base 10), clamped to the range of int; 0 if there is none.
int toInt(const char* digits);
/// The same for a JSON value, which is read as a string.
int toInt(const Json::Value& value);

/// Two numbers as "100-200".
struct TimeSpan {
    int first = 0;
    int second = 0;
};

/// Reads "%d-%d"; a number that is missing is 0, one out of range is clamped.
TimeSpan toTimeSpan(const std::string& text);

/// An instant as the service writes it; its offset is +00:00.
WDateTime toDateTime(const Json::Value& value, WDateTime::DATEFORMAT format);

/// Whether an array or object has elements. A scalar has none, although the library does not call it empty.
template <class Array>
bool hasElements(const Array& value)
{
    return value.size() != 0;
}

}  // namespace W::vorel
