// Each conversation sends under its lock, so that a request's "accepted" precedes its result even if the callback is
// called before the operation returns.
#include "RpcConversation.h"

#include <algorithm>
#include <condition_variable>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "RpcDiscovery.h"

namespace W::host {

namespace {

// Error codes of JSON-RPC 2.0; the last one is in the range for servers.
constexpr int kParseError = -32700;
constexpr int kInvalidRequest = -32600;
constexpr int kMethodNotFound = -32601;
constexpr int kInvalidParameters = -32602;
constexpr int kInternalError = -32603;
constexpr int kOutstanding = -32000;

constexpr const char* kShape = R"(write {"jsonrpc":"2.0","id":1,"method":"getLocalTime","params":[]})";

/// Collects the responses of a batch until it is complete.
struct RpcBatch {
    Json responses = Json::array();
    std::size_t open = 0;
};

}  // namespace

/// The destination of the response to one request.
struct RpcConversation::Reply {
    std::optional<Json> id;           ///< absent for a notification, which gets no response
    std::shared_ptr<RpcBatch> batch;  ///< null for a single request
};

/// The part of a conversation that callbacks use. They may come after the conversation is destroyed.
struct RpcConversation::State {
    explicit State(Send function) : send(std::move(function)) {}

    // REQUIRES: lock held
    void put(const Json& message)
    {
        if (send) {
            send(toLine(message));
        }
    }

    /// Ends one request of a batch.  REQUIRES: lock held
    void settle(const std::shared_ptr<RpcBatch>& batch)
    {
        if (batch && --batch->open == 0 && !batch->responses.empty()) {
            put(batch->responses);
        }
    }

    /// @param kind  "result" or "error"
    /// REQUIRES: lock held
    void respond(const Reply& reply, const char* kind, Json content)
    {
        if (reply.id) {
            Json response{{"jsonrpc", "2.0"}, {"id", *reply.id}, {kind, std::move(content)}};
            if (reply.batch) {
                reply.batch->responses.push_back(std::move(response));
            } else {
                put(response);
            }
        }
        settle(reply.batch);
    }

    void fail(const Reply& reply, int code, const std::string& message)
    {
        const std::lock_guard<std::mutex> hold(lock);
        respond(reply, "error", {{"code", code}, {"message", message}});
    }

    /// Removes a call from the outstanding ones, and answers the "wait" requests that waited only for it. REQUIRES:
    /// lock held
    void forget(const RpcDispatcher::PendingCall* call)
    {
        calls.erase(std::remove(calls.begin(), calls.end(), call), calls.end());
        for (auto next = waits.begin(); next != waits.end();) {
            const auto wait = next++;
            auto& open = wait->open;
            open.erase(std::remove(open.begin(), open.end(), call), open.end());
            if (open.empty()) {
                respond(wait->reply, "result", {{"return", 0}});
                waits.erase(wait);
            }
        }
        changed.notify_all();
    }

    struct Wait {
        Reply reply;
        std::vector<RpcDispatcher::PendingCall*> open;  ///< calls that have not ended yet
    };

    std::mutex lock;
    std::condition_variable changed;
    Send send;  ///< empty once the conversation is over
    std::vector<RpcDispatcher::PendingCall*> calls;
    std::list<Wait> waits;
    bool abandoned = false;
};

/// One call of an operation, from its request to its response.
class RpcDispatcher::PendingCall final : public RpcCall {
public:
    PendingCall(RpcDispatcher& dispatcher, const RpcOperation& operation, std::shared_ptr<RpcConversation::State> state,
                RpcConversation::Reply reply)
        : m_dispatcher(dispatcher), m_operation(operation), m_state(std::move(state)), m_reply(std::move(reply))
    {}

    /// Puts a new call on both lists.
    static PendingCall& add(RpcDispatcher& dispatcher, const RpcOperation& operation,
                            const std::shared_ptr<RpcConversation::State>& state, const RpcConversation::Reply& reply)
    {
        auto made = std::make_unique<PendingCall>(dispatcher, operation, state, reply);
        PendingCall& call = *made;
        const std::lock_guard<std::mutex> hold(state->lock);
        state->calls.push_back(&call);
        const std::lock_guard<std::mutex> holdCalls(dispatcher.m_lock);
        call.m_place = dispatcher.m_calls.insert(dispatcher.m_calls.end(), std::move(made));
        return call;
    }

    void complete(int status, Json results, UINT64 reference) override
    {
        m_dispatcher.observe(m_operation, status);
        const std::shared_ptr<RpcConversation::State> state = m_state;  // outlives this call
        Json result{{"return", nullptr},
                    {"requestID", nullptr},
                    {"reference", reference},
                    {"status", status},
                    {"results", std::move(results)}};
        const std::lock_guard<std::mutex> hold(state->lock);
        if (m_result) {
            return;
        }
        m_result = std::move(result);
        if (m_accepted) {
            finish();
        }
    }

