// Operations of the plug-in, called by name as in JSON-RPC, one after the other. Commands get the same JSON as clients
// of `corvane rpc`.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "RpcConversation.h"
#include "Runtime.h"

namespace W::host {

/// Describes the object of an operation for the case that it does not exist.
struct UnknownThing {
    std::string what;  ///< as in "there is no programme 12"
    std::string hint;
};

class OperationCaller {
public:
    /// @param runtime   outlives it
    /// @param patience  how long to wait for each result
    OperationCaller(Runtime& runtime, std::chrono::milliseconds patience);

    /// The response: an object with "result" or "error", as JSON-RPC clients get it. A request that takes too long is
    /// cancelled.
    Json response(std::string_view method, const Json& parameters);

    /// The results of an operation. The status for an empty list counts as a success.
    /// @param step  what is tried, as in "search the guide"
    /// @throws ServiceProblem  with `unknown` if the service does not have what was asked for
    Json call(std::string_view step, std::string_view operation, const Json& parameters,
              const std::optional<UnknownThing>& unknown = std::nullopt);

    /// As call(), but returns nothing if the service does not have what was asked for.
    std::optional<Json> callIfKnown(std::string_view step, std::string_view operation, const Json& parameters);

private:
    struct Attempt {
        Json results;
        int status;
        ServiceFailure failure;

        bool isGood() const { return status == status::kOk || status == status::kEmptyList; }
    };
    Attempt attempt(std::string_view operation, const Json& parameters);
    void receive(const std::string& message);

    Runtime& m_runtime;
    std::chrono::milliseconds m_patience;
    RpcDispatcher m_dispatcher;
    RpcConversation m_conversation;
    int m_id = 0;
    std::mutex m_lock;  ///< guards what follows
    std::condition_variable m_arrived;
    std::optional<UINT64> m_reference;
    std::optional<Json> m_response;
};

}  // namespace W::host
