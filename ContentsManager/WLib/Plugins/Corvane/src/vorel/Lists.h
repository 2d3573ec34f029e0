// Reads the array that most replies consist of: tests for a cancel before each element, treats an empty array by rules,
// and hands over the list as a whole.
#pragma once

#include <cstdint>
#include <list>
#include <utility>

#include <json/value.h>

#include "Pieces.h"
#include "Reply.h"
#include "VorelCommand.h"
#include "WContainer.h"

namespace W::vorel {

/// What differs between lists.
struct ListRules {
    const char* parser;               ///< class and function in the cancel line
    const char* emptyLine = nullptr;  ///< printed for an empty array
    WSTATUS emptyStatus = status::kOk;
    WSTATUS statusOfException = status::kUnreadableReply;
    bool printsCancelFirst = false;  ///< prints the cancel line before it clears the container
};

/// The request whose reply is read.
struct Reading {
    const VorelServiceCMD& command;
    UINT64 reference;  ///< for the cancel test
    Here here = {};
};

inline void printCancelled(const Reading& reading, const char* parser)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [--%s] Canceled", reading.here.function, reading.here.line,
                              parser);
}

inline void printLine(const Here& here, const char* text)
{
    CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] %s", here.function, here.line, text);
}

/// Does nothing: a tree is the result of parsing the whole reply.
inline void requireJson(const Json::Value& /*array*/, Json::ArrayIndex /*first*/) {}

/// Parses and drops the remaining elements after a cancel: a reply that is not JSON ends with that status, whether it
/// is read in pieces or as a whole. Takes no more memory than reading the elements.
/// @throws std::exception if an element from `first` on is not JSON
inline void requireJson(const Pieces& pieces, Json::ArrayIndex first)
{
    for (Json::ArrayIndex index = first; index < pieces.size(); ++index) {
        static_cast<void>(pieces[index]);
    }
}

/// Calls `each` for every element, after a cancel test.
/// @return false if the request was cancelled
template <class Array, class Each>
bool walk(const Array& array, const Reading& reading, Each each)
{
    for (Json::ArrayIndex index = 0, count = array.size(); index < count; ++index) {
        if (reading.command.isCancelled(reading.reference)) {
            requireJson(array, index);
            return false;
        }
        each(array[index]);
    }
    return true;
}

/// Moves a list into a container through the virtual operations, because a caller may derive a container.
template <class Record>
void handOver(std::list<Record>&& list, WContainer<Record>& container)
{
    container.setCount(static_cast<std::int32_t>(list.size()));
    container.data() = std::move(list);
}

/// Reads an array into a list, to which `each(element, list)` appends.
/// @return 0; the rules' status for an empty array; 600 with the list emptied
template <class Array, class Record, class Each>
WSTATUS appendList(const Array& array, const ListRules& rules, const Reading& reading, std::list<Record>& list,
                   WContainer<Record>& out, Each each)
{
    if (!hasElements(array) && rules.emptyLine != nullptr) {
        printLine(reading.here, rules.emptyLine);
        if (rules.emptyStatus != status::kOk) {
            return rules.emptyStatus;
        }
    }
    if (walk(array, reading, [&](const Json::Value& element) { each(element, list); })) {
        return status::kOk;
    }
    list.clear();
    if (rules.printsCancelFirst) {
        printCancelled(reading, rules.parser);
    }
    out.clear();
    if (!rules.printsCancelFirst) {
        printCancelled(reading, rules.parser);
    }
    return status::kCancelled;
}

/// Reads an array into a container.
template <class Array, class Record, class Each>
WSTATUS readList(const Array& array, const ListRules& rules, const Reading& reading, WContainer<Record>& out, Each each)
{
    std::list<Record> list;
    const WSTATUS result = appendList(array, rules, reading, list, out, each);
    if (result == status::kOk) {
        handOver(std::move(list), out);
    }
    return result;
}

/// Reads a reply that consists of one array in the envelope into one container.
template <class Record, class Each>
WSTATUS readListReply(const std::string& body, std::string_view key, const ListRules& rules, const Reading& reading,
                      WContainer<Record>& out, Each each)
{
    try {
        if (const Pieces pieces(body, key); hasElements(pieces) && reportsSuccess(member(pieces.frame(), "rsp"))) {
            return readList(pieces, rules, reading, out, each);
        }
    } catch (const std::exception&) {
        // Reading it as a whole reports what is wrong.
    }
    ReplyRules replyRules;
    replyRules.statusOfException = rules.statusOfException;
    return readReplyOrUndo(
        body, [&](const Json::Value& rsp) { return readList(member(rsp, key), rules, reading, out, each); },
        [&out] { out.clear(); }, replyRules, reading.here);
}

}  // namespace W::vorel
