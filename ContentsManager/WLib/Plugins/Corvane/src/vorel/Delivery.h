// How a reply reaches a callback: the frame of every completion (deliver), and the forms that several share.
// The completions are in WVorelOAIReplies.cpp.
#pragma once

#include <cassert>
#include <exception>
#include <string>

#include "DebugPrint.h"
#include "Status.h"
#include "VorelCommand.h"
#include "VorelService.h"
#include "WVorelOAI.h"

namespace W::vorel {

/// A finished exchange, and the handler that was called for it.
struct FinishedExchange {
    FinishedExchange(SESSION_STATUS sessionStatus, const HttpResponse& httpResponse, UINT64 requestReference,
                     const char* leavingName = nullptr, Here handler = {})
        : session(sessionStatus),
          response(httpResponse),
          reference(requestReference),
          here(handler),
          leaving(leavingName != nullptr ? leavingName : handler.function)
    {}

    SESSION_STATUS session;
    const HttpResponse& response;
    UINT64 reference;
    Here here;
    const char* leaving;  ///< the handler's name in the lines about cancelling and exit
};

template <class Record>
void clearContainer(WContainer<Record>& container)
{
    container.clear();
}

template <class Result>
void clearContainer(const Result& /*result*/)
{
    // Maps, records and scalars keep what they hold.
}

/// Delivers a reply: status, results, callback. The exchange decides whether the body is parsed, not the status: some
/// failures map to status 0.
/// @param parse    called with the body of a good exchange; returns the status, and fills the results
/// @param results  the callback's arguments between the status and the reference
template <class Command, class Parse, class... Results>
UINT64 deliver(const FinishedExchange& exchange, Command* command, Parse parse, Results&... results)
{
    assert(command->owner() != nullptr && "pOAI != __null");
    if (command->owner() == nullptr || command->owner()->service() == nullptr) {
        return exchange.reference;
    }
    VorelService& service = *command->owner()->service();
    const HttpResponse& response = exchange.response;
    const Here here = exchange.here;

    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] [++ WVorelOAI::%s]", here.function, here.line,
                              here.function);
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] %s\n", here.function, here.line,
                              response.getPayload().c_str());
    WSTATUS result = status::kOk;
    if (exchange.session != session::kCompleted) {
        result = hostStatus(exchange.session);
    } else if (!isHttpOk(response.getHttpResponseCode())) {
        result = hostStatus(statusOfHttp(response.getHttpResponseCode()));
    } else {
        try {
            result = parse(response.getPayload());
        } catch (const std::exception& exception) {
            reportException(exception, here);
            result = failed(status::kUnreadableReply, kObjectFile, here);
            (clearContainer(results), ...);
        }
    }

    if (const auto done = command->callback()) {
        if (service.isCancelledFirst(exchange.reference)) {
            CCDebug::Print<CWCCDebug>(kTraceLevel, kPlain, "[%s:%d] [--WVorelOAI::%s] Canceled", here.function,
                                      here.line, exchange.leaving);
            result = status::kCancelled;
        }
        callBack(here, [&] { done(result, results..., exchange.reference, command->userData()); });
    }
    // The callback may have destroyed the plug-in object: only local variables are used from here on.
    CCDebug::Print<CWCCDebug>(kTraceLevel, kEntryExit, "[%s:%d] [-- WVorelOAI::%s]", here.function, here.line,
                              exchange.leaving);
    return exchange.reference;
}

/// An acknowledgement: the callback gets no results.
template <class Command>
UINT64 deliverAcknowledgement(const FinishedExchange& exchange, Command* command,
                              int (Command::*parse)(const std::string&))
{
    return deliver(exchange, command, [=](const std::string& body) { return (command->*parse)(body); });
}

/// One record, filled by a parser of the body alone.
template <class Record, class Command>
UINT64 deliverRecord(const FinishedExchange& exchange, Command* command,
                     int (Command::*parse)(const std::string&, Record&))
{
    Record record;
    return deliver(
        exchange, command, [&](const std::string& body) { return (command->*parse)(body, record); }, record);
}

/// One container, filled by a parser with a cancel test.
template <class Record, class Command>
UINT64 deliverList(const FinishedExchange& exchange, Command* command,
                   int (Command::*parse)(const std::string&, WContainer<Record>&, UINT64))
{
    WContainer<Record> list;
    return deliver(
        exchange, command, [&](const std::string& body) { return (command->*parse)(body, list, exchange.reference); },
        list);
}

/// Programmes with start times, filled by a parser that takes the server's time difference before the container.
template <class Command>
UINT64 deliverContents(const FinishedExchange& exchange, Command* command,
                       int (Command::*parse)(const std::string&, WDateTime, WContainer<WVLContent>&, UINT64))
{
    WContainer<WVLContent> contents;
    return deliver(
        exchange, command,
        [&](const std::string& body) {
            return (command->*parse)(body, command->owner()->serverTimeDifference(), contents, exchange.reference);
        },
        contents);
}

/// The same for a parser that takes it after the container.
template <class Command>
UINT64 deliverContents(const FinishedExchange& exchange, Command* command,
                       int (Command::*parse)(const std::string&, WContainer<WVLContent>&, WDateTime, UINT64))
{
    WContainer<WVLContent> contents;
    return deliver(
        exchange, command,
        [&](const std::string& body) {
            return (command->*parse)(body, contents, command->owner()->serverTimeDifference(), exchange.reference);
        },
        contents);
}

}  // namespace W::vorel
