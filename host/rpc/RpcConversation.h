// JSON-RPC 2.0 conversations (jsonrpc.org) about the operations of a plug-in, independent of how messages travel:
// `corvane rpc` carries them as lines (RpcLines.h), `corvane web` as WebSocket messages.
//
// One RpcDispatcher serves any number of RpcConversations, one per connection. Take a message from the client, give it
// to handle(), and send what the callback gives:
//
//     RpcDispatcher dispatcher(plugin);
//     RpcConversation conversation(dispatcher, [&](const std::string& message) { connection.send(message); });
//     conversation.handle(received);
//
// A request for an operation that the plug-in accepts gets two messages: first the notification "accepted" with the
// reference that cancel() takes, then the response with the results. Other requests get their response only; requests
// without an id (notifications) get neither. handle() does not wait for results. The operations that read or write
// local files can be excluded with RpcAccess.
//
// Two methods are not operations. "wait" answers when the conversation's earlier requests, or the one whose id is
// given, have been answered. "rpc.discover" answers the OpenRPC document (RpcDiscovery.h). Read next: RpcOperations.h
// for the operations.
#pragma once

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "RpcOperations.h"

namespace W::host {

/// Bytes of the longest message that is read.
inline constexpr std::size_t kMostRpcMessage = std::size_t{16} << 20;

/// Levels of the deepest message that is read.
inline constexpr int kMostRpcLevels = 64;

/// Runs operations for conversations and owns the calls whose results are outstanding.
class RpcDispatcher {
public:
    /// Called for each operation that is refused or ends with a status below 0, before the client gets the response; on
    /// the thread that called handle() or the executor's.
    using FailureObserver = std::function<void(std::string_view operation, int status)>;

    /// @param plugin  owned by the caller; must be destroyed before the dispatcher, which receives its callbacks
    explicit RpcDispatcher(WCorvaneOAI& plugin, RpcAccess access = RpcAccess::All, FailureObserver observer = {});
    ~RpcDispatcher();
    RpcDispatcher(const RpcDispatcher&) = delete;
    RpcDispatcher& operator=(const RpcDispatcher&) = delete;

private:
    friend class RpcConversation;
    class PendingCall;
    using PendingCalls = std::list<std::unique_ptr<PendingCall>>;

    void observe(const RpcOperation& operation, int status) const;

    WCorvaneOAI& m_plugin;
    const RpcAccess m_access;
    const FailureObserver m_observer;
    std::mutex m_lock;  ///< guards the list; taken last
    PendingCalls m_calls;
};

/// One client's conversation.
class RpcConversation {
public:
    /// Sends one message, a JSON document without line breaks, to the client. Calls never overlap; they come from the
    /// thread that called handle() and from the executor's. It must not block for long and must not call the
    /// conversation.
    using Send = std::function<void(const std::string& message)>;

    RpcConversation(RpcDispatcher& dispatcher, Send send);
    /// Cancels the outstanding requests, unless abandon() was called. Nothing is sent after this.
    ~RpcConversation();
    RpcConversation(const RpcConversation&) = delete;
    RpcConversation& operator=(const RpcConversation&) = delete;

    /// Carries out a request, a notification or a batch. Anything else gets an error.
    /// @param message  JSON; one of more than kMostRpcMessage bytes is answered as by refuseOversized()
    /// Must not be called by two threads at the same time.
    void handle(std::string_view message);

    /// Answers a message that is too long, so that the connection has not read all of it.
    void refuseOversized();

    /// Waits until all "wait" requests are answered. A client that sends line after line expects the lines after a
    /// "wait" to be carried out afterwards.
    void finishWaits();

    /// Waits until every request is answered, at most as long as given.
    void finishAll(std::chrono::milliseconds patience);

    /// Answers outstanding requests with an error and sends nothing after that. Call it after the plug-in object is
    /// destroyed, when its callbacks can no longer come.
    void abandon();

private:
    friend class RpcDispatcher;
    struct State;
    struct Reply;

    void handleOne(const Json& request, Reply reply);
    void start(const RpcOperation& operation, const Json& parameters, const Reply& reply);
    void wait(const Json& parameters, const Reply& reply);

    RpcDispatcher& m_dispatcher;
    std::shared_ptr<State> m_state;
};

}  // namespace W::host
