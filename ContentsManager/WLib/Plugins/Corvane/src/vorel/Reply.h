// Reads replies: the envelope that every reply has, and the tables of fields that fill records. A parser is a table of
// fields in reading order and one call of readReply(); docs/plugin-internals.md shows one.
//
// The tree is read through const references only: the non-const operator[] inserts missing members.
#pragma once

#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include <json/value.h>

#include "DebugPrint.h"
#include "Json.h"
#include "WDateTime.h"
#include "WVLGenre.h"
#include "WVLImage.h"

namespace W::vorel {

// -- Fields

struct ReadingRules;

/// One key of a JSON object and the setter for its value. The setter's argument decides how the value is read:
/// - a string is read from a string, number or flag; a number from the leading digits of that string;
/// - a date-time gets the offset of the rules, if they have one;
/// - a list of genres is read from an array of objects with an "id";
/// - a list of images is read from one image object, as a list of one, if it passes the image test of the rules;
/// - an image is read from one image object in the same way.
template <class Record>
class Field {
public:
    template <class Value>
    constexpr Field(std::string_view key, void (Record::*set)(Value),
                    WDateTime::DATEFORMAT format = WDateTime::FORMAT_DATETIME)
        : m_key(key), m_set(set), m_format(format)
    {}

    void read(const Json::Value& object, Record& record, const ReadingRules& rules) const;

private:
    template <class Value>
    using Setter = void (Record::*)(Value);

    std::string_view m_key;
    std::variant<Setter<std::string>, Setter<int>, Setter<WDateTime>, Setter<std::list<WVLGenre>>,
                 Setter<std::list<WVLImage>>, Setter<WVLImage>>
        m_set;
    WDateTime::DATEFORMAT m_format;  ///< for date-times
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

/// The condition for reading an image.
enum class ImageTest {
    Always,       ///< a missing one gives an image with empty fields
    UrlPresent,   ///< its "url" exists and is not null; it may be ""
    UrlNonEmpty,  ///< its "url" has at least one character
    HasMembers,   ///< the object has at least one member
};

/// How the fields of a table are read.
struct ReadingRules {
    const WDateTime* offset = nullptr;  ///< its offset is attached to date-times; if null, none is
    ImageTest imageTest = ImageTest::Always;
    Fields<WVLImage> imageFields = kImageWithSize;
};

bool wantsImage(const Json::Value& image, ImageTest test);

std::list<WVLGenre> readGenres(const Json::Value& array);

/// Reads every field of a table, in its order.
template <class Record>
void readFields(const Json::Value& object, Fields<Record> fields, Record& record, const ReadingRules& rules = {})
{
    for (const Field<Record>& field : fields) {
        field.read(object, record, rules);
    }
}

/// Reads every element of an array into a list: persons, devices, images.
template <class Record>
std::list<Record> readElements(const Json::Value& array, Fields<Record> fields, const ReadingRules& rules = {})
{
    std::list<Record> list;
    for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
        readFields(array[index], fields, list.emplace_back(), rules);
    }
    return list;
}

template <class Record>
void Field<Record>::read(const Json::Value& object, Record& record, const ReadingRules& rules) const
{
    const Json::Value& value = member(object, m_key);
    std::visit(
        [&](auto set) {
            using Type = decltype(set);
            if constexpr (std::is_same_v<Type, Setter<std::string>>) {
                (record.*set)(toString(value));
            } else if constexpr (std::is_same_v<Type, Setter<int>>) {
                (record.*set)(toInt(value));
            } else if constexpr (std::is_same_v<Type, Setter<WDateTime>>) {
                WDateTime time = toDateTime(value, m_format);
                if (rules.offset != nullptr) {
                    time.setOffset(rules.offset->getOffsetSign(), rules.offset->getOffsetTime());
                }
                (record.*set)(time);
            } else if constexpr (std::is_same_v<Type, Setter<std::list<WVLGenre>>>) {
                (record.*set)(readGenres(value));
            } else if (wantsImage(value, rules.imageTest)) {
                // One image, or a list of one.
                std::list<WVLImage> images(1);
                readFields(value, rules.imageFields, images.front());
                if constexpr (std::is_same_v<Type, Setter<WVLImage>>) {
                    (record.*set)(std::move(images.front()));
                } else {
                    (record.*set)(std::move(images));
                }
            }
        },
        m_set);
}

// -- Envelope

/// What the error code of an envelope means for a parser.
struct Verdict {
    bool isSuccess;   ///< the payload must be read
    WSTATUS outcome;  ///< what the parser returns otherwise
};

/// Quirk: a positive error code is a success without a payload.
constexpr Verdict judge(WSTATUS code)
{
    return {code == status::kOk, code < status::kOk ? code : status::kOk};
}

/// Whether an envelope reports success. Prints nothing.
bool reportsSuccess(const Json::Value& rsp);

/// Opens the envelope of a reply: "rsp" with "stat" and "err".
class Envelope {
public:
    /// @throws Json::Exception
    Envelope(const std::string& body, Here here);

    /// True if the payload must be read.
    bool isSuccess() const { return m_verdict.isSuccess; }
    /// What the parser returns otherwise: -56, the service's negative error, or 0.
    WSTATUS outcome() const { return m_verdict.outcome; }
    /// The object under "rsp".
    const Json::Value& rsp() const { return *m_rsp; }

private:
    Json::Value m_root;
    const Json::Value* m_rsp = nullptr;
    Verdict m_verdict = judge(status::kNotJson);
};

/// Reads a reply and catches nothing: exceptions of the JSON library reach the caller.
/// @param read  called with the object under "rsp" if the reply reports success; if it returns a failure, that is
/// printed
template <class Read>
WSTATUS readReplyUnguarded(const std::string& body, Read read, Here here = {})
{
    const Envelope envelope(body, here);
    const WSTATUS result = envelope.isSuccess() ? read(envelope.rsp()) : envelope.outcome();
    return result < 0 ? failed(result, kCommandFile, here) : result;
}

/// The order of the steps after an exception.
enum class OnException {
    PrintThenUndo,
    UndoThenPrint,
};

/// How a reply is read.
struct ReplyRules {
    WSTATUS statusOfException = status::kUnreadableReply;
    OnException onException = OnException::PrintThenUndo;
};

/// Reads a reply. An exception is printed, its effects are undone, and it becomes a status.
/// @param undo  called after an exception
template <class Read, class Undo>
WSTATUS readReplyOrUndo(const std::string& body, Read read, Undo undo, const ReplyRules& rules, Here here = {})
{
    try {
        return readReplyUnguarded(body, read, here);
    } catch (const std::exception& exception) {
        if (rules.onException == OnException::UndoThenPrint) {
            undo();
        }
        reportException(exception, here);
        if (rules.onException == OnException::PrintThenUndo) {
            undo();
        }
        return failed(rules.statusOfException, kCommandFile, here);
    }
}

/// The same with the rules of most replies.
template <class Read, class Undo>
WSTATUS readReplyOrUndo(const std::string& body, Read read, Undo undo, Here here = {})
{
    return readReplyOrUndo(body, read, undo, ReplyRules(), here);
}

/// The same without undoing anything: what has been written stays.
template <class Read>
WSTATUS readReply(const std::string& body, Read read, Here here = {})
{
    const auto undoNothing = [] {};
    return readReplyOrUndo(body, read, undoNothing, here);
}

/// Reads a reply of which only the envelope matters.
inline WSTATUS readAcknowledgement(const std::string& body, Here here = {})
{
    return readReply(
        body, [](const Json::Value& /*rsp*/) { return status::kOk; }, here);
}

}  // namespace W::vorel
