// Reading replies: access to the JSON tree, the envelope that every reply has, and the tables of fields that feed the
// records. A parser is a table of fields in reading order and one call of readReply(); docs/plugin-internals.md shows one.
//
// The tree is read through const references only: the other operator[] inserts what is missing. Nothing is copied
// twice.
#pragma once

#include "DebugPrint.h"
#include "WDateTime.h"
#include "WVLGenre.h"
#include "WVLImage.h"

#include <json/value.h>
#include <list>
#include <string>
#include <string_view>

namespace W::vorel {

// -- Access. All throw what the JSON library throws when a value is of the wrong type.

/// Parses a text. @return false when it is not JSON  @throws Json::Exception when it is nested too deeply
bool parseJson(std::string_view text, Json::Value& root);

/// A member; a null value when there is none or `object` is null. Throws on anything else than an object.
const Json::Value& member(const Json::Value& object, std::string_view key);

/// Text, number or bool as text; null gives "".
std::string toText(const Json::Value& value);

/// The leading digits of a text (strtol, base 10), clamped to the range of int; 0 without any.
int toInt(const char* digits);
/// The same of a JSON value, which is read as text.
int toInt(const Json::Value& value);

/// Two numbers as "100-200".
struct TimeSpan {
    int first = 0;
    int second = 0;
};

/// Reads what matches "%d-%d": what does not match stays 0, numbers out of range saturate.
TimeSpan toTimeSpan(const std::string& text);

/// An instant as the service writes it, without an offset of its own but +00:00.
WDateTime toDateTime(const Json::Value& value, WDateTime::DATEFORMAT format);

/// Whether an array or object has elements. A scalar has none, where the library's own test for emptiness says
/// otherwise.
template <class Array>
bool hasElements(const Array& value)
{
    return value.size() != 0;
}

// -- Fields

struct ReadingRules;

/// One key of a JSON object and the setter that it feeds. The setter's argument decides how the value is read.
template <class Record>
class Field {
public:
    constexpr Field(std::string_view key, void (Record::*set)(std::string)) : m_key(key), m_kind(Kind::Text), m_set(set)
    {}
    constexpr Field(std::string_view key, void (Record::*set)(int)) : m_key(key), m_kind(Kind::Number), m_set(set) {}
    /// An instant gets the offset of the rules, where they have one; a clock reading and an offset stay as they are.
    constexpr Field(std::string_view key, void (Record::*set)(WDateTime),
                    WDateTime::DATEFORMAT format = WDateTime::FORMAT_DATETIME)
        : m_key(key), m_kind(Kind::Time), m_format(format), m_set(set)
    {}
    /// An array of objects whose "id" is a genre's.
    constexpr Field(std::string_view key, void (Record::*set)(std::list<WVLGenre>))
        : m_key(key), m_kind(Kind::Genres), m_set(set)
    {}
    /// One image object, delivered as a list of one where the rules say that it is read.
    constexpr Field(std::string_view key, void (Record::*set)(std::list<WVLImage>))
        : m_key(key), m_kind(Kind::Images), m_set(set)
    {}
    /// One image object.
    constexpr Field(std::string_view key, void (Record::*set)(WVLImage)) : m_key(key), m_kind(Kind::Image), m_set(set)
    {}

    void read(const Json::Value& object, Record& record, const ReadingRules& rules) const;

private:
    enum class Kind : unsigned char {
        Text,
        Number,
        Time,
        Genres,
        Images,
        Image,
    };
    union Setter {
        constexpr Setter(void (Record::*set)(std::string)) : text(set) {}
        constexpr Setter(void (Record::*set)(int)) : number(set) {}
        constexpr Setter(void (Record::*set)(WDateTime)) : time(set) {}
        constexpr Setter(void (Record::*set)(std::list<WVLGenre>)) : genres(set) {}
        constexpr Setter(void (Record::*set)(std::list<WVLImage>)) : images(set) {}
        constexpr Setter(void (Record::*set)(WVLImage)) : image(set) {}

        void (Record::*text)(std::string);
        void (Record::*number)(int);
        void (Record::*time)(WDateTime);
        void (Record::*genres)(std::list<WVLGenre>);
        void (Record::*images)(std::list<WVLImage>);
        void (Record::*image)(WVLImage);
    };

    std::string_view m_key;
    Kind m_kind;
    WDateTime::DATEFORMAT m_format = WDateTime::FORMAT_DATETIME;
    Setter m_set;
};

/// A table of fields.
template <class Record>
class Fields {
public:
    template <std::size_t Count>
    constexpr Fields(const Field<Record> (&fields)[Count]) : m_begin(fields), m_end(fields + Count)
    {}

