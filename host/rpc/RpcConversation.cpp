// The conversation. Everything is written under one lock, so that a request's "accepted" stands before its result even
// where the callback was quicker than the operation's return.
#include "RpcConversation.h"

#include <fmt/format.h>

#include <algorithm>
#include <istream>
#include <utility>

namespace W::host {

namespace {

// Codes of JSON-RPC 2.0; the last one is ours.
constexpr int kNotJson = -32700;
constexpr int kNoRequest = -32600;
constexpr int kNoMethod = -32601;
constexpr int kBadParameters = -32602;
constexpr int kOutstanding = -32000;

}  // namespace

/// Lives from its line to its answer.
class RpcServer::Call final : public RpcCall {
public:
    Call(RpcServer& server, Json id) : m_server(server), m_id(std::move(id)) {}

    void complete(int status, Json results, UINT64 reference) override
    {
        Json result{{"return", nullptr},
                    {"requestID", nullptr},
                    {"reference", reference},
                    {"status", status},
                    {"results", std::move(results)}};
        const std::lock_guard<std::mutex> lock(m_server.m_lock);
        if (m_server.m_bOver || m_result)
            return;
        m_result = std::move(result);
        if (m_bAccepted)
            m_server.finish(*this);
    }

    RpcServer& m_server;
    const Json m_id;
    Calls::iterator m_place;
    // REQUIRES: the server's lock
    bool m_bAccepted = false;
    int m_iReturn = 0;
    std::optional<Json> m_result;
};

RpcServer::RpcServer(std::function<void(const std::string&)> put) : m_put(std::move(put)) {}

RpcServer::~RpcServer() = default;

void RpcServer::answer(const Json& id, const char* kind, const Json& content)
{
    m_put(toLine({{"jsonrpc", "2.0"}, {"id", id}, {kind, content}}));
}

void RpcServer::fail(const Json& id, int code, const std::string& message)
{
    const std::lock_guard<std::mutex> lock(m_lock);
    answer(id, "error", {{"code", code}, {"message", message}});
}

void RpcServer::finish(Call& call)
{
    Json& result = *call.m_result;
    result["return"] = call.m_iReturn;
    if (call.out().requestID())
        result["requestID"] = *call.out().requestID();
    answer(call.m_id, "result", result);
    m_outstanding.erase(call.m_place);
    m_somethingFinished.notify_all();
}

void RpcServer::start(WCorvaneOAI& plugin, const RpcOperation& operation, const Json& id, const Json& parameters)
{
    Call* call = nullptr;
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        const auto place = m_outstanding.insert(m_outstanding.end(), std::make_unique<Call>(*this, id));
        call = place->get();
        call->m_place = place;
    }
    RpcReturn returned;
    try {
        returned = runOperation(operation, plugin, parameters, *call);
    } catch (const RpcParameterError& error) {
        const std::lock_guard<std::mutex> lock(m_lock);
        answer(id, "error", {{"code", kBadParameters}, {"message", error.what()}});
        m_outstanding.erase(call->m_place);
        return;
    }
    const std::lock_guard<std::mutex> lock(m_lock);
    if (returned.result) {
        answer(id, "result", *returned.result);
        m_outstanding.erase(call->m_place);
        return;
    }
    Json result{{"return", returned.value}};
    call->out().writeTo(result);
    if (returned.value < 0) {
        answer(id, "result", result);
        m_outstanding.erase(call->m_place);
        return;
    }
    Json accepted{{"id", id}};
    accepted.update(result);
    m_put(toLine({{"jsonrpc", "2.0"}, {"method", "accepted"}, {"params", accepted}}));
    call->m_bAccepted = true;
    call->m_iReturn = returned.value;
    if (call->m_result)
        finish(*call);
}

void RpcServer::waitFor(const Json& id, const Json& parameters)
{
    if (!parameters.is_array() || parameters.size() > 1) {
        fail(id, kBadParameters, "wait: takes no parameter, or the id of a request");
        return;
    }
    std::unique_lock<std::mutex> lock(m_lock);
    m_somethingFinished.wait(lock, [&] {
        return std::none_of(m_outstanding.begin(), m_outstanding.end(),
                            [&](const auto& call) { return parameters.empty() || call->m_id == parameters[0]; });
    });
    answer(id, "result", {{"return", 0}});
}

void RpcServer::handle(WCorvaneOAI& plugin, const std::string& line)
{
    const Json request = Json::parse(line, nullptr, false);
    if (request.is_discarded())
        return fail(nullptr, kNotJson, "the line is not JSON");
    if (!request.is_object())
        return fail(nullptr, kNoRequest, "a request is an object with \"id\", \"method\" and \"params\"");
    const Json id = request.value("id", Json());
    if (!id.is_null() && !id.is_string() && !id.is_number())
        return fail(nullptr, kNoRequest, "\"id\" has to be a text or a number");
    const Json method = request.value("method", Json());
    if (!method.is_string())
        return fail(id, kNoRequest, "\"method\" has to be the name of an operation");
    const Json parameters = request.value("params", Json::array());
    const auto& name = method.get_ref<const std::string&>();
    if (name == "wait")
        return waitFor(id, parameters);
    const auto& operations = rpcOperations();
    const auto operation = std::find_if(operations.begin(), operations.end(),
                                        [&name](const RpcOperation& row) { return row.name == name; });
    if (operation == operations.end())
        return fail(id, kNoMethod, fmt::format("there is no operation \"{}\"", name));
    start(plugin, *operation, id, parameters);
}

void RpcServer::serve(WCorvaneOAI& plugin, std::istream& lines, std::chrono::milliseconds patience)
{
    for (std::string line; std::getline(lines, line);)
        handle(plugin, line);
    std::unique_lock<std::mutex> lock(m_lock);
    m_somethingFinished.wait_for(lock, patience, [&] { return m_outstanding.empty(); });
}

void RpcServer::giveUp()
{
    const std::lock_guard<std::mutex> lock(m_lock);
    m_bOver = true;
    for (const auto& call : m_outstanding)
        answer(call->m_id, "error",
               {{"code", kOutstanding}, {"message", "no result came before the plug-in object was destroyed"}});
}

}  // namespace W::host
