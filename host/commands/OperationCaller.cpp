#include "OperationCaller.h"

#include <stdexcept>
#include <utility>

#include "ServiceProblem.h"

namespace W::host {

namespace {

constexpr HTTP_RESPONSE_CODE kBadRequest = 400;
constexpr HTTP_RESPONSE_CODE kNotFound = 404;

}  // namespace

OperationCaller::OperationCaller(Runtime& runtime, std::chrono::milliseconds patience)
    : m_runtime(runtime),
      m_patience(patience),
      m_dispatcher(runtime.plugin()),
      m_conversation(m_dispatcher, [this](const std::string& message) { receive(message); })
{}

void OperationCaller::receive(const std::string& message)
{
    Json json = Json::parse(message);
    const std::lock_guard<std::mutex> lock(m_lock);
    if (json.contains("method")) {
        m_reference = json["params"]["reference"].get<UINT64>();
        return;
    }
    m_response = std::move(json);
    m_arrived.notify_all();
}

Json OperationCaller::response(std::string_view method, const Json& parameters)
{
    const Json request{{"jsonrpc", "2.0"}, {"id", ++m_id}, {"method", method}, {"params", parameters}};
    {
        const std::lock_guard<std::mutex> lock(m_lock);
        m_reference.reset();
        m_response.reset();
    }
    m_conversation.handle(toLine(request));
    std::unique_lock<std::mutex> lock(m_lock);
    const auto hasArrived = [this] { return m_response.has_value(); };
    if (!m_arrived.wait_for(lock, m_patience, hasArrived)) {
        const UINT64 reference = m_reference.value_or(0);
        lock.unlock();
        WCorvaneOAI& plugin = m_runtime.plugin();
        plugin.cancel(plugin.getContentProvider(), reference);
        lock.lock();
        // The executor cancels the request or times it out, so the response comes.
        m_arrived.wait(lock, hasArrived);
    }
    return std::move(*m_response);
}

OperationCaller::Attempt OperationCaller::attempt(std::string_view operation, const Json& parameters)
{
    static_cast<void>(m_runtime.failures().take());
    Json answer = response(operation, parameters);
    if (answer.contains("error")) {
        throw std::runtime_error(answer["error"]["message"].get<std::string>());
    }
    Json& result = answer["result"];
    const int returned = result["return"].get<int>();
    const int status = returned < 0 ? returned : result["status"].get<int>();
    return {std::move(result["results"]), status, m_runtime.failures().take()};
}

Json OperationCaller::call(std::string_view step, std::string_view operation, const Json& parameters,
                           const std::optional<UnknownThing>& unknown)
{
    Attempt made = attempt(operation, parameters);
    if (made.isGood()) {
        return std::move(made.results);
    }
    // A service answers an identifier that it cannot have issued with 400 instead of 404.
    if (unknown && (made.failure.httpCode == kNotFound || made.failure.httpCode == kBadRequest)) {
        throw ServiceProblem(unknown->what, unknown->hint);
    }
    throw describe(step, made.status, made.failure, m_runtime.configuration());
}

std::optional<Json> OperationCaller::callIfKnown(std::string_view step, std::string_view operation,
                                                 const Json& parameters)
{
    Attempt made = attempt(operation, parameters);
    if (made.isGood()) {
        return std::move(made.results);
    }
    if (made.failure.httpCode == kNotFound) {
        return std::nullopt;
    }
    throw describe(step, made.status, made.failure, m_runtime.configuration());
}

}  // namespace W::host