    constexpr const Field<Record>* begin() const { return m_begin; }
    constexpr const Field<Record>* end() const { return m_end; }

private:
    const Field<Record>* m_begin;
    const Field<Record>* m_end;
};

inline constexpr Field<WVLImage> kImageWithSize[] = {
    {"url", &WVLImage::setURL},     {"type", &WVLImage::setType},     {"index", &WVLImage::setIndex},
    {"width", &WVLImage::setWidth}, {"height", &WVLImage::setHeight},
};

inline constexpr Field<WVLImage> kImageWithoutSize[] = {
    {"url", &WVLImage::setURL},
    {"type", &WVLImage::setType},
    {"index", &WVLImage::setIndex},
};

inline constexpr Field<WVLImage> kImageWithoutIndex[] = {
    {"url", &WVLImage::setURL},
    {"type", &WVLImage::setType},
    {"width", &WVLImage::setWidth},
    {"height", &WVLImage::setHeight},
};

/// When an image is read at all.
enum class ImageTest {
    Always,       ///< a missing one gives an image with empty fields
    UrlPresent,   ///< its "url" is there and not null; "" counts
    UrlNonEmpty,  ///< its "url" has at least one character
    HasMembers,   ///< the object has at least one member
};

/// What differs around a table.
struct ReadingRules {
    const WDateTime* offset = nullptr;  ///< whose offset is attached to instants; null leaves them as they are
    ImageTest imageTest = ImageTest::Always;
    Fields<WVLImage> imageFields = kImageWithSize;
};

bool wantsImage(const Json::Value& image, ImageTest test);

std::list<WVLGenre> readGenres(const Json::Value& array);

/// Reads every field of a table, in its order.
template <class Record>
void readFields(const Json::Value& object, Fields<Record> fields, Record& record, const ReadingRules& rules = {})
{
    for (const Field<Record>& field : fields)
        field.read(object, record, rules);
}

/// Reads every element of an array into a list of its own: persons, devices, images.
template <class Record>
std::list<Record> readElements(const Json::Value& array, Fields<Record> fields, const ReadingRules& rules = {})
{
    std::list<Record> list;
    for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index)
        readFields(array[index], fields, list.emplace_back(), rules);
    return list;
}

template <class Record>
void Field<Record>::read(const Json::Value& object, Record& record, const ReadingRules& rules) const
{
    const Json::Value& value = member(object, m_key);
    switch (m_kind) {
        case Kind::Text:
            (record.*m_set.text)(toText(value));
            break;
        case Kind::Number:
            (record.*m_set.number)(toInt(value));
            break;
        case Kind::Time: {
            WDateTime time = toDateTime(value, m_format);
            if (rules.offset != nullptr)
                time.setOffset(rules.offset->getOffsetSign(), rules.offset->getOffsetTime());
            (record.*m_set.time)(time);
            break;
        }
        case Kind::Genres:
            (record.*m_set.genres)(readGenres(value));
            break;
        case Kind::Images:
            if (wantsImage(value, rules.imageTest)) {
                std::list<WVLImage> images(1);
                readFields(value, rules.imageFields, images.front());
                (record.*m_set.images)(std::move(images));
            }
            break;
        case Kind::Image:
            if (wantsImage(value, rules.imageTest)) {
                WVLImage image;
                readFields(value, rules.imageFields, image);
                (record.*m_set.image)(std::move(image));
            }
            break;
    }
}

// -- Envelope

/// What the error code of an envelope means to a parser.
struct Verdict {
    bool isSuccess;   ///< the payload is to be read
    WSTATUS outcome;  ///< what the parser returns when it is not
};

/// Wanted: a positive error code counts as success with nothing to read.
constexpr Verdict judge(WSTATUS code)
{
    return {code == status::kOk, code < status::kOk ? code : status::kOk};
}

/// Whether an envelope reports success and nothing else, which prints no line.
bool reportsSuccess(const Json::Value& rsp);

/// Opens the envelope of a reply: "rsp" with "stat" and "err".
class Envelope {
public:
    /// @throws what the JSON library throws
    Envelope(const std::string& body, Here here);

    /// True when the payload is to be read.
    bool isSuccess() const { return m_verdict.isSuccess; }
    /// What the parser returns when it is not: -56, the service's negative error, or 0.
    WSTATUS outcome() const { return m_verdict.outcome; }
    /// The object under "rsp".
    const Json::Value& rsp() const { return *m_rsp; }

private:
    Json::Value m_root;
    const Json::Value* m_rsp = nullptr;
    Verdict m_verdict = judge(status::kNotJson);
};

/// Reads a reply without a guard: what the JSON library throws passes to the caller.
/// @param read  called with the object under "rsp" when the reply reports success; its negative statuses are printed
template <class Read>
WSTATUS readReplyUnguarded(const std::string& body, Read read, Here here = {})
{
    const Envelope envelope(body, here);
    const WSTATUS result = envelope.isSuccess() ? read(envelope.rsp()) : envelope.outcome();
    return result < 0 ? failed(result, kCommandFile, here) : result;
}

/// What happens after an exception.
struct Guard {
    WSTATUS result = status::kUnreadableReply;
    bool undoesFirst = false;  ///< undo before the exception is printed
};

/// Reads a reply; an exception is printed, undone and becomes a status.
/// @param undo  called after an exception
template <class Read, class Undo>
WSTATUS readReply(const std::string& body, Read read, Undo undo, Guard guard = {}, Here here = {})
{
    try {
        return readReplyUnguarded(body, read, here);
    } catch (const std::exception& exception) {
        if (guard.undoesFirst)
            undo();
        reportException(exception, here);
        if (!guard.undoesFirst)
            undo();
        return failed(guard.result, kCommandFile, here);
    }
}

/// The same with nothing to undo: what had been written stays.
template <class Read>
WSTATUS readReply(const std::string& body, Read read, Here here = {})
{
    return readReply(
        body, read, [] {}, {}, here);
}

/// A reply whose envelope is all that counts.
inline WSTATUS readAcknowledgement(const std::string& body, Here here = {})
{
    return readReply(
        body, [](const Json::Value& /*rsp*/) { return status::kOk; }, here);
}

}  // namespace W::vorel