    /// The operation has accepted the request.  REQUIRES: the state's lock held
    void accept(int returned)
    {
        m_accepted = true;
        m_return = returned;
        if (m_result) {
            finish();
        }
    }

    /// Responds and ends the call.  REQUIRES: the state's lock held; destroys the call
    void respond(const char* kind, Json content)
    {
        m_state->respond(m_reply, kind, std::move(content));
        m_state->forget(this);
        remove();
    }

    /// Responds, and keeps the call, since its callback may still come.  REQUIRES: the state's lock held
    void respondAndKeep(const char* kind, Json content)
    {
        m_state->respond(m_reply, kind, std::move(content));
        m_state->forget(this);
        m_result.emplace();
    }

    const std::optional<Json>& id() const { return m_reply.id; }
    bool isAccepted() const { return m_accepted; }

private:
    void finish()
    {
        Json& result = *m_result;
        result["return"] = m_return;
        if (out().requestID()) {
            result["requestID"] = *out().requestID();
        }
        respond("result", std::move(result));
    }

    void remove()
    {
        PendingCalls self;  // destroyed after the lock is released
        const std::lock_guard<std::mutex> hold(m_dispatcher.m_lock);
        self.splice(self.end(), m_dispatcher.m_calls, m_place);
    }

    RpcDispatcher& m_dispatcher;
    const RpcOperation& m_operation;
    const std::shared_ptr<RpcConversation::State> m_state;
    const RpcConversation::Reply m_reply;
    PendingCalls::iterator m_place;
    // REQUIRES: the state's lock
    bool m_accepted = false;
    int m_return = 0;
    std::optional<Json> m_result;
};

RpcDispatcher::RpcDispatcher(WCorvaneOAI& plugin, RpcAccess access, FailureObserver observer)
    : m_plugin(plugin), m_access(access), m_observer(std::move(observer))
{}

void RpcDispatcher::observe(const RpcOperation& operation, int status) const
{
    if (status < 0 && m_observer) {
        m_observer(operation.name, status);
    }
}

RpcDispatcher::~RpcDispatcher() = default;

RpcConversation::RpcConversation(RpcDispatcher& dispatcher, Send send)
    : m_dispatcher(dispatcher), m_state(std::make_shared<State>(std::move(send)))
{}

RpcConversation::~RpcConversation()
{
    std::vector<UINT64> references;
    {
        const std::lock_guard<std::mutex> hold(m_state->lock);
        m_state->send = nullptr;
        if (m_state->abandoned) {
            return;
        }
        for (const RpcDispatcher::PendingCall* const call : m_state->calls) {
            if (call->out().reference()) {
                references.push_back(*call->out().reference());
            }
        }
    }
    WCorvaneOAI& plugin = m_dispatcher.m_plugin;
    for (const UINT64 reference : references) {
        plugin.cancel(plugin.getContentProvider(), reference);
    }
}

void RpcConversation::start(const RpcOperation& operation, const Json& parameters, const Reply& reply)
{
    RpcDispatcher::PendingCall& call = RpcDispatcher::PendingCall::add(m_dispatcher, operation, m_state, reply);
    RpcReturn returned;
    try {
        returned = runOperation(operation, m_dispatcher.m_plugin, parameters, call);
    } catch (const RpcParameterError& error) {
        const std::lock_guard<std::mutex> hold(m_state->lock);
        call.respond("error", {{"code", kInvalidParameters}, {"message", error.what()}});
        return;
    } catch (const std::exception& error) {
        const std::lock_guard<std::mutex> hold(m_state->lock);
        call.respondAndKeep("error", {{"code", kInternalError},
                                      {"message", fmt::format("{} failed: {}", operation.name, error.what())}});
        return;
    }
    if (!returned.result) {
        m_dispatcher.observe(operation, returned.value);
    }
    const std::lock_guard<std::mutex> hold(m_state->lock);
    if (returned.result) {
        call.respond("result", std::move(*returned.result));
        return;
    }
    Json result{{"return", returned.value}};
    call.out().writeTo(result);
    if (returned.value < 0) {
        call.respond("result", std::move(result));
        return;
    }
    if (reply.id) {
        Json accepted{{"id", *reply.id}};
        accepted.update(result);
        m_state->put({{"jsonrpc", "2.0"}, {"method", "accepted"}, {"params", std::move(accepted)}});
    }
    call.accept(returned.value);
}

void RpcConversation::wait(const Json& parameters, const Reply& reply)
{
    if (!parameters.is_array() || parameters.size() > 1) {
        m_state->fail(reply, kInvalidParameters, "wait takes no parameter, or the id of a request");
        return;
    }
    const std::lock_guard<std::mutex> hold(m_state->lock);
    std::vector<RpcDispatcher::PendingCall*> open;
    std::copy_if(m_state->calls.begin(), m_state->calls.end(), std::back_inserter(open),
                 [&](const auto* call) { return parameters.empty() || (call->id() && *call->id() == parameters[0]); });
    if (open.empty()) {
        m_state->respond(reply, "result", {{"return", 0}});
    } else {
        m_state->waits.push_back({reply, std::move(open)});
    }
}

void RpcConversation::handleOne(const Json& request, Reply reply)
{
    reply.id = Json();
    if (!request.is_object()) {
        return m_state->fail(reply, kInvalidRequest, fmt::format("a request is an object; {}", kShape));
    }
    const auto id = request.find("id");
    if (id != request.end() && !id->is_null() && !id->is_string() && !id->is_number()) {
        return m_state->fail(reply, kInvalidRequest, "\"id\" must be a string, a number or null");
    }
    if (id != request.end()) {
        reply.id = *id;
    }
    const auto version = request.find("jsonrpc");
    if (version == request.end() || *version != "2.0") {
        return m_state->fail(reply, kInvalidRequest, fmt::format("\"jsonrpc\" must be \"2.0\"; {}", kShape));
    }
    const auto method = request.find("method");
    if (method == request.end() || !method->is_string()) {
        return m_state->fail(reply, kInvalidRequest, "\"method\" must be the name of an operation");
    }
    static const Json s_none = Json::array();
    const auto given = request.find("params");
    const Json& parameters = given == request.end() ? s_none : *given;
    if (!parameters.is_structured()) {
        return m_state->fail(reply, kInvalidRequest, "\"params\" must be an array");
    }
    if (id == request.end()) {
        reply.id.reset();
    }
    const auto& name = method->get_ref<const std::string&>();
    if (name == "wait") {
        return wait(parameters, reply);
    }
    if (name == "rpc.discover") {
        const Json document = openRpcDocument(m_dispatcher.m_access);
        const std::lock_guard<std::mutex> hold(m_state->lock);
        return m_state->respond(reply, "result", document);
    }
    const auto& operations = rpcOperations();
    const auto operation = std::find_if(operations.begin(), operations.end(),
                                        [&name](const RpcOperation& row) { return row.name == name; });
    if (operation == operations.end()) {
        return m_state->fail(reply, kMethodNotFound,
                             fmt::format("there is no operation \"{}\"; rpc.discover lists them", name));
    }
    if (!isOffered(*operation, m_dispatcher.m_access)) {
        return m_state->fail(reply, kMethodNotFound,
                             fmt::format("{} uses files of the host and is not available here", name));
    }
    start(*operation, parameters, reply);
}

void RpcConversation::handle(std::string_view message)
{
    if (message.size() > kMostRpcMessage) {
        return refuseOversized();
    }
    bool tooDeep = false;
    const auto keep = [&tooDeep](int depth, Json::parse_event_t event, Json& /*value*/) {
        const bool opens = event == Json::parse_event_t::array_start || event == Json::parse_event_t::object_start;
        tooDeep = tooDeep || (opens && depth >= kMostRpcLevels);
        return !tooDeep;
    };
    const Json json = Json::parse(message.begin(), message.end(), keep, false);
    if (tooDeep) {
        return m_state->fail({Json(), nullptr}, kParseError,
                             fmt::format("the message has more than {} levels", kMostRpcLevels));
    }
    if (json.is_discarded()) {
        return m_state->fail({Json(), nullptr}, kParseError, "the message is not JSON");
    }
    if (!json.is_array()) {
        return handleOne(json, {});
    }
    if (json.empty()) {
        return m_state->fail({Json(), nullptr}, kInvalidRequest, "the batch is empty");
    }
    const auto batch = std::make_shared<RpcBatch>();
    batch->open = json.size() + 1;
    for (const Json& request : json) {
        handleOne(request, {std::nullopt, batch});
    }
    const std::lock_guard<std::mutex> hold(m_state->lock);
    m_state->settle(batch);
}

void RpcConversation::refuseOversized()
{
    m_state->fail({Json(), nullptr}, kParseError,
                  fmt::format("the message is longer than {} MiB", kMostRpcMessage >> 20));
}

void RpcConversation::finishWaits()
{
    std::unique_lock<std::mutex> hold(m_state->lock);
    m_state->changed.wait(hold, [this] { return m_state->waits.empty(); });
}

void RpcConversation::finishAll(std::chrono::milliseconds patience)
{
    std::unique_lock<std::mutex> hold(m_state->lock);
    m_state->changed.wait_for(hold, patience, [this] { return m_state->calls.empty(); });
}

void RpcConversation::abandon()
{
    const std::lock_guard<std::mutex> hold(m_state->lock);
    m_state->abandoned = true;
    while (!m_state->calls.empty()) {
        m_state->calls.front()->respondAndKeep(
            "error", {{"code", kOutstanding}, {"message", "the plug-in object was destroyed before the result came"}});
    }
    m_state->send = nullptr;
}

}  // namespace W::host
