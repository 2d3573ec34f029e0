// Access to the JSON of replies and files. All functions throw what the JSON library throws when a value is of the
// wrong type. Trees are read through const references only: the other operator[] inserts what is missing.
#pragma once

#include <string>
#include <string_view>

#include <json/value.h>

#include "WDateTime.h"

namespace W::vorel {

/// Parses a string. @return false when it is not JSON  @throws Json::Exception when it is nested too deeply
bool parseJson(std::string_view text, Json::Value& root);

/// A member; a null value when there is none or `object` is null. Throws on anything else than an object.
const Json::Value& member(const Json::Value& object, std::string_view key);

/// String, number or bool as a string; null gives "".
std::string toText(const Json::Value& value);

/// The leading digits of a string (strtol, base 10), clamped to the range of int; 0 without any.
int toInt(const char* digits);
/// The same of a JSON value, which is read as a string.
int toInt(const Json::Value& value);

/// Two numbers as "100-200".
struct TimeSpan {
    int first = 0;
    int second = 0;
};

/// Reads what matches "%d-%d": what does not match stays 0, numbers out of range saturate.
TimeSpan toTimeSpan(const std::string& text);

/// An instant as the service writes it; its offset is +00:00.
WDateTime toDateTime(const Json::Value& value, WDateTime::DATEFORMAT format);

/// Whether an array or object has elements. A scalar has none; the library's own test for emptiness disagrees.
template <class Array>
bool hasElements(const Array& value)
{
    return value.size() != 0;
}

}  // namespace W::vorel
