// The operations that `corvane rpc` offers: one row per operation of WCorvaneOAI. Most rows follow from
// the operation's type. Read next: RpcOperations.cpp for the table, RpcConversation.h for the conversation.
#pragma once

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "RecordJson.h"
#include "WCorvaneOAI.h"
#include "WRequestStatus.h"

namespace W::host {

/// Records which fields an operation wrote to its status record.
class WatchedStatus final : public WRequestStatus {
public:
    void setRequestID(unsigned int kind) override { m_requestID = kind; }
    void setReqRefernce(UINT64 reference) override { m_reference = reference; }
    void setWStatus(WSTATUS status) override { m_status = status; }

    /// Adds "requestID", "reference" and "status", null if not written.
    void writeTo(Json& json) const;
    const std::optional<unsigned int>& requestID() const { return m_requestID; }
    const std::optional<UINT64>& reference() const { return m_reference; }

private:
    std::optional<unsigned int> m_requestID;
    std::optional<UINT64> m_reference;
    std::optional<WSTATUS> m_status;
};

/// An outstanding call. Operations get it as their user data.
class RpcCall {
public:
    virtual ~RpcCall() = default;
    RpcCall() = default;
    RpcCall(const RpcCall&) = delete;
    RpcCall& operator=(const RpcCall&) = delete;

    /// Takes the callback's arguments.  [executor thread, possibly before the operation has returned]
    virtual void complete(int status, Json results, UINT64 reference) = 0;

    WatchedStatus& out() { return m_out; }
    const WatchedStatus& out() const { return m_out; }

private:
    WatchedStatus m_out;
};

/// Parameters that do not fit the operation. The message names the parameter and what it must be.
class RpcParameterError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The outcome of calling an operation.
struct RpcReturn {
    int value = 0;               ///< of an asynchronous operation
    std::optional<Json> result;  ///< of a synchronous one, complete
};

struct RpcParameter {
    std::string_view name;
    Json schema;  ///< JSON Schema
};

struct RpcOperation {
    std::string_view name;
    std::vector<RpcParameter> parameters;  ///< by position; those after the first leastParameters are optional
    std::size_t leastParameters;
    Json result;  ///< JSON Schema of the response's result
    bool files;   ///< reads or writes a file of this machine that a parameter or setting names
    /// @param parameters  an array; its length fits
    /// @param call        if the operation accepts, must exist until its callback has come
    /// @throws RpcParameterError  before anything is called
    std::function<RpcReturn(WCorvaneOAI& plugin, const Json& parameters, RpcCall& call)> run;
};

/// The operations that clients may call.
enum class RpcAccess {
    All,
    NoFiles  ///< all except the operations that touch files of this machine (RpcOperation::files)
};

bool isOffered(const RpcOperation& operation, RpcAccess access);

/// All operations, in the order of their slots.
const std::vector<RpcOperation>& rpcOperations();

/// Calls an operation by its row.
/// @throws RpcParameterError
RpcReturn runOperation(const RpcOperation& operation, WCorvaneOAI& plugin, const Json& parameters, RpcCall& call);

}  // namespace W::host
